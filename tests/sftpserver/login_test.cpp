#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

#include "tests/sftpserver/hostsession.h"
#include "tests/sftpserver/opensshserver.h"
#include "tests/support/recordinglog.h"

namespace {

using namespace TestSupport;

// A key with its passphrase: "rsa" also in the older PEM form, which is read by other code.
struct SKeyCase {
    const char* pszType;
    const char* pszPassphrase;
    const char* pszFormat;
};

std::ostream& operator<<(std::ostream& stream, const SKeyCase& key) {
    return stream << key.pszType << ' ' << key.pszFormat << " \"" << key.pszPassphrase << '"';
}

std::string KeyName(const testing::TestParamInfo<SKeyCase>& parameter) {
    const SKeyCase& key = parameter.param;
    std::string strType = key.pszType;
    std::replace(strType.begin(), strType.end(), '-', '_');
    return strType + key.pszFormat + "_passphrase_" + key.pszPassphrase;
}

class LogIn : public testing::Test {
protected:
    void SetUp() override { RecordingLog::Clear(); }

    OpenSshServer m_server;
};

TEST_F(LogIn, WorksWithThePassword) {
    HostSession session(PasswordAccount(m_server));
    EXPECT_EQ(session->connect(), SFTP_OK) << session.Error() << "\n" << m_server.Log();
    SFTP_FileInfo info = {};
    EXPECT_EQ(session->stat(SFTP_String(m_server.Directory().c_str()), info), SFTP_OK)
        << session.Error();
    EXPECT_EQ(info.ucType, SFTP_TYPE_DIRECTORY);
}

TEST_F(LogIn, IsRefusedWithAWrongPassword) {
    TQ_UTIL::StFTPAccountInfo account = PasswordAccount(m_server);
    account.cipherPassword = TQ_UTIL::CcipheString("coffee");
    HostSession session(account);
    EXPECT_EQ(session->connect(), SFTP_ERR_AUTH) << session.Error();
    EXPECT_EQ(session.Error(), "7 the server refuses to let " + m_server.User() + " in");
}

class KeyLogIn : public LogIn, public testing::WithParamInterface<SKeyCase> {};

TEST_P(KeyLogIn, WorksWithTheKey) {
    const SKeyCase& key = GetParam();
    const std::string strFile =
        m_server.AuthorizedKey(key.pszType, key.pszPassphrase, key.pszFormat);
    HostSession session(KeyAccount(m_server, strFile, key.pszPassphrase));
    EXPECT_EQ(RecordingLog::ErrorTexts(), std::vector<std::string>());
    EXPECT_EQ(session->connect(), SFTP_OK) << session.Error() << "\n" << m_server.Log();
}

INSTANTIATE_TEST_SUITE_P(
    Keys, KeyLogIn,
    testing::Values(SKeyCase{"rsa", "", ""}, SKeyCase{"rsa", "skimmed", ""},
                    SKeyCase{"rsa", "", "PEM"}, SKeyCase{"rsa", "skimmed", "PEM"},
                    SKeyCase{"ed25519", "", ""}, SKeyCase{"ed25519", "skimmed", ""},
                    SKeyCase{"ecdsa", "", ""}, SKeyCase{"ecdsa", "skimmed", ""},
                    SKeyCase{"ecdsa", "skimmed", "PEM"}, SKeyCase{"ecdsa-384", "", ""},
                    SKeyCase{"ecdsa-521", "skimmed", ""}),
    KeyName);

class LockedKey : public LogIn, public testing::WithParamInterface<SKeyCase> {};

TEST_P(LockedKey, IsReportedAtOnceAndNeverAskedForAtTheTerminal) {
    const SKeyCase& key = GetParam();
    const std::string strFile = m_server.AuthorizedKey(key.pszType, "skimmed", key.pszFormat);
    HostSession session(KeyAccount(m_server, strFile, key.pszPassphrase));
    ASSERT_EQ(RecordingLog::Errors().size(), 1U);
    EXPECT_EQ(RecordingLog::Errors()[0].uCode, static_cast<unsigned int>(SFTP_ERR_PRIVATE_KEY));
    EXPECT_EQ(session.Error(), "8 private key " + strFile + ": unknown form or wrong passphrase");
    EXPECT_EQ(session->connect(), SFTP_ERR_AUTH);
}

INSTANTIATE_TEST_SUITE_P(Keys, LockedKey,
                         testing::Values(SKeyCase{"rsa", "sugar", ""}, SKeyCase{"rsa", "", ""},
                                         SKeyCase{"rsa", "sugar", "PEM"},
                                         SKeyCase{"rsa", "", "PEM"},
                                         SKeyCase{"ed25519", "sugar", ""},
                                         SKeyCase{"ed25519", "", ""},
                                         SKeyCase{"ecdsa", "sugar", "PEM"}),
                         KeyName);

TEST_F(LogIn, NamesAKeyFileThatIsNotThere) {
    HostSession session(KeyAccount(m_server, "/nowhere/id_rsa"));
    EXPECT_EQ(session.Error(), "8 private key /nowhere/id_rsa: it cannot be read");
}

TEST_F(LogIn, IsRefusedWithAKeyThatIsNotAuthorized) {
    const std::string strFile = m_server.AuthorizedKey("ed25519");
    OpenSshServer other;
    HostSession session(KeyAccount(other, strFile));
    EXPECT_EQ(session->connect(), SFTP_ERR_AUTH) << session.Error();
}

}  // namespace
