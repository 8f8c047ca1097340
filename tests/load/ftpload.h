#ifndef QEL_TESTS_LOAD_FTPLOAD_H
#define QEL_TESTS_LOAD_FTPLOAD_H

#include <chrono>

#include "tests/load/ftpworker.h"
#include "tests/load/resetrelay.h"
#include "tests/server/servertest.h"

namespace LoadTest {

// FTP sessions that move data while their server is killed again and again.
class CFtpLoad : public ServerTest::CServerTest {
protected:
    void SetUp() override;
    void Run(int nSessions, std::chrono::seconds duration);

private:
    void StartServer();

    CResetRelay m_relay{EProtocol::Ftp};
    ServerTest::CScratchDirectory m_served{ServerTest::PlaceFor(256U << 20U)};
    CStanding<SFtpAccount> m_standing;
};

}  // namespace LoadTest

#endif
