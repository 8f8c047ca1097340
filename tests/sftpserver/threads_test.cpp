#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "tests/sftpserver/hostsession.h"
#include "tests/sftpserver/opensshserver.h"
#include "tests/support/payload.h"

namespace {

using namespace TestSupport;

constexpr int kThreads = 16;

template <class Function>
void RunThreads(Function work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back(work, i);
    for (std::thread& thread : threads)
        thread.join();
}

TEST(Wrapper, ServesSixteenThreadsThatComeAndGo) {
    const OpenSshServer server;
    std::atomic<int> nDone{0};
    RunThreads([&](int) {
        for (int nTurn = 0; nTurn < 5; ++nTurn) {
            HostSession session(PasswordAccount(server));
            SFTP_FileInfo info = {};
            EXPECT_EQ(session->connect(), SFTP_OK) << session.Error();
            EXPECT_EQ(session->stat(SFTP_String("/"), info), SFTP_OK) << session.Error();
            ++nDone;
        }
    });
    EXPECT_EQ(nDone, 5 * kThreads);
    EXPECT_FALSE(WrapperIsLoaded());
}

TEST(Wrapper, KeepsTheFilesOfSixteenThreadsApart) {
    const OpenSshServer server;
    const TempDir temp;
    RunThreads([&](int nThread) {
        const std::string strName = "f" + std::to_string(nThread);
        const std::string strBytes = Payload(700'000, static_cast<std::uint64_t>(nThread) + 1);
        const SFTP_String remote(server.File(strName).c_str());
        WriteFile(temp.File(strName), strBytes);
        HostSession session(PasswordAccount(server));
        ASSERT_EQ(session->connect(), SFTP_OK) << session.Error();
        ASSERT_EQ(session->putFile(SFTP_String(temp.File(strName).c_str()), remote, nullptr),
                  SFTP_OK)
            << session.Error();
        const std::string strBack = temp.File(strName + "-back");
        ASSERT_EQ(session->getFile(remote, SFTP_String(strBack.c_str()), nullptr), SFTP_OK)
            << session.Error();
        EXPECT_TRUE(SamePayload(strBytes, ReadFile(strBack))) << strName;
    });
    EXPECT_FALSE(WrapperIsLoaded());
}

}  // namespace
