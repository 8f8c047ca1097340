#include "tests/tool/breakingrelay.h"

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cstdio>
#include <memory>

using namespace TestSupport;

namespace ToolTest {
namespace {

constexpr Millis kSlice{100};
constexpr int kNever = -1;

// Returns false at the end of the connection.
bool Receive(int fd, std::string& strBytes) {
    std::array<char, 8192> block{};
    const ssize_t nReceived = ::recv(fd, block.data(), block.size(), 0);
    if (nReceived <= 0) return false;
    strBytes.assign(block.data(), static_cast<std::size_t>(nReceived));
    return true;
}

bool SendAll(int fd, const std::string& strBytes) {
    std::size_t nSent = 0;
    while (nSent < strBytes.size()) {
        const ssize_t n =
            ::send(fd, strBytes.data() + nSent, strBytes.size() - nSent, MSG_NOSIGNAL);
        if (n <= 0) return false;
        nSent += static_cast<std::size_t>(n);
    }
    return true;
}

// Waits for one of the two; false when it is time to stop.
bool WaitEither(const std::array<int, 2>& handles, std::array<bool, 2>& readable,
                const std::atomic<bool>& bStop) {
    while (!bStop) {
        std::array<pollfd, 2> waited{{{handles[0], POLLIN, 0}, {handles[1], POLLIN, 0}}};
        if (::poll(waited.data(), waited.size(), static_cast<int>(kSlice.count())) <= 0) continue;
        for (std::size_t i = 0; i < waited.size(); ++i)
            readable[i] = waited[i].revents != 0;
        return true;
    }
    return false;
}

}  // namespace

BreakingRelay::BreakingRelay(unsigned short usServerPort, const SPlan& plan)
    : m_usServerPort(usServerPort), m_plan(plan), m_random(plan.uSeed), m_listener(BindLoopback()) {
    StartListening(m_listener.Get(), 64);
    m_acceptor = std::thread([this] { Accept(); });
}

BreakingRelay::~BreakingRelay() {
    m_bStop = true;
    m_acceptor.join();
    // Only threads that end on their own are left, and none that starts another.
    for (std::size_t n = 0;; ++n) {
        std::thread thread;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (n == m_threads.size()) break;
            thread = std::move(m_threads[n]);
        }
        thread.join();
    }
}

std::string BreakingRelay::Url(const std::string& strPath) const {
    return "ftp://bob@127.0.0.1:" + std::to_string(PortOf(m_listener.Get())) + strPath;
}

void BreakingRelay::Start(std::thread thread) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_threads.push_back(std::move(thread));
}

void BreakingRelay::Accept() {
    while (!m_bStop) {
        if (!WaitReadable(m_listener.Get(), kSlice)) continue;
        auto client = std::make_shared<CHandle>(::accept(m_listener.Get(), nullptr, nullptr));
        if (!client->IsOpen()) continue;
        Start(std::thread([this, client] { RelayControl(std::move(*client)); }));
    }
}

void BreakingRelay::RelayControl(CHandle client) {
    const CHandle server = ConnectLoopback(m_usServerPort);
    // What the data connection announced last is used for.
    const auto bListing = std::make_shared<std::atomic<bool>>(false);
    std::array<bool, 2> readable{};
    std::string strReplies;
    std::string strBytes;
    while (WaitEither({client.Get(), server.Get()}, readable, m_bStop)) {
        if (readable[0]) {
            if (!Receive(client.Get(), strBytes)) return;
            if (strBytes.rfind("LIST", 0) == 0) *bListing = true;
            if (!SendAll(server.Get(), strBytes)) return;
        }
        if (!readable[1]) continue;
        if (!Receive(server.Get(), strBytes)) return;
        strReplies += strBytes;
        for (std::size_t nEnd = 0; (nEnd = strReplies.find('\n')) != std::string::npos;) {
            const std::string strLine = strReplies.substr(0, nEnd + 1);
            strReplies.erase(0, nEnd + 1);
            if (!PassReply(strLine, client.Get(), bListing)) return;
        }
    }
}

bool BreakingRelay::PassReply(const std::string& strReply, int nClient,
                              const std::shared_ptr<std::atomic<bool>>& bListing) {
    unsigned int uHigh = 0;
    unsigned int uLow = 0;
    const std::size_t nOpen = strReply.find('(');
    if (strReply.rfind("227", 0) != 0 || nOpen == std::string::npos ||
        std::sscanf(strReply.c_str() + nOpen, "(127,0,0,1,%u,%u)", &uHigh, &uLow) != 2) {
        return SendAll(nClient, strReply);
    }
    auto listener = std::make_shared<CHandle>(BindLoopback());
    StartListening(listener->Get());
    const unsigned int uPort = PortOf(listener->Get());
    // At once: a server has time to accept it before it breaks.
    auto server =
        std::make_shared<CHandle>(ConnectLoopback(static_cast<unsigned short>(uHigh * 256 + uLow)));
    *bListing = false;
    Start(std::thread([this, listener, server, bListing] {
        RelayData(std::move(*listener), std::move(*server), bListing);
    }));
    return SendAll(nClient, "227 Entering Passive Mode (127,0,0,1," + std::to_string(uPort / 256) +
                                "," + std::to_string(uPort % 256) + ").\r\n");
}

int BreakingRelay::BytesUntilBreak() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    const bool bBreak = std::uniform_real_distribution<>(0, 1)(m_random) < m_plan.dShare;
    return bBreak ? std::uniform_int_distribution<>(0, m_plan.nMaxBytes)(m_random) : kNever;
}

bool BreakingRelay::TakeBreak() {
    int nBroken = m_nBroken;
    while (nBroken < m_plan.nBreaks) {
        if (m_nBroken.compare_exchange_weak(nBroken, nBroken + 1)) return true;
    }
    return false;
}

void BreakingRelay::RelayData(CHandle listener, CHandle server,
                              const std::shared_ptr<std::atomic<bool>>& bListing) {
    const Clock::time_point end = Clock::now() + Millis(10000);
    while (!m_bStop && Clock::now() < end && !WaitReadable(listener.Get(), kSlice)) {
    }
    if (!WaitReadable(listener.Get(), Millis(0))) return;
    CHandle client(::accept(listener.Get(), nullptr, nullptr));
    const int nLimit = BytesUntilBreak();
    int nPassed = 0;
    std::array<bool, 2> readable{};
    const std::array<int, 2> handles{client.Get(), server.Get()};
    while (WaitEither(handles, readable, m_bStop)) {
        for (std::size_t i = 0; i < handles.size(); ++i) {
            if (!readable[i]) continue;
            std::string strBytes;
            if (!Receive(handles[i], strBytes)) return;  // closing both tells the other side
            const bool bBreak = nLimit != kNever &&
                                nPassed + static_cast<int>(strBytes.size()) > nLimit &&
                                (m_plan.bListings || !*bListing) && TakeBreak();
            if (bBreak) {
                SendAll(handles[1 - i],
                        strBytes.substr(0, static_cast<std::size_t>(nLimit - nPassed)));
                client.Reset();
                server.Reset();
                return;
            }
            if (!SendAll(handles[1 - i], strBytes)) return;
            nPassed += static_cast<int>(strBytes.size());
            if (nLimit != kNever && nPassed > nLimit) nPassed = 0;  // no breaks left, or a listing
        }
    }
}

}  // namespace ToolTest
