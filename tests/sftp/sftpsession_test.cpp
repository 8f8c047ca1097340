// Server, host-key check and credentials of a session.

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "include/sftpclient.h"
#include "src/sftp/sftpsession.h"
#include "tests/sftp/fakeserver.h"
#include "tests/sftp/fakewrapper.h"
#include "tests/sftp/memory.h"
#include "tests/sftp/rawobject.h"
#include "tests/support/recordinglog.h"

namespace {

using RVN_FTP_CLIENT::CSftpClient;
using RVN_FTP_CLIENT::SFTP_Session;
using RVN_FTP_CLIENT::StSFTPConnectionInfo;
using TestSftp::CFake;
using TestSftp::CFakeServer;
using TestSupport::RecordingLog;
using TQ_UTIL::CcipheString;
using TQ_UTIL::StFTPAccountInfo;
using Texts = std::vector<std::string>;

const std::string kSecret = "the secret that nobody may find in freed memory";

// The host's adapter. Its eighth operation deciphers; the others must not be called.
class CAdapter : public TQ_UTIL::ISovAdapter {
public:
    int Reserved01() override { return Wrong(); }
    int Reserved02() override { return Wrong(); }
    int Reserved03() override { return Wrong(); }
    int Reserved04() override { return Wrong(); }
    int Reserved05() override { return Wrong(); }
    int Reserved06() override { return Wrong(); }
    int Reserved07() override { return Wrong(); }

    int Decipher(const CcipheString* secret, TQ_UTIL::WBAutoPassword* plain) override {
        pAsked = secret;
        ++nCalls;
        EXPECT_EQ(plain->GetLength(), 0U);
        EXPECT_EQ(plain->GetPassword(), nullptr);
        return bFails ? -1 : secret->GetOriginalStr(*plain);
    }

    void Reset() {
        pAsked = nullptr;
        nCalls = 0;
        bFails = false;
    }

    const CcipheString* pAsked = nullptr;
    int nCalls = 0;
    bool bFails = false;

private:
    static int Wrong() {
        ADD_FAILURE() << "another operation of the adapter was called";
        return 0;
    }
};

CAdapter g_adapter;

}  // namespace

TQ_UTIL::ISovAdapter* TQ_UTIL::CWBSovAdapterFactory::getSovInterface() {
    return &g_adapter;
}

namespace {

StFTPAccountInfo Account() {
    StFTPAccountInfo account;
    account.strHost = "files.example";
    account.strUserName = "bob";
    account.cipherPassword = CcipheString("tea");
    account.cipherPassphrase = CcipheString("coffee");
    account.strPrivateKeyFile = "/home/bob/.ssh/id_rsa";
    account.nPort = 2222;
    account.strHostKeyFormat = "OPENSSH";
    account.strHostKey = "ssh-ed25519 AAAAC3NzaC1lZDI1NTE5AAAAIexpected";
    return account;
}

// One call of getSFTPSession with what it made, released at the end.
class SftpSession : public testing::Test {
protected:
    SftpSession() : m_pInfo(new StSFTPConnectionInfo) { g_adapter.Reset(); }
    ~SftpSession() override {
        if (m_pSession != nullptr)
            CSftpClient::releaseSFTPConnection(m_pInfo);
        else
            delete m_pInfo;
    }

    void Open(const StFTPAccountInfo& account) {
        m_pSession = CSftpClient::getSFTPSession(m_pInfo, account);
    }

    // What came after the algorithms.
    static Texts SessionCalls() {
        const Texts calls = CFake::Instance().Calls();
        for (std::size_t i = 0; i < calls.size(); ++i) {
            if (calls[i].rfind("setAuthTypeList", 0) == 0)
                return Texts(calls.begin() + static_cast<std::ptrdiff_t>(i) + 1, calls.end());
        }
        return {"no algorithms"};
    }

    CFakeServer m_server;
    StSFTPConnectionInfo* m_pInfo;
    SFTP_Session_Wrp* m_pSession = nullptr;
};

TEST_F(SftpSession, SetsServerAndPassword) {
    const StFTPAccountInfo account = Account();
    Open(account);
    ASSERT_NE(m_pSession, nullptr);
    EXPECT_EQ(SessionCalls(),
              (Texts{"setSessionCallback", R"(setServerInfo "files.example" 2222 "bob")",
                     "setSessionOption 15", R"(setPassword "tea")"}));
    EXPECT_EQ(m_pInfo->pSession, m_pSession);
    EXPECT_NE(m_pInfo->pSessionCB, nullptr);
    EXPECT_EQ(g_adapter.pAsked, &account.cipherPassword);
    EXPECT_EQ(g_adapter.nCalls, 1);
    EXPECT_EQ(RecordingLog::All().size(), 0U);
}

TEST_F(SftpSession, SetsServerAndPrivateKey) {
    StFTPAccountInfo account = Account();
    account.strAuthType = "pubkey";
    Open(account);
    ASSERT_NE(m_pSession, nullptr);
    EXPECT_EQ(
        SessionCalls(),
        (Texts{"setSessionCallback", R"(setServerInfo "files.example" 2222 "bob")",
               "setSessionOption 15", R"(setRSAPrivateKey "/home/bob/.ssh/id_rsa" 1 0 "coffee")"}));
    EXPECT_EQ(g_adapter.pAsked, &account.cipherPassphrase);
    EXPECT_EQ(g_adapter.nCalls, 1);
    EXPECT_EQ(RecordingLog::All().size(), 0U);
}

TEST(SftpAuthType, SelectsThePrivateKeyOnlyByItsExactName) {
    struct {
        const char* pszAuthType;
        const char* pszCall;
    } const rows[] = {
        {"pubkey", "setRSAPrivateKey"}, {"PubKey", "setPassword"},
        {"PUBKEY", "setPassword"},      {"", "setPassword"},
        {"pubkey ", "setPassword"},     {" pubkey", "setPassword"},
        {"pubke", "setPassword"},       {"password", "setPassword"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(std::string("\"") + row.pszAuthType + "\"");
        const CFakeServer server;
        StFTPAccountInfo account = Account();
        account.strAuthType = row.pszAuthType;
        auto* pInfo = new StSFTPConnectionInfo;
        ASSERT_NE(CSftpClient::getSFTPSession(pInfo, account), nullptr);
        EXPECT_EQ(
            CFake::Instance().Count("setPassword") + CFake::Instance().Count("setRSAPrivateKey"),
            1U);
        EXPECT_EQ(CFake::Instance().Count(row.pszCall), 1U);
        CSftpClient::releaseSFTPConnection(pInfo);
    }
}

TEST_F(SftpSession, PassesAnEmptyPassword) {
    StFTPAccountInfo account = Account();
    account.cipherPassword = CcipheString();
    Open(account);
    EXPECT_EQ(SessionCalls().back(), R"(setPassword "")");
}

TEST_F(SftpSession, PassesAnEmptyPassphrase) {
    StFTPAccountInfo account = Account();
    account.strAuthType = "pubkey";
    account.cipherPassphrase = CcipheString("");
    Open(account);
    EXPECT_EQ(SessionCalls().back(), R"(setRSAPrivateKey "/home/bob/.ssh/id_rsa" 1 0 "")");
}

TEST_F(SftpSession, PassesTheEmptyTextForASecretThatCannotBeDeciphered) {
    g_adapter.bFails = true;
    Open(Account());
    EXPECT_EQ(SessionCalls().back(), R"(setPassword "")");
    EXPECT_EQ(RecordingLog::All().size(), 0U);
}

TEST_F(SftpSession, IgnoresWhatTheOtherOperationsReturn) {
    for (const char* pszOperation : {"setSessionCallback", "setServerInfo", "setSessionOption"})
        CFake::Instance().SetResult(pszOperation, -1);
    Open(Account());
    EXPECT_NE(m_pSession, nullptr);
    EXPECT_EQ(SessionCalls().size(), 4U);
    EXPECT_EQ(RecordingLog::All().size(), 0U);
}

// ---- refused credentials: a log line, nothing else

struct SRefusal {
    const char* pszAuthType;
    const char* pszOperation;
    int nResult;
    unsigned int uCode;
};

void PrintTo(const SRefusal& row, std::ostream* pStream) {
    *pStream << row.pszOperation << " returns " << row.nResult;
}

class SftpRefusal : public SftpSession, public testing::WithParamInterface<SRefusal> {};

TEST_P(SftpRefusal, IsLoggedAndTheSessionIsReturned) {
    const SRefusal& row = GetParam();
    CFake::Instance().SetResult(row.pszOperation, row.nResult);
    StFTPAccountInfo account = Account();
    account.strAuthType = row.pszAuthType;
    Open(account);
    EXPECT_NE(m_pSession, nullptr);
    EXPECT_EQ(m_pInfo->pSession, m_pSession);
    EXPECT_EQ(RecordingLog::All().size(), 1U);
    ASSERT_EQ(RecordingLog::Errors().size(), 1U);
    const auto error = RecordingLog::Errors()[0];
    EXPECT_EQ(error.uCode, row.uCode);
    EXPECT_EQ(error.strText, std::string("[FTPCLIENT]pSession->") + row.pszOperation +
                                 "() failed! IP:files.example username:bob");
    EXPECT_EQ(error.strFile, "sftpclient");
    EXPECT_EQ(error.strFunction, "getSFTPSession");
    EXPECT_TRUE(error.bFiltered);
}

INSTANTIATE_TEST_SUITE_P(Credentials, SftpRefusal,
                         testing::Values(SRefusal{"", "setPassword", 77, 77},
                                         SRefusal{"", "setPassword", -1, 0xFFFFFFFFU},
                                         SRefusal{"pubkey", "setRSAPrivateKey", 8, 8},
                                         SRefusal{"pubkey", "setRSAPrivateKey", -2, 0xFFFFFFFEU}));

// ---- failures of the first half

TEST_F(SftpSession, NamesTheFailureOfTheFirstHalf) {
    CFake::Instance().bNullSession = true;
    for (const char* pszLoaderError : {static_cast<const char*>(nullptr), "loader says no"}) {
        RecordingLog::Clear();
        CFake::Instance().FakeLoaderError(pszLoaderError);
        Open(Account());
        EXPECT_EQ(m_pSession, nullptr);
        EXPECT_EQ(m_pInfo->pSession, nullptr);
        EXPECT_EQ(m_pInfo->pSessionCB, nullptr);
        EXPECT_EQ(RecordingLog::All().size(), 2U);
        ASSERT_EQ(RecordingLog::Infos().size(), 2U);
        const auto info = RecordingLog::Infos()[1];
        EXPECT_EQ(info.strText,
                  std::string("[FTPCLIENT]getSFTPClientObject failed.SFTP_initLibrary") +
                      (pszLoaderError == nullptr ? "" : ",loader says no"));
        EXPECT_EQ(info.strFile, "sftpclient");
        EXPECT_EQ(info.strFunction, "getSFTPSession");
        EXPECT_TRUE(info.bFiltered);
        EXPECT_EQ(g_adapter.nCalls, 0);
    }
}

TEST(SftpSessionWithoutRecord, IsNull) {
    const CFakeServer server;
    EXPECT_EQ(CSftpClient::getSFTPSession(nullptr, Account()), nullptr);
    EXPECT_EQ(RecordingLog::InfoTexts(),
              (Texts{"[FTPCLIENT]pStSFTPConnectionInfo is null.SFTP_initLibrary",
                     "[FTPCLIENT]getSFTPClientObject failed.SFTP_initLibrary"}));
}

// Every allocation of the wrapper's allocator fails once: five lists, then host, user, password.
TEST(SftpAllocation, MayFailAnywhere) {
    constexpr int kLists = 5;
    constexpr int kAllocations = kLists + 3;
    for (int nWhich = 1; nWhich <= kAllocations + 1; ++nWhich) {
        SCOPED_TRACE("allocation " + std::to_string(nWhich));
        const CFakeServer server;
        CFake::Instance().nFailAllocation = nWhich;
        auto* pInfo = new StSFTPConnectionInfo;
        SFTP_Session_Wrp* pSession = CSftpClient::getSFTPSession(pInfo, Account());
        EXPECT_EQ(pSession == nullptr, nWhich <= kLists);
        EXPECT_EQ(
            CFake::Instance().nAllocations,
            nWhich <= kAllocations ? (nWhich <= kLists ? nWhich : kAllocations) - 1 : kAllocations);
        EXPECT_EQ(CFake::Instance().nLiveBlocks, 0);
        if (pSession != nullptr)
            CSftpClient::releaseSFTPConnection(pInfo);
        else
            delete pInfo;
        EXPECT_FALSE(server.Loaded());
    }
}

// ---- secrets

TEST(SftpSecret, IsWipedBeforeItsMemoryIsFreed) {
    for (const char* pszAuthType : {"", "pubkey"}) {
        const CFakeServer server;
        TestSftp::CRawObject<SFTP_Session_Wrp> session;  // copies no secret, as the fake's own does
        CFake::Instance().pSession = &session.Get();
        StFTPAccountInfo account = Account();
        account.strAuthType = pszAuthType;
        account.cipherPassword = account.cipherPassphrase = CcipheString(kSecret);
        CFake::Instance().WatchSecret(kSecret);
        const std::string strWiped(kSecret.size(), '\0');
        TestSftp::WatchFreed(kSecret, strWiped);
        auto* pInfo = new StSFTPConnectionInfo;
        EXPECT_NE(CSftpClient::getSFTPSession(pInfo, account), nullptr);
        const TestSftp::SFreed freed = TestSftp::StopWatching();
        EXPECT_EQ(CFake::Instance().SecretsFreedInPlain(), 0);
        EXPECT_EQ(freed.nPlain, 0);
        EXPECT_GE(freed.nWiped, 1);
        CSftpClient::releaseSFTPConnection(pInfo);
    }
}

// ---- the callback object

struct SKeyRow {
    const char* pszCheck;
    const char* pszFormat;
    const char* pszExpected;
    const char* pszServer;  // may be null
    int nAnswer;
};

const SKeyRow kKeys[] = {
    // unchecked, whatever the rest
    {"false", "OPENSSH", "key", "other", 0},
    {"false", "PEM", "key", "other", 0},
    {"false", "", "", nullptr, 0},
    // checked by any other switch
    {"", "OPENSSH", "key", "key", 0},
    {"true", "OPENSSH", "key", "key", 0},
    {"", "OPENSSH", "key", "other", 2},
    {"true", "OPENSSH", "key", "other", 2},
    {"False", "OPENSSH", "key", "other", 2},
    {"false ", "OPENSSH", "key", "other", 2},
    {"FALSE", "OPENSSH", "key", "other", 2},
    // only one format
    {"", "", "key", "key", 2},
    {"", "openssh", "key", "key", 2},
    {"", "OPENSSH ", "key", "key", 2},
    {"", "PEM", "key", "key", 2},
    // byte for byte
    {"", "OPENSSH", "key", "KEY", 2},
    {"", "OPENSSH", "key", "ke", 2},
    {"", "OPENSSH", "key", "keys", 2},
    {"", "OPENSSH", "key", "key\n", 2},
    {"", "OPENSSH", "key", "", 2},
    {"", "OPENSSH", "", "key", 2},
    // no key expected
    {"", "OPENSSH", "", "", 0},
    {"", "OPENSSH", "", nullptr, 2},
    {"", "OPENSSH", "key", nullptr, 2},
};

StFTPAccountInfo Expecting(const SKeyRow& row) {
    StFTPAccountInfo account;
    account.strCheckHostKey = row.pszCheck;
    account.strHostKeyFormat = row.pszFormat;
    account.strHostKey = row.pszExpected;
    return account;
}

TEST(SftpHostKey, IsAcceptedByTheTable) {
    for (const SKeyRow& row : kKeys) {
        SFTP_Session session(Expecting(row));
        EXPECT_EQ(session.verifyHostKey(SFTP_String("host"), 22, SFTP_String(row.pszServer)),
                  row.nAnswer)
            << "check \"" << row.pszCheck << "\" format \"" << row.pszFormat << "\" expected \""
            << row.pszExpected << "\" server "
            << (row.pszServer == nullptr ? "(null)" : row.pszServer);
    }
}

TEST(SftpHostKey, IsEqualInLengthToo) {
    StFTPAccountInfo account = Expecting({"", "OPENSSH", "", nullptr, 0});
    account.strHostKey = std::string("key\0more", 8);
    SFTP_Session session(account);
    EXPECT_EQ(session.verifyHostKey(SFTP_String("host"), 22, SFTP_String("key")), 2);
}

TEST(SftpHostKey, IsCheckedForTheAccountByTheRegisteredObject) {
    const CFakeServer server;
    auto* pInfo = new StSFTPConnectionInfo;
    ASSERT_NE(CSftpClient::getSFTPSession(pInfo, Account()), nullptr);
    const auto answer = [pInfo](const std::string& strKey) {
        return pInfo->pSessionCB->verifyHostKey(SFTP_String("host"), 22,
                                                SFTP_String(strKey.c_str()));
    };
    EXPECT_EQ(answer(Account().strHostKey), 0);
    EXPECT_EQ(answer(Account().strHostKey + "x"), 2);
    CSftpClient::releaseSFTPConnection(pInfo);
}

TEST(SftpCallbacks, HaveFixedAnswers) {
    SFTP_Session session(Account());
    SFTP_SessionCB& callback = session;
    EXPECT_EQ(callback.firstCallback(nullptr, nullptr), 0);
    EXPECT_EQ(callback.secondCallback(nullptr, nullptr), 0);
    EXPECT_EQ(callback.thirdCallback(nullptr, nullptr), 1);
    callback.fifthCallback(nullptr, nullptr);
}

}  // namespace
