// bench_relay PORT MILLISECONDS [ftp]: a distant server on this machine. Hands every connection on
// to PORT of 127.0.0.1 and keeps each byte back for half of the round trip, in both directions, as
// a long line of unlimited bandwidth would. With "ftp" the ports that the server announces for data
// connections are led through the relay, too.
//
// Prints its own port, and ends when its standard input does. Connecting itself is not delayed:
// the system answers that at once.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kPiece = 256 * 1024;
constexpr std::size_t kMaxHeld = std::size_t{64} << 20;  // far more than any window in use
constexpr int kDataLimit = 30000;                        // ms until a data connection must come
constexpr unsigned int kLoopback = 0x7F000001;

[[noreturn]] void Fail(const char* pszWhat) {
    std::perror(pszWhat);
    std::_Exit(1);
}

// What every connection of this relay has in common.
struct SLine {
    std::chrono::nanoseconds oneWay{0};
    bool bFtp = false;
};

sockaddr_in Loopback(unsigned short usPort) {
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(usPort);
    address.sin_addr.s_addr = htonl(kLoopback);
    return address;
}

int Socket() {
    const int nSocket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (nSocket < 0) Fail("bench_relay: socket");
    return nSocket;
}

struct SListener {
    int nSocket;
    unsigned short usPort;
};

SListener Listen() {
    const int nSocket = Socket();
    sockaddr_in address = Loopback(0);
    socklen_t nSize = sizeof address;
    if (::bind(nSocket, reinterpret_cast<sockaddr*>(&address), nSize) != 0 ||
        ::listen(nSocket, 64) != 0 ||
        ::getsockname(nSocket, reinterpret_cast<sockaddr*>(&address), &nSize) != 0) {
        Fail("bench_relay: listen");
    }
    return {nSocket, ntohs(address.sin_port)};
}

void SwitchNagleOff(int nSocket) {
    const int nOn = 1;
    ::setsockopt(nSocket, IPPROTO_TCP, TCP_NODELAY, &nOn, sizeof nOn);
}

struct SPiece {
    Clock::time_point due;
    std::unique_ptr<char[]> bytes;
    std::size_t nSize = 0;
    std::size_t nSent = 0;
};

// One direction of a connection.
struct SFlow {
    int nFrom;
    int nTo;
    std::deque<SPiece> held;
    std::vector<std::unique_ptr<char[]>> free;  // memory to use again
    std::size_t nHeld = 0;
    bool bEnded = false;   // nothing more will be read
    bool bClosed = false;  // and the other side knows

    bool WantsToRead() const { return !bEnded && nHeld < kMaxHeld; }
    bool IsDue(Clock::time_point now) const { return !held.empty() && held.front().due <= now; }
};

void RunData(const SLine& line, int nListener, unsigned short usServerPort);

// A reply to PASV, with a port of ours in the place of the server's. The server sends each reply in
// one piece.
void LeadDataHere(const SLine& line, SPiece& piece) {
    const std::string_view strText(piece.bytes.get(), piece.nSize);
    std::size_t nReply = 0;
    if (strText.substr(0, 4) != "227 ") {
        const std::size_t nLine = strText.find("\n227 ");
        if (nLine == std::string_view::npos) return;
        nReply = nLine + 1;
    }
    const std::size_t nOpen = strText.find('(', nReply);
    const std::size_t nEnd = strText.find('\n', nReply);
    if (nOpen == std::string_view::npos || nEnd == std::string_view::npos || nOpen > nEnd) {
        std::fputs("bench_relay: a reply to PASV in more than one piece\n", stderr);
        std::_Exit(1);
    }
    const std::string strFields(strText.substr(nOpen, nEnd - nOpen));
    unsigned int uHigh = 0;
    unsigned int uLow = 0;
    if (std::sscanf(strFields.c_str(), "(%*u,%*u,%*u,%*u,%u,%u)", &uHigh, &uLow) != 2) {
        std::fputs("bench_relay: an unknown reply to PASV\n", stderr);
        std::_Exit(1);
    }
    const SListener listener = Listen();
    char szReply[80];
    std::snprintf(szReply, sizeof szReply, "227 Entering Passive Mode (127,0,0,1,%d,%d).\r\n",
                  listener.usPort / 256, listener.usPort % 256);
    const std::string strNew =
        std::string(strText.substr(0, nReply)) + szReply + std::string(strText.substr(nEnd + 1));
    if (strNew.size() > kPiece) std::_Exit(1);
    std::memcpy(piece.bytes.get(), strNew.data(), strNew.size());
    piece.nSize = strNew.size();
    std::thread(RunData, line, listener.nSocket, static_cast<unsigned short>(uHigh * 256 + uLow))
        .detach();
}

void Read(const SLine& line, SFlow& flow, bool bReplies) {
    SPiece piece;
    if (flow.free.empty()) {
        piece.bytes.reset(new char[kPiece]);
    } else {
        piece.bytes = std::move(flow.free.back());
        flow.free.pop_back();
    }
    const ssize_t nRead = ::recv(flow.nFrom, piece.bytes.get(), kPiece, MSG_DONTWAIT);
    if (nRead < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (nRead <= 0) {
        flow.bEnded = true;
        return;
    }
    piece.due = Clock::now() + line.oneWay;
    piece.nSize = static_cast<std::size_t>(nRead);
    if (bReplies) LeadDataHere(line, piece);
    flow.nHeld += piece.nSize;
    flow.held.push_back(std::move(piece));
}

// Hands on what is due. What the other side does not want any more is dropped.
void Write(SFlow& flow) {
    const auto now = Clock::now();
    while (flow.IsDue(now)) {
        SPiece& piece = flow.held.front();
        const ssize_t nSent = ::send(flow.nTo, piece.bytes.get() + piece.nSent,
                                     piece.nSize - piece.nSent, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (nSent < 0 && (errno == EAGAIN || errno == EINTR)) return;
        if (nSent < 0) {
            flow.held.clear();
            flow.bEnded = true;
            return;
        }
        piece.nSent += static_cast<std::size_t>(nSent);
        flow.nHeld -= static_cast<std::size_t>(nSent);
        if (piece.nSent < piece.nSize) return;
        flow.free.push_back(std::move(piece.bytes));
        flow.held.pop_front();
    }
}

// Until the first piece is due; null for no limit.
timespec* TimeToNext(const SFlow (&flows)[2], Clock::time_point now, timespec& limit) {
    std::chrono::nanoseconds wait = std::chrono::nanoseconds::max();
    for (const SFlow& flow : flows) {
        if (flow.held.empty() || flow.IsDue(now)) continue;  // POLLOUT wakes us for what is due
        wait = std::min<std::chrono::nanoseconds>(wait, flow.held.front().due - now);
    }
    if (wait == std::chrono::nanoseconds::max()) return nullptr;
    limit.tv_sec = wait.count() / 1000000000;
    limit.tv_nsec = wait.count() % 1000000000;
    return &limit;
}

void Carry(const SLine& line, SFlow (&flows)[2], bool bControl) {
    while (!flows[0].bClosed || !flows[1].bClosed) {
        const auto now = Clock::now();
        pollfd entries[2] = {{flows[0].nFrom, 0, 0}, {flows[1].nFrom, 0, 0}};
        for (int i = 0; i < 2; ++i) {
            if (flows[i].WantsToRead()) entries[i].events |= POLLIN;
            if (flows[i].IsDue(now)) entries[1 - i].events |= POLLOUT;
        }
        for (pollfd& entry : entries)
            if (entry.events == 0) entry.fd = -1;  // an end would wake us for ever
        timespec limit = {};
        if (::ppoll(entries, 2, TimeToNext(flows, now, limit), nullptr) < 0 && errno != EINTR)
            Fail("bench_relay: ppoll");
        for (int i = 0; i < 2; ++i) {
            SFlow& flow = flows[i];
            if ((entries[i].revents & (POLLIN | POLLHUP | POLLERR)) != 0 && flow.WantsToRead())
                Read(line, flow, bControl && i == 1);
            Write(flow);
            if (!flow.bEnded || !flow.held.empty() || flow.bClosed) continue;
            ::shutdown(flow.nTo, SHUT_WR);
            flow.bClosed = true;
        }
    }
}

void RunConnection(const SLine& line, int nClient, unsigned short usServerPort, bool bControl) {
    const int nServer = Socket();
    const sockaddr_in address = Loopback(usServerPort);
    if (::connect(nServer, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
        SwitchNagleOff(nClient);
        SwitchNagleOff(nServer);
        SFlow flows[2] = {{nClient, nServer, {}, {}, 0, false, false},
                          {nServer, nClient, {}, {}, 0, false, false}};
        Carry(line, flows, bControl);
    }
    ::close(nServer);
    ::close(nClient);
}

void RunData(const SLine& line, int nListener, unsigned short usServerPort) {
    pollfd entry = {nListener, POLLIN, 0};
    const int nClient = ::poll(&entry, 1, kDataLimit) == 1
                            ? ::accept4(nListener, nullptr, nullptr, SOCK_CLOEXEC)
                            : -1;
    ::close(nListener);
    if (nClient >= 0) RunConnection(line, nClient, usServerPort, false);
}

void AwaitEndOfInput() {
    char c = 0;
    while (::read(STDIN_FILENO, &c, 1) > 0) {
    }
    std::_Exit(0);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return 2;
    const auto usServerPort = static_cast<unsigned short>(std::atoi(argv[1]));
    SLine line;
    line.oneWay = std::chrono::microseconds(std::atoi(argv[2]) * 500);
    line.bFtp = argc > 3 && std::strcmp(argv[3], "ftp") == 0;
    ::prctl(PR_SET_TIMERSLACK, 1UL);  // inherited by the threads
    ::signal(SIGPIPE, SIG_IGN);
    const SListener listener = Listen();
    std::printf("%d\n", listener.usPort);
    std::fflush(stdout);
    std::thread(AwaitEndOfInput).detach();
    for (;;) {
        const int nClient = ::accept4(listener.nSocket, nullptr, nullptr, SOCK_CLOEXEC);
        if (nClient < 0) continue;
        std::thread(RunConnection, line, nClient, usServerPort, line.bFtp).detach();
    }
}
