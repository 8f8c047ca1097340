#include "tests/sftpserver/delayrelay.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <deque>
#include <utility>

namespace TestSupport {
namespace {

constexpr Millis kStopCheck{50};
constexpr std::size_t kReadSize = 256 * 1024;
constexpr std::size_t kMaxHeld = std::size_t{64} << 20;  // far more than any window in use

struct SPiece {
    Clock::time_point due;
    std::vector<char> bytes;
    std::size_t uSent = 0;
};

// One direction.
struct SFlow {
    int nFrom;
    int nTo;
    std::deque<SPiece> held;
    std::size_t uHeld = 0;
    bool bEnded = false;  // nothing more will be read

    bool WantsToRead() const { return !bEnded && uHeld < kMaxHeld; }
    bool WantsToWrite(Clock::time_point now) const {
        return !held.empty() && held.front().due <= now;
    }
};

void Read(SFlow& flow, Millis delay) {
    std::vector<char> bytes(kReadSize);
    const ssize_t nRead = ::recv(flow.nFrom, bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (nRead < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (nRead <= 0) {
        flow.bEnded = true;
        return;
    }
    bytes.resize(static_cast<std::size_t>(nRead));
    flow.uHeld += bytes.size();
    flow.held.push_back({Clock::now() + delay, std::move(bytes)});
}

// False when the other side is gone.
bool Write(SFlow& flow) {
    while (flow.WantsToWrite(Clock::now())) {
        SPiece& piece = flow.held.front();
        const ssize_t nSent = ::send(flow.nTo, piece.bytes.data() + piece.uSent,
                                     piece.bytes.size() - piece.uSent, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (nSent < 0) return errno == EAGAIN || errno == EINTR;
        piece.uSent += static_cast<std::size_t>(nSent);
        flow.uHeld -= static_cast<std::size_t>(nSent);
        if (piece.uSent < piece.bytes.size()) return true;
        flow.held.pop_front();
    }
    return true;
}

void SwitchDelayOff(int nSocket) {
    const int nOn = 1;
    ::setsockopt(nSocket, IPPROTO_TCP, TCP_NODELAY, &nOn, sizeof nOn);
}

// Until the first piece is due; rounded down, so that the last millisecond is waited for in ppoll.
std::chrono::nanoseconds TimeToNext(const SFlow (&flows)[2], Clock::time_point now) {
    std::chrono::nanoseconds wait = kStopCheck;
    for (const SFlow& flow : flows)
        if (!flow.held.empty())
            wait = std::clamp<std::chrono::nanoseconds>(flow.held.front().due - now,
                                                        std::chrono::nanoseconds(0), wait);
    return wait;
}

}  // namespace

DelayRelay::DelayRelay(unsigned short usServerPort, Millis roundTrip)
    : m_usServerPort(usServerPort),
      m_oneWay(roundTrip / 2),
      m_listener(BindLoopback()),
      m_usPort(PortOf(m_listener.Get())) {
    StartListening(m_listener.Get());
    m_acceptor = std::thread(&DelayRelay::Accept, this);
}

DelayRelay::~DelayRelay() {
    m_bStop = true;
    m_acceptor.join();
    for (std::thread& connection : m_connections)
        connection.join();
}

void DelayRelay::Accept() {
    while (!m_bStop) {
        if (!WaitReadable(m_listener.Get(), kStopCheck)) continue;
        CHandle client(::accept4(m_listener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (client.IsOpen()) m_connections.emplace_back(&DelayRelay::Run, this, std::move(client));
    }
}

void DelayRelay::Run(CHandle client) {
    const CHandle server = ConnectLoopback(m_usServerPort);
    if (!server.IsOpen()) return;
    SwitchDelayOff(client.Get());
    SwitchDelayOff(server.Get());
    SFlow flows[2] = {{client.Get(), server.Get(), {}, 0, false},
                      {server.Get(), client.Get(), {}, 0, false}};
    while (!m_bStop) {
        const auto now = Clock::now();
        pollfd entries[2] = {{client.Get(), 0, 0}, {server.Get(), 0, 0}};
        for (int i = 0; i < 2; ++i) {
            if (!m_bSilent && flows[i].WantsToRead()) entries[i].events |= POLLIN;
            if (!m_bSilent && flows[i].WantsToWrite(now)) entries[1 - i].events |= POLLOUT;
            if (entries[i].events == 0) entries[i].fd = -1 - i;  // an end would wake us for ever
        }
        const auto wait = m_bSilent ? std::chrono::nanoseconds(kStopCheck) : TimeToNext(flows, now);
        const timespec limit = {0, static_cast<long>(wait.count())};
        const bool bBlockedWriter =
            flows[0].WantsToWrite(now) || flows[1].WantsToWrite(now);  // then POLLOUT wakes us
        const timespec stopLimit = {0, std::chrono::nanoseconds(kStopCheck).count()};
        if (::ppoll(entries, 2, bBlockedWriter ? &stopLimit : &limit, nullptr) < 0) return;
        if (m_bSilent) continue;
        for (int i = 0; i < 2; ++i) {
            if ((entries[i].revents & (POLLIN | POLLHUP | POLLERR)) != 0 && flows[i].WantsToRead())
                Read(flows[i], m_oneWay);
            if (!Write(flows[i])) return;
            if (flows[i].bEnded && flows[i].held.empty()) return;
        }
    }
}

}  // namespace TestSupport
