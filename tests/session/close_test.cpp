// The ends of a session, and what surrounds it.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tests/session/fixture.h"

namespace SessionTest {
namespace {

class Closing : public EachArrival {};
PLAY_IN_EACH_ARRIVAL(Closing);
class ClosingAlone : public Dialogue {};
class Facade : public Dialogue {};

TEST_P(Closing, SendsQuitAndClosesTheConnection) {
    ScriptedServer server{LogIn(), On("QUIT", "221 bye"), ExpectClose()};
    CClient client(server);
    ASSERT_EQ(client.Login(), 0U);
    client.CloseInOrder();
    server.ExpectFinished();
    EXPECT_EQ(ErrorLog(), "");
}

TEST_P(Closing, ClosesTheConnectionWhenQuitIsRefused) {
    ScriptedServer server{LogIn(), On("QUIT", "500 stay"), ExpectClose()};
    CClient client(server);
    ASSERT_EQ(client.Login(), 0U);
    EXPECT_EQ(client.Close(), 0x3bb0001bU);
    server.ExpectFinished();
    EXPECT_EQ(ErrorLog(),
              "4007001a [FTPCLIENT]Ftp_quit getRetCode error,the real retCode:500 stay\r\n\n");
}

TEST_P(Closing, TakesAnySuccessOfQuit) {
    ScriptedServer server{LogIn(), On("QUIT", "200 bye"), ExpectClose()};
    CClient client(server);
    ASSERT_EQ(client.Login(), 0U);
    EXPECT_EQ(client.Close(), 0U);
    server.ExpectFinished();
    EXPECT_EQ(ErrorLog(), "0 [FTPCLIENT]Ftp_quit getRetCode error,the real retCode:200 bye\r\n\n");
}

TEST_F(ClosingAlone, ClosesTheConnectionWhenQuitIsNotAnswered) {
    ScriptedServer server{LogIn(), Expect("QUIT"), ExpectClose()};
    CClient client(server);
    ASSERT_EQ(client.Login(), 0U);
    client.setParam(1, 1, 1);
    const Stopwatch watch;
    EXPECT_EQ(client.Close(), 0x3bb0001bU);
    EXPECT_BETWEEN(watch.Elapsed(), 1900, 6000);
    server.ExpectFinished();
}

TEST_F(ClosingAlone, ReportsAConnectionThatIsLost) {
    for (const bool bReset : {false, true}) {
        SCOPED_TRACE(bReset ? "reset" : "closed");
        const auto before = OpenDescriptors();
        {
            ScriptedServer server{LogIn(), bReset ? Reset() : TestSupport::Close(), Hold()};
            CClient client(server);
            ASSERT_EQ(client.Login(), 0U);
            server.WaitUntilHeld();

            const Stopwatch watch;
            EXPECT_EQ(client.Close(), 0x3bb0001bU);
            EXPECT_BETWEEN(watch.Elapsed(), 0, 5000);
            server.Release();
            server.ExpectFinished();
        }
        EXPECT_EQ(OpenDescriptors(), before);
    }
}

TEST_F(ClosingAlone, FailsBeforeLogin) {
    CClient client(1);
    const Stopwatch watch;
    EXPECT_EQ(client.Close(), 0x3bb0001bU);
    EXPECT_EQ(client.Close(), 0x3bb0001bU);
    EXPECT_BETWEEN(watch.Elapsed(), 0, 4000);
}

TEST_F(ClosingAlone, FailsTheSecondTime) {
    ScriptedServer server{LogIn(), Quit()};
    CClient client(server);
    ASSERT_EQ(client.Login(), 0U);
    EXPECT_EQ(client.Close(), 0U);
    EXPECT_EQ(client.Close(), 0x3bb0001bU);
    server.ExpectFinished();
}

TEST_F(ClosingAlone, DestructionSendsNothingAndClosesNothing) {
    ScriptedServer server{LogIn(), Hold(), ExpectSilence(Millis(300))};
    {
        CClient client(server);
        ASSERT_EQ(client.Login(), 0U);
    }
    server.WaitUntilHeld();
    const int nLeft = DescriptorConnectedTo(server.Port());
    EXPECT_NE(nLeft, -1);
    server.Release();
    server.ExpectFinished();
    ::close(nLeft);
}

TEST_F(Facade, IsDestroyedWithoutLogin) {
    { CClient client(1); }
    RVN_FTP_CLIENT::CFtpClient* pClient = new CClient(1);
    delete pClient;
}

TEST_F(Facade, OperationsBeforeLoginFailAtOnce) {
    CClient client(1);
    std::vector<RVN_FTP_CLIENT::TkFileInfo*> files;
    std::vector<RVN_FTP_CLIENT::Ftp_File_Pair> pairs{{"a", "b"}};
    const Stopwatch watch;
    EXPECT_EQ(client.ChangeDir("a"), 0x3bb00002U);
    EXPECT_EQ(client.ListFile("a", files), 0x3bb00002U);
    EXPECT_EQ(client.checkOneFileExist("a", "b"), 0x3bb0000eU);
    EXPECT_EQ(client.checkOneFileExist("a/b"), 0x3bb0000eU);
    EXPECT_EQ(client.GetOneFile("a", "b", false), 0x3bb00002U);
    EXPECT_EQ(client.PutOneFileToFile("a", "b"), 0x3bb00002U);
    EXPECT_EQ(client.PutOneFileToPath("a", "b"), 0x3bb00002U);
    EXPECT_EQ(client.GetFile(pairs, false), 0x3bb00002U);
    EXPECT_EQ(client.PutFile(pairs), 0x3bb00002U);
    EXPECT_EQ(client.RemoveFile("a"), 0x3bb00002U);
    EXPECT_EQ(client.MakeDir("a"), 0x3bb00002U);
    EXPECT_EQ(client.RemoveDir("a"), 0x3bb00002U);
    EXPECT_BETWEEN(watch.Elapsed(), 0, 4000);
    EXPECT_TRUE(files.empty());
}

std::string Plain(const TQ_UTIL::CcipheString& secret) {
    TQ_UTIL::WBAutoPassword plain;
    EXPECT_EQ(secret.GetOriginalStr(plain), 0);
    return plain.GetPassword() == nullptr ? "" : plain.GetPassword();
}

TEST_F(Facade, GivesBackItsConnectionParameters) {
    RVN_FTP_CLIENT::FTPConnInfo given;
    given.strHostIP = "10.1.2.3";
    given.usPort = 65535;
    given.strUser = "bob";
    given.strPassword = TQ_UTIL::CcipheString("tea");
    RVN_FTP_CLIENT::CFtpClient ofRecord(given);
    RVN_FTP_CLIENT::CFtpClient ofValues(given.strHostIP, given.usPort, given.strUser,
                                        given.strPassword);
    given = {};  // copies were taken
    for (RVN_FTP_CLIENT::CFtpClient* pClient : {&ofRecord, &ofValues}) {
        RVN_FTP_CLIENT::FTPConnInfo info;
        info.strHostIP = "old";
        info.strPassword = TQ_UTIL::CcipheString("old");
        pClient->getFTPConnInfo(info);
        EXPECT_EQ(info.strHostIP, "10.1.2.3");
        EXPECT_EQ(info.usPort, 65535);
        EXPECT_EQ(info.strUser, "bob");
        EXPECT_EQ(Plain(info.strPassword), "tea");
    }
}

// The table as a program sees it that was built against another version of the library.
TEST_F(Facade, HasItsVirtualOperationsInTheirOrder) {
    const char* const symbols[] = {
        "_ZN14RVN_FTP_CLIENT10CFtpClientD1Ev",  // or D2, which is the same code
        "_ZN14RVN_FTP_CLIENT10CFtpClientD0Ev",
        "_ZN14RVN_FTP_CLIENT10CFtpClient8setParamEttt",
        "_ZN14RVN_FTP_CLIENT10CFtpClient5LoginEv",
        "_ZN14RVN_FTP_CLIENT10CFtpClient5CloseEv",
        "_ZN14RVN_FTP_CLIENT10CFtpClient9ChangeDirERKNSt7__cxx1112basic_stringIcSt11char_traitsIcE"
        "SaIcEEE",
        "_ZN14RVN_FTP_CLIENT10CFtpClient8ListFileERKNSt7__cxx1112basic_stringIcSt11char_traitsIcE"
        "SaIcEEERSt6vectorIPNS_10TkFileInfoESaISB_EE",
        "_ZN14RVN_FTP_CLIENT10CFtpClient17checkOneFileExistERKNSt7__cxx1112basic_stringIcSt11char_"
        "traitsIcESaIcEEES8_",
        "_ZN14RVN_FTP_CLIENT10CFtpClient17checkOneFileExistERKNSt7__cxx1112basic_stringIcSt11char_"
        "traitsIcESaIcEEE",
        "_ZN14RVN_FTP_CLIENT10CFtpClient10GetOneFileERKNSt7__cxx1112basic_stringIcSt11char_"
        "traitsIcESaIcEEES8_b",
        "_ZN14RVN_FTP_CLIENT10CFtpClient16PutOneFileToFileERKNSt7__cxx1112basic_stringIcSt11char_"
        "traitsIcESaIcEEES8_",
        "_ZN14RVN_FTP_CLIENT10CFtpClient16PutOneFileToPathERKNSt7__cxx1112basic_stringIcSt11char_"
        "traitsIcESaIcEEES8_",
        "_ZN14RVN_FTP_CLIENT10CFtpClient7GetFileERSt6vectorINS_13Ftp_File_PairESaIS2_EEb",
        "_ZN14RVN_FTP_CLIENT10CFtpClient7PutFileERSt6vectorINS_13Ftp_File_PairESaIS2_EE",
        "_ZN14RVN_FTP_CLIENT10CFtpClient10RemoveFileERKNSt7__cxx1112basic_stringIcSt11char_"
        "traitsIcESaIcEEE",
        "_ZN14RVN_FTP_CLIENT10CFtpClient7MakeDirERKNSt7__cxx1112basic_stringIcSt11char_traitsIcE"
        "SaIcEEE",
        "_ZN14RVN_FTP_CLIENT10CFtpClient9RemoveDirERKNSt7__cxx1112basic_stringIcSt11char_traitsIcE"
        "SaIcEEE",
        "_ZN14RVN_FTP_CLIENT10CFtpClient14getFTPConnInfoERNS_11FTPConnInfoE",
    };
    RVN_FTP_CLIENT::CFtpClient client("10.1.2.3", 21, "bob", TQ_UTIL::CcipheString());
    const void* const* pTable = *reinterpret_cast<const void* const* const*>(&client);
    for (std::size_t i = 0; i < sizeof symbols / sizeof symbols[0]; ++i) {
        const void* pOperation = ::dlsym(RTLD_DEFAULT, symbols[i]);
        ASSERT_NE(pOperation, nullptr) << symbols[i];
        EXPECT_EQ(pTable[i], pOperation) << "slot " << i << ": " << symbols[i];
    }
}

}  // namespace
}  // namespace SessionTest
