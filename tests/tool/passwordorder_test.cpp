// Which of its sources a password comes from.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <string>

#include "tests/support/tempdir.h"
#include "tests/tool/environment.h"
#include "tools/failure.h"
#include "tools/password.h"

using namespace qelftp;
using namespace TestSupport;
using namespace ToolTest;

namespace {

std::string Plain(const TQ_UTIL::CcipheString& secret) {
    TQ_UTIL::WBAutoPassword plain;
    EXPECT_EQ(secret.GetOriginalStr(plain), 0);
    return std::string(plain.GetPassword(), plain.GetLength());
}

class PasswordOrder : public testing::Test {
protected:
    PasswordOrder()
        : m_variable("QELFTP_PASSWORD", "of the environment"),
          m_netrc("NETRC", m_dir.File("netrc").c_str()) {
        WriteSecret("netrc", "machine h login bob password \"of netrc\"");
        WriteSecret("file", "of the file\n");
    }

    void WriteSecret(const char* pszName, const std::string& strText) {
        WriteFile(m_dir.File(pszName), strText);
        EXPECT_EQ(::chmod(m_dir.File(pszName).c_str(), 0600), 0);
    }
    // As a session with a key sees it; "-" when none is known.
    static std::string Known(const std::string& strUser, const std::string& strFile = "") {
        const auto password = KnownPassword(strUser, "h", strFile);
        return password ? Plain(*password) : "-";
    }

    TempDir m_dir;
    EnvironmentVariable m_variable;
    EnvironmentVariable m_netrc;
};

TEST_F(PasswordOrder, TheFileThatIsNamedIsFirst) {
    EXPECT_EQ(Plain(ObtainPassword("bob", "h", m_dir.File("file"))), "of the file");
    EXPECT_EQ(std::getenv("QELFTP_PASSWORD"), nullptr);  // gone all the same
    EXPECT_EQ(Plain(ObtainPassword("anonymous", "h", m_dir.File("file"))), "of the file");
    EXPECT_EQ(Known("bob", m_dir.File("file")), "of the file");
}

TEST_F(PasswordOrder, TheEnvironmentIsSecond) {
    EXPECT_EQ(Plain(ObtainPassword("bob", "h")), "of the environment");
    EXPECT_EQ(std::getenv("QELFTP_PASSWORD"), nullptr);
}

TEST_F(PasswordOrder, NetrcIsThird) {
    ::unsetenv("QELFTP_PASSWORD");
    EXPECT_EQ(Plain(ObtainPassword("bob", "h")), "of netrc");
    EXPECT_EQ(Known("bob"), "of netrc");
}

TEST_F(PasswordOrder, AnonymousHasADefaultAfterThat) {
    ::unsetenv("QELFTP_PASSWORD");
    EXPECT_EQ(Plain(ObtainPassword("anonymous", "h")), "anonymous");
    EXPECT_EQ(Known("anonymous"), "-");
    WriteSecret("netrc", "machine h login anonymous password me@here");
    EXPECT_EQ(Plain(ObtainPassword("anonymous", "h")), "me@here");
}

TEST_F(PasswordOrder, NothingKnownIsNoPassword) {
    ::unsetenv("QELFTP_PASSWORD");
    EXPECT_EQ(Known("eve"), "-");
}

TEST_F(PasswordOrder, AFileThatIsNamedAndRefusedIsNotPassedOver) {
    EXPECT_THROW(ObtainPassword("bob", "h", m_dir.File("none")), CUsageError);
}

TEST_F(PasswordOrder, NoSourceMaySpanLines) {
    ::unsetenv("QELFTP_PASSWORD");
    WriteSecret("netrc", "machine h login bob password \"a\\nQUIT\"");
    EXPECT_THROW(ObtainPassword("bob", "h"), CUsageError);
    WriteSecret("file", "a\rb\n");
    EXPECT_THROW(ObtainPassword("bob", "h", m_dir.File("file")), CUsageError);
}

}  // namespace
