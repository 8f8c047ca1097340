#include "tools/interrupt.h"

#include <array>
#include <atomic>

namespace qelftp {
namespace {

constexpr std::array<int, 2> kSignals = {SIGINT, SIGTERM};

std::atomic<int> g_nSignal{0};
static_assert(std::atomic<int>::is_always_lock_free, "used in a signal handler");

std::array<struct sigaction, kSignals.size()> g_before;

extern "C" void RememberInterrupt(int nSignal) {
    int nNone = 0;
    if (g_nSignal.compare_exchange_strong(nNone, nSignal)) return;
    (void)::signal(nSignal, SIG_DFL);
    (void)::raise(nSignal);  // comes when this handler returns
}

}  // namespace

CInterruptWatch::CInterruptWatch() {
    g_nSignal = 0;
    struct sigaction remember {};
    remember.sa_handler = RememberInterrupt;  // without SA_RESTART: calls end with EINTR
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        ::sigaction(kSignals[i], nullptr, &g_before[i]);
        if (g_before[i].sa_handler == SIG_IGN) continue;
        ::sigaction(kSignals[i], &remember, nullptr);
    }
}

CInterruptWatch::~CInterruptWatch() {
    for (std::size_t i = 0; i < kSignals.size(); ++i)
        ::sigaction(kSignals[i], &g_before[i], nullptr);
}

int CInterruptWatch::Signal() {
    return g_nSignal;
}

CSignalsKeptOut::CSignalsKeptOut() {
    sigset_t all;
    sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &m_before);
}

CSignalsKeptOut::~CSignalsKeptOut() {
    ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
}

}  // namespace qelftp
