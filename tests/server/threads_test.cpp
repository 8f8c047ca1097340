// Different sessions are independent of each other.

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tests/server/servertest.h"
#include "tests/support/payload.h"
#include "tests/support/tempdir.h"

namespace ServerTest {
namespace {

namespace fs = std::filesystem;
using namespace RVN_FTP_CLIENT;
using TestSupport::Payload;
using TestSupport::ReadFile;
using TestSupport::SamePayload;

constexpr int kSessions = 8;
constexpr std::size_t kFiles = 20;

class Threads : public CServerTest {
protected:
    // One session's work, on files and a directory that no other one has.
    void Work(int nSession) const {
        const std::string strDir = "session" + std::to_string(nSession);
        const fs::path out = Local(strDir);
        fs::create_directories(out / "back");
        std::vector<std::string> contents;
        std::vector<Ftp_File_Pair> there;
        std::vector<Ftp_File_Pair> back;
        for (std::size_t n = 0; n < kFiles; ++n) {
            const std::string strName = "file" + std::to_string(n);
            contents.push_back(Payload(n * 777, static_cast<std::size_t>(nSession) * kFiles + n));
            TestSupport::WriteFile(out / strName, contents.back());
            there.push_back({out / strName, strDir + "/" + strName});
            back.push_back({strDir + "/" + strName, out / "back" / strName});
        }

        CSession session(Server());
        ASSERT_EQ(Code(session->MakeDir(strDir)), FTP_OK);
        ASSERT_EQ(Code(session->PutFile(there)), FTP_OK);
        CListing listing;
        ASSERT_EQ(Code(session->ListFile(strDir, listing.m_entries)), FTP_OK);
        EXPECT_EQ(listing.m_entries.size(), kFiles);
        ASSERT_EQ(Code(session->GetFile(back, false)), FTP_OK);
        for (std::size_t n = 0; n < kFiles; ++n) {
            EXPECT_TRUE(SamePayload(contents[n], ReadFile(back[n].strDstFile)));
        }
        EXPECT_EQ(Code(session->checkOneFileExist(strDir, "file7")), FTP_OK);
        EXPECT_EQ(Code(session->RemoveFile(strDir + "/file7")), FTP_OK);
        EXPECT_EQ(Code(session->RemoveFile(strDir + "/file7")), FTP_DELE_REFUSED);
        EXPECT_EQ(Code(session->RemoveDir(strDir)), FTP_OK);
    }
};

TEST_F(Threads, EightSessionsWorkAtTheSameTime) {
    std::vector<std::thread> threads;
    for (int n = 0; n < kSessions; ++n)
        threads.emplace_back([this, n] { Work(n); });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_TRUE(fs::is_empty(Server().Root()));
}

// A session may pass from one thread to the next.
TEST_F(Threads, ASessionMovesBetweenThreads) {
    const std::string strBytes = Serve("file", 5000);
    FTPConnInfo info{Server().Host(), Server().Port(), Server().User(),
                     TQ_UTIL::CcipheString(Server().Password())};
    CFtpClient client(info);
    std::thread([&] { EXPECT_EQ(Code(client.Login()), FTP_OK); }).join();
    std::thread([&] {
        EXPECT_EQ(Code(client.GetOneFile("file", Local("file"), false)), FTP_OK);
    }).join();
    std::thread([&] { EXPECT_EQ(Code(client.Close()), FTP_OK); }).join();
    EXPECT_TRUE(SamePayload(strBytes, ReadFile(Local("file"))));
}

}  // namespace
}  // namespace ServerTest
