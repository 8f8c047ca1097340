#ifndef QEL_TESTS_LOAD_RESETRELAY_H
#define QEL_TESTS_LOAD_RESETRELAY_H

#include <sys/types.h>

#include <cstdint>

#include "tests/support/sockets.h"

namespace LoadTest {

enum class EProtocol { Ftp, Other };

// A process of its own that hands connections on to a server of this machine and resets one of them
// when told to: both of its ends get RST. Of FTP it hands on the data connections, too, and puts
// its own port into the replies to PASV.
class CResetRelay {
public:
    // To be made while the process has one thread only. Throws std::runtime_error.
    explicit CResetRelay(EProtocol eProtocol);
    ~CResetRelay();

    CResetRelay(const CResetRelay&) = delete;
    CResetRelay& operator=(const CResetRelay&) = delete;

    unsigned short Port() const { return m_usPort; }

    // Where connections go from now on.
    void LeadTo(unsigned short usPort);

    // Resets a connection, which of them follows from the number; false when there is none.
    bool ResetOne(std::uint32_t uChoice);

private:
    // What the relay is told, and its answer: one byte.
    struct SOrder {
        std::uint32_t uReset;  // else: a new port
        std::uint32_t uValue;
    };
    bool Order(const SOrder& order);

    unsigned short m_usPort = 0;
    pid_t m_nProcess = -1;
    TestSupport::CHandle m_orders;
    friend class CRelayLoop;
};

}  // namespace LoadTest

#endif
