#include "tests/support/onebyte.h"

#include <dlfcn.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>

namespace TestSupport {
namespace {

constexpr std::size_t kControlReceive = 520;

std::atomic<bool> g_bOneByte{false};
std::atomic<int> g_nReceives{0};
thread_local std::vector<int> t_waitsMs;

template <typename T>
T Next(const char* pszName) {
    return reinterpret_cast<T>(::dlsym(RTLD_NEXT, pszName));
}

// Counts a receive of the control connection and says how many bytes it may give.
std::size_t Allowed(std::size_t nSize) {
    if (nSize != kControlReceive) return nSize;
    ++g_nReceives;
    return g_bOneByte ? 1 : nSize;
}

}  // namespace

void OneByte::Switch(bool bOn) {
    g_bOneByte = bOn;
}

int OneByte::Receives() {
    return g_nReceives;
}

std::vector<int> OneByte::WaitsMs() {
    return t_waitsMs;
}

void OneByte::ClearCounts() {
    g_nReceives = 0;
    t_waitsMs.clear();
}

}  // namespace TestSupport

extern "C" ssize_t recv(int fd, void* pBuffer, size_t nSize, int nFlags) {
    static const auto next = TestSupport::Next<ssize_t (*)(int, void*, size_t, int)>("recv");
    return next(fd, pBuffer, TestSupport::Allowed(nSize), nFlags);
}

// What ACE really receives with.
extern "C" ssize_t read(int fd, void* pBuffer, size_t nSize) {
    static const auto next = TestSupport::Next<ssize_t (*)(int, void*, size_t)>("read");
    return next(fd, pBuffer, TestSupport::Allowed(nSize));
}

extern "C" int poll(pollfd* pDescriptors, nfds_t nDescriptors, int nTimeoutMs) {
    static const auto next = TestSupport::Next<int (*)(pollfd*, nfds_t, int)>("poll");
    if (nDescriptors == 1 && (pDescriptors->events & POLLIN) != 0)
        TestSupport::t_waitsMs.push_back(nTimeoutMs);
    return next(pDescriptors, nDescriptors, nTimeoutMs);
}
