// Without the low descriptors: no wait may be one of select().

#include "tests/load/descriptors.h"

#include <sys/select.h>

#include "tests/server/servertest.h"
#include "tests/support/payload.h"
#include "tests/support/tempdir.h"

namespace LoadTest {
namespace {

using namespace RVN_FTP_CLIENT;
using TestSupport::Clock;
using TestSupport::MsSince;
using TestSupport::ReadFile;
using TestSupport::SamePayload;

constexpr std::size_t kDescriptors = 2'000;

class AboveTheLowDescriptors : public ServerTest::CServerTest {
protected:
    void SetUp() override {
        AllowDescriptors(kDescriptors);
        m_pTaken = std::make_unique<CLowDescriptorsTaken>();
        CServerTest::SetUp();
    }

    std::unique_ptr<CLowDescriptorsTaken> m_pTaken;
};

TEST_F(AboveTheLowDescriptors, EveryOperationWorks) {
    const std::string strBytes = Keep("a", 300'000);
    const std::string strOther = Keep("b", 5'000);
    ServerTest::CSession session(Server());
    ASSERT_EQ(Code(session->MakeDir("one/two")), FTP_OK);
    EXPECT_EQ(Code(session->ChangeDir("one")), FTP_OK);
    EXPECT_EQ(Code(session->PutOneFileToFile(Local("a"), "one/two/a")), FTP_OK);
    EXPECT_EQ(Code(session->PutOneFileToPath(Local("b"), "one/two")), FTP_OK);
    EXPECT_EQ(Code(session->checkOneFileExist("one/two", "a")), FTP_OK);
    EXPECT_EQ(Code(session->checkOneFileExist("/one/two/b")), FTP_OK);
    ServerTest::CListing listing;
    EXPECT_EQ(Code(session->ListFile("one/two", listing.m_entries)), FTP_OK);
    EXPECT_EQ(listing.Lines(), (std::vector<std::string>{"- 300000 a", "- 5000 b"}));

    FtpTransferOptions options;
    options.bVerify = true;
    session->setTransferOptions(options);
    EXPECT_EQ(Code(session->GetOneFile("one/two/a", Local("back"), false)), FTP_OK);
    EXPECT_TRUE(SamePayload(strBytes, ReadFile(Local("back"))));
    std::vector<Ftp_File_Pair> there{{Local("b"), "one/two/c"}};
    std::vector<Ftp_File_Pair> back{{"one/two/c", Local("c")}};
    EXPECT_EQ(Code(session->PutFile(there)), FTP_OK);
    EXPECT_EQ(Code(session->GetFile(back, false)), FTP_OK);
    EXPECT_TRUE(SamePayload(strOther, ReadFile(Local("c"))));
    EXPECT_EQ(Code(session->RemoveFile("one/two/c")), FTP_OK);
    EXPECT_EQ(Code(session->RemoveDir("one/two")), FTP_OK);
    EXPECT_GT(HighestPolled(), FD_SETSIZE);
}

TEST_F(AboveTheLowDescriptors, WaitsEndInTime) {
    const TestSupport::SilentPort unconnected;
    const TestSupport::CHandle silent = TestSupport::BindLoopback();
    TestSupport::StartListening(silent.Get());
    const std::vector<std::pair<unsigned short, FtpResult>> cases{
        {unconnected.Port(), FTP_CONNECT_FAILED},
        {TestSupport::PortOf(silent.Get()), FTP_NO_REPLY},
    };
    for (const auto& [usPort, eExpected] : cases) {
        CFtpClient client("127.0.0.1", usPort, "bob", TQ_UTIL::CcipheString("tea"));
        client.setParam(1, 1, 0);
        const Clock::time_point start = Clock::now();
        EXPECT_EQ(Code(client.Login()), eExpected);
        EXPECT_GE(MsSince(start), 900);
        client.Close();
    }
}

}  // namespace
}  // namespace LoadTest
