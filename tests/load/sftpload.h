#ifndef QEL_TESTS_LOAD_SFTPLOAD_H
#define QEL_TESTS_LOAD_SFTPLOAD_H

#include <gtest/gtest.h>

#include <chrono>
#include <memory>

#include "tests/load/resetrelay.h"
#include "tests/load/sftpworker.h"
#include "tests/sftpserver/opensshserver.h"

namespace LoadTest {

// SFTP sessions that move data while their server is killed again and again. Without the low
// descriptors.
class CSftpLoad : public testing::Test {
protected:
    void Run(int nSessions, std::chrono::seconds duration);

private:
    void StartServer();

    CResetRelay m_relay{EProtocol::Other};
    TestSupport::TempDir m_local;
    std::unique_ptr<TestSupport::OpenSshServer> m_pServer;
    CStanding<SSftpAccount> m_standing;
};

// Sessions that are all open at the same time, each in a thread of its own, and all in the middle
// of a store and later of a retrieve when the open descriptors are counted. Fails when there were
// fewer than that.
void RunManySftpSessions(int nSessions, std::size_t uDescriptors);

}  // namespace LoadTest

#endif
