#ifndef QEL_TESTS_SFTPSERVER_DELAYRELAY_H
#define QEL_TESTS_SFTPSERVER_DELAYRELAY_H

#include <atomic>
#include <thread>
#include <vector>

#include "tests/support/sockets.h"

namespace TestSupport {

// A distant server on the loopback: hands every connection on to a port of this machine and keeps
// each byte back for a while, in both directions, as a long line of unlimited bandwidth would.
class DelayRelay {
public:
    // roundTrip: half of it each way.
    DelayRelay(unsigned short usServerPort, Millis roundTrip);
    ~DelayRelay();

    DelayRelay(const DelayRelay&) = delete;
    DelayRelay& operator=(const DelayRelay&) = delete;

    unsigned short Port() const { return m_usPort; }

    // From now on nothing is handed on any more, while the connections stay open: a dead line.
    void FallSilent() { m_bSilent = true; }

private:
    void Accept();
    void Run(CHandle client);

    unsigned short m_usServerPort;
    Millis m_oneWay;
    CHandle m_listener;
    unsigned short m_usPort;
    std::atomic<bool> m_bStop{false};
    std::atomic<bool> m_bSilent{false};
    std::vector<std::thread> m_connections;  // the acceptor's
    std::thread m_acceptor;
};

}  // namespace TestSupport

#endif
