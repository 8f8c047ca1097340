// Beginning and end of sessions, and changes of directory.

#include <fcntl.h>
#include <sys/resource.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tests/server/servertest.h"
#include "tests/support/payload.h"
#include "tests/support/sockets.h"
#include "tests/support/tempdir.h"

namespace ServerTest {
namespace {

namespace fs = std::filesystem;
using namespace RVN_FTP_CLIENT;
using TestSupport::Clock;
using namespace std::chrono_literals;

class Session : public CServerTest {};

FTPConnInfo Account(const CVsftpdServer& server) {
    FTPConnInfo info;
    info.strHostIP = server.Host();
    info.usPort = server.Port();
    info.strUser = server.User();
    info.strPassword = TQ_UTIL::CcipheString(server.Password());
    return info;
}

TEST_F(Session, LogsInAndCloses) {
    CFtpClient client(Server().Host(), Server().Port(), Server().User(),
                      TQ_UTIL::CcipheString(Server().Password()));
    EXPECT_EQ(Code(client.Login()), FTP_OK);
    EXPECT_EQ(Code(client.Close()), FTP_OK);
}

TEST_F(Session, CanBeOpenedAgainAfterItsClose) {
    const std::string strBytes = Serve("file", 3000);
    FTPConnInfo info = Account(Server());
    CFtpClient client(info);
    for (const char* pszCopy : {"first", "second"}) {
        EXPECT_EQ(Code(client.Login()), FTP_OK);
        EXPECT_EQ(Code(client.GetOneFile("file", Local(pszCopy), false)), FTP_OK);
        EXPECT_EQ(Code(client.Close()), FTP_OK);
        EXPECT_TRUE(TestSupport::SamePayload(strBytes, TestSupport::ReadFile(Local(pszCopy))));
    }
}

TEST_F(Session, TellsWhatItWasMadeOf) {
    FTPConnInfo given = Account(Server());
    const CFtpClient fromRecord(given);
    FTPConnInfo told;
    CFtpClient client(given);
    ASSERT_EQ(Code(client.Login()), FTP_OK);
    client.getFTPConnInfo(told);
    EXPECT_EQ(Code(client.Close()), FTP_OK);

    EXPECT_EQ(told.strHostIP, "127.0.0.1");
    EXPECT_EQ(told.usPort, Server().Port());
    EXPECT_EQ(told.strUser, "anonymous");
    TQ_UTIL::WBAutoPassword plain;
    ASSERT_EQ(told.strPassword.GetOriginalStr(plain), 0);
    EXPECT_EQ(plain.GetPassword(), Server().Password());
}

TEST_F(Session, IsRefusedWithAWrongPassword) {
    FTPConnInfo info = Account(Server());
    info.strPassword = TQ_UTIL::CcipheString(Server().Password() + "x");
    CFtpClient client(info);
    EXPECT_EQ(Code(client.Login()), FTP_LOGIN_REFUSED);
    EXPECT_EQ(Code(client.Close()), FTP_OK);
    EXPECT_EQ(Server().Log().find("\"PWD\""), std::string::npos)
        << "asked for the root all the same";
}

TEST_F(Session, IsRefusedWithAnEmptyPassword) {
    FTPConnInfo info = Account(Server());
    info.strPassword = TQ_UTIL::CcipheString();
    CFtpClient client(info);
    EXPECT_EQ(Code(client.Login()), FTP_LOGIN_REFUSED);
    EXPECT_EQ(Code(client.Close()), FTP_OK);
}

TEST_F(Session, IsRefusedToAnUnknownUser) {
    FTPConnInfo info = Account(Server());
    info.strUser = "somebody";
    CFtpClient client(info);
    EXPECT_EQ(Code(client.Login()), FTP_REPLY_530);  // the reply to USER, not to PASS
    EXPECT_EQ(Code(client.Close()), FTP_OK);
    EXPECT_EQ(Server().Log().find("\"PASS "), Server().Log().rfind("\"PASS "))
        << "a password was sent after the refusal";  // the one is the fixture's own
}

TEST_F(Session, IsRefusedByAFullServer) {
    SServerOptions one;
    one.lines = {"max_clients=1"};
    Restart(one);
    FTPConnInfo info = Account(Server());
    CFtpClient first(info);
    // The server may still count the fixture's own login.
    const Clock::time_point limit = Clock::now() + 5s;
    unsigned int uFirst = first.Login();
    while (uFirst == FTP_REPLY_421 && Clock::now() < limit) {
        EXPECT_EQ(Code(first.Close()), FTP_CLOSE_FAILED);
        std::this_thread::sleep_for(10ms);
        uFirst = first.Login();
    }
    ASSERT_EQ(Code(uFirst), FTP_OK);

    CFtpClient second(info);
    EXPECT_EQ(Code(second.Login()), FTP_REPLY_421);
    EXPECT_EQ(Code(second.Close()), FTP_CLOSE_FAILED);  // the server has hung up already
    EXPECT_EQ(Code(first.ChangeDir("/")), FTP_OK);
    EXPECT_EQ(Code(first.Close()), FTP_OK);
}

TEST_F(Session, ConnectsAsOftenAsSetParamSays) {
    const TestSupport::DeadPort dead;
    FTPConnInfo info = Account(Server());
    info.usPort = dead.Port();
    const auto seconds = [&info](unsigned short usRetries) {
        CFtpClient client(info);
        client.setParam(1, usRetries, 1);
        const Clock::time_point begin = Clock::now();
        EXPECT_EQ(Code(client.Login()), FTP_CONNECT_FAILED);
        return std::chrono::duration<double>(Clock::now() - begin).count();
    };
    const double dOne = seconds(0);  // each refused attempt is followed by a pause of a second
    EXPECT_GE(dOne, 1.0);
    EXPECT_LT(dOne, 1.9);
    const double dThree = seconds(2);
    EXPECT_GE(dThree, 3.0);
    EXPECT_LT(dThree, 3.9);
}

TEST_F(Session, CloseTellsThatTheServerIsGone) {
    CSession session(Server());
    StopServer();
    session.ExpectLost();
}

TEST_F(Session, OperationsTellThatTheServerIsGone) {
    CSession session(Server());
    StopServer();
    session.ExpectLost();
    const Clock::time_point begin = Clock::now();
    EXPECT_NE(Code(session->ChangeDir("/")), FTP_OK);
    CListing listing;
    EXPECT_NE(Code(session->ListFile("/", listing.m_entries)), FTP_OK);
    EXPECT_NE(Code(session->GetOneFile("file", Local("file"), false)), FTP_OK);
    EXPECT_NE(Code(session->PutOneFileToFile(Local("file"), "file")), FTP_OK);
    EXPECT_NE(Code(session->RemoveFile("file")), FTP_OK);
    EXPECT_NE(Code(session->MakeDir("dir")), FTP_OK);
    EXPECT_NE(Code(session->RemoveDir("dir")), FTP_OK);
    EXPECT_LT(Clock::now() - begin, 5s) << "waited for a connection that has ended";
    EXPECT_FALSE(fs::exists(Local("file")));
}

TEST_F(Session, TellsThatTheServerTimedItOut) {
    SServerOptions impatient;
    impatient.lines = {"idle_session_timeout=1"};
    Restart(impatient);
    CSession session(Server());
    std::this_thread::sleep_for(2s);
    EXPECT_EQ(Code(session->ChangeDir("/")), FTP_REPLY_421);  // "421 Timeout."
    session.ExpectLost();
}

TEST_F(Session, ClosesOnlyOnce) {
    FTPConnInfo info = Account(Server());
    CFtpClient client(info);
    EXPECT_EQ(Code(client.Close()), FTP_CLOSE_FAILED);  // nothing to say QUIT to
    EXPECT_EQ(Code(client.Login()), FTP_OK);
    EXPECT_EQ(Code(client.Close()), FTP_OK);
    EXPECT_EQ(Code(client.Close()), FTP_CLOSE_FAILED);
    EXPECT_EQ(Code(client.ChangeDir("/")), FTP_SEND_FAILED);
}

TEST_F(Session, WorksBeyondTheDescriptorsThatSelectKnows) {
    constexpr int kOpen = 1200;
    rlimit limit{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit before = limit;
    limit.rlim_cur = limit.rlim_max;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    ASSERT_GT(limit.rlim_cur, static_cast<rlim_t>(kOpen + 100)) << "this machine allows too few";

    const std::string strBytes = Serve("file", 5000);
    {
        std::vector<TestSupport::CHandle> open;
        for (int i = 0; i < kOpen; ++i)
            open.emplace_back(::open("/dev/null", O_RDONLY | O_CLOEXEC));
        ASSERT_GE(open.back().Get(), kOpen);
        CSession session(Server());
        CListing listing;
        EXPECT_EQ(Code(session->ListFile("/", listing.m_entries)), FTP_OK);
        EXPECT_EQ(listing.Lines(), std::vector<std::string>{"- 5000 file"});
        EXPECT_EQ(Code(session->GetOneFile("file", Local("file"), false)), FTP_OK);
        EXPECT_EQ(Code(session->PutOneFileToFile(Local("file"), "copy")), FTP_OK);
    }
    EXPECT_TRUE(TestSupport::SamePayload(strBytes, TestSupport::ReadFile(Local("file"))));
    EXPECT_TRUE(TestSupport::SamePayload(strBytes, TestSupport::ReadFile(Served("copy"))));
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
}

// The address is looked for in the reply to PASV; another one is not followed.
TEST_F(Session, DoesNotFollowAnAnnouncedAddressThatIsNotItsHost) {
    SServerOptions elsewhere;
    elsewhere.lines = {"pasv_address=10.1.2.3"};
    Restart(elsewhere);
    const std::string strBytes = Keep("file", 100);
    CSession session(Server());
    CListing listing;
    EXPECT_EQ(Code(session->ListFile("/", listing.m_entries)), FTP_BAD_PASV_REPLY);
    EXPECT_EQ(Code(session->PutOneFileToFile(Local("file"), "file")), FTP_BAD_PASV_REPLY);
    EXPECT_FALSE(fs::exists(Served("file")));
    EXPECT_EQ(Code(session->MakeDir("dir")), FTP_OK);
    EXPECT_TRUE(fs::is_directory(Served("dir")));
}

TEST_F(Session, ChangesDirectoryBelowTheRoot) {
    ServeDirectory("outer/inner");
    CSession session(Server());
    for (const char* pszDir : {"outer", "/outer", "outer/", "outer/inner", "/outer/inner", "/"}) {
        EXPECT_EQ(Code(session->ChangeDir(pszDir)), FTP_OK) << pszDir;
    }
    const std::string strInner = Served("outer/inner").string();
    EXPECT_NE(Server().Log().find("\"CWD " + strInner + "\""), std::string::npos)
        << "the path was not joined to the root";
}

TEST_F(Session, ChangesDirectoryOnlyToWhatIsOne) {
    Serve("file", 10);
    ServeDirectory("locked");
    fs::permissions(Served("locked"), fs::perms::none);
    CSession session(Server());
    for (const char* pszDir : {"missing", "missing/inner", "file", "file/", "locked", ""}) {
        EXPECT_EQ(Code(session->ChangeDir(pszDir)), FTP_CWD_REFUSED) << pszDir;
    }
}

TEST_F(Session, OperationsDoNotDependOnTheChangedDirectory) {
    const std::string strBytes = Serve("file", 700);
    Serve("dir/file", 800);
    CSession session(Server());
    ASSERT_EQ(Code(session->ChangeDir("dir")), FTP_OK);
    EXPECT_EQ(Code(session->GetOneFile("file", Local("file"), false)), FTP_OK);
    EXPECT_TRUE(TestSupport::SamePayload(strBytes, TestSupport::ReadFile(Local("file"))));
    EXPECT_EQ(Code(session->RemoveFile("file")), FTP_OK);
    EXPECT_FALSE(fs::exists(Served("file")));
    EXPECT_TRUE(fs::exists(Served("dir/file")));
}

}  // namespace
}  // namespace ServerTest
