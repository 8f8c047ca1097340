#ifndef QEL_TESTS_SUPPORT_SOCKETS_H
#define QEL_TESTS_SUPPORT_SOCKETS_H

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

// Sockets of the test side, all on 127.0.0.1, every wait with an end.

namespace TestSupport {

using Millis = std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

// Whole milliseconds that have passed, for checks of waiting.
inline long long MsSince(Clock::time_point start) {
    return std::chrono::duration_cast<Millis>(Clock::now() - start).count();
}

// Owns one descriptor.
class CHandle {
public:
    CHandle() = default;
    explicit CHandle(int fd) : m_fd(fd) {}
    ~CHandle() { Close(); }
    CHandle(CHandle&& other) noexcept : m_fd(other.Release()) {}
    CHandle& operator=(CHandle&& other) noexcept;
    CHandle(const CHandle&) = delete;
    CHandle& operator=(const CHandle&) = delete;

    int Get() const { return m_fd; }
    bool IsOpen() const { return m_fd >= 0; }
    int Release();
    void Close();
    void Reset();  // closes so that the peer gets RST

private:
    int m_fd = -1;
};

// A socket bound to an ephemeral port; it refuses connections until StartListening. Throws
// std::runtime_error when the machine has no port left.
CHandle BindLoopback();
void StartListening(int fd, int nBacklog = 16);
unsigned short PortOf(int fd);

// Connects to 127.0.0.1; the handle is not open when that failed, errno tells why.
CHandle ConnectLoopback(unsigned short usPort, Millis limit = Millis(5000));

// Whether the descriptor becomes readable (data, end or error) within the time; 0 only looks.
bool WaitReadable(int fd, Millis limit);
bool WaitWritable(int fd, Millis limit);

// A port on which nobody listens: every connection is refused. Stays reserved while the object
// lives, so that no other test can get it.
class DeadPort {
public:
    DeadPort() : m_socket(BindLoopback()), m_usPort(PortOf(m_socket.Get())) {}
    unsigned short Port() const { return m_usPort; }

private:
    CHandle m_socket;
    unsigned short m_usPort;
};

// A port that neither accepts nor refuses: its queue is full, so that a connection attempt runs
// into its time-out. (For a server that accepts and then says nothing use ScriptedServer.)
class SilentPort {
public:
    SilentPort();
    unsigned short Port() const { return m_usPort; }

private:
    CHandle m_socket;
    unsigned short m_usPort;
    std::vector<CHandle> m_queued;
};

}  // namespace TestSupport

#endif
