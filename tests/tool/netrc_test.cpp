#include "tools/netrc.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "tests/support/tempdir.h"
#include "tests/tool/environment.h"
#include "tools/credentials.h"
#include "tools/failure.h"
#include "tools/url.h"

using namespace qelftp;
using namespace TestSupport;
using namespace ToolTest;

namespace {

// "login:password", "login" without one, "-" when no entry fits.
std::string Describe(bool bFound, const SNetrcAccount& account, const CPlainText& password) {
    if (!bFound) return "-";
    return account.bPassword ? account.strLogin + ":" + password.Get() : account.strLogin;
}

std::string Find(const std::string& strText, const std::string& strHost,
                 const std::string& strLogin) {
    SNetrcAccount account;
    CPlainText password;
    const bool bFound = FindInNetrc(strText, strHost, strLogin, account, password);
    return Describe(bFound, account, password);
}

struct SRow {
    const char* pszText;
    const char* pszHost;
    const char* pszLogin;
    const char* pszExpected;
};

TEST(Netrc, FindsTheEntryOfAHost) {
    for (const SRow& row : {
             SRow{"machine h login bob password tea", "h", "", "bob:tea"},
             SRow{"machine h\n\tlogin bob\r\n\tpassword tea\r\n", "h", "", "bob:tea"},
             SRow{"machine h password tea login bob", "h", "", "bob:tea"},
             SRow{"machine H.Example login bob password tea", "h.eXAMPLE", "", "bob:tea"},
             SRow{"machine h login bob password tea", "hh", "", "-"},
             SRow{"machine hh login bob password tea", "h", "", "-"},
             SRow{"", "h", "", "-"},
             SRow{"machine", "h", "", "-"},
             SRow{"machine h login", "h", "", "-"},
             SRow{"machine h login bob password", "h", "", "bob"},
             SRow{"machine h login bob", "h", "", "bob"},
             SRow{"machine a login x password y machine h login bob password tea", "h", "",
                  "bob:tea"},
             SRow{"machine h login bob password tea machine h login eve password x", "h", "",
                  "bob:tea"},
             SRow{"machine h login machine password login", "h", "", "machine:login"},
             SRow{"login eve password x machine h login bob", "h", "", "bob"},
         }) {
        EXPECT_EQ(Find(row.pszText, row.pszHost, row.pszLogin), row.pszExpected) << row.pszText;
    }
}

TEST(Netrc, TakesTheEntryOfTheLoginThatIsAskedFor) {
    const char* const pszTwo =
        "machine h login bob password tea\nmachine h login eve password milk\n";
    EXPECT_EQ(Find(pszTwo, "h", "bob"), "bob:tea");
    EXPECT_EQ(Find(pszTwo, "h", "eve"), "eve:milk");
    EXPECT_EQ(Find(pszTwo, "h", "Bob"), "-");
    EXPECT_EQ(Find("machine h password tea", "h", "bob"), "bob:tea");
    EXPECT_EQ(Find("machine h password tea", "h", ""), "-");  // no login to use it with
    EXPECT_EQ(Find("machine h password x machine h login bob password tea", "h", ""), "bob:tea");
}

TEST(Netrc, HasADefaultForAllOtherHosts) {
    const char* const pszText = "machine h login bob password tea\ndefault login eve password milk";
    EXPECT_EQ(Find(pszText, "h", ""), "bob:tea");
    EXPECT_EQ(Find(pszText, "x", ""), "eve:milk");
    EXPECT_EQ(Find(pszText, "h", "eve"), "eve:milk");
    EXPECT_EQ(Find(pszText, "x", "bob"), "-");
}

TEST(Netrc, PassesOverCommentsMacrosAccountsAndUnknownWords) {
    for (const char* const pszText : {
             "# machine h login eve password x\nmachine h login bob password tea",
             "#machine h login eve password x\nmachine h login bob password tea",
             "#\nmachine h login bob password tea",
             "machine h login bob # password x\npassword tea",
             "machine h account login login bob password tea",
             "machine h port 21 login bob password tea",
             "machine x login y password z\nmacdef init\nmachine h login eve password x\n\n"
             "machine h login bob password tea",
             "macdef init\r\nmachine h login eve password x\r\n\r\nmachine h login bob password "
             "tea",
             "machine h login bob password tea\nmacdef m\npassword x",
         }) {
        EXPECT_EQ(Find(pszText, "h", ""), "bob:tea") << pszText;
    }
}

TEST(Netrc, TakesWordsAsTheyAreAndQuotedOnesAsOne) {
    for (const auto& [pszWord, pszPassword] : {
             std::pair{"#tea", "#tea"},  // no comment where a value belongs
             std::pair{"t#ea", "t#ea"},
             std::pair{"te\\a", "te\\a"},
             std::pair{"te\"a", "te\"a"},
             std::pair{"te,a", "te,a"},
             std::pair{"\"two words\"", "two words"},
             std::pair{"\"\"", ""},
             std::pair{"\"#a\\\"b\\\\c\"", "#a\"b\\c"},
             std::pair{"\"\\n\\r\\t\\x\"", "\n\r\tx"},
             std::pair{"\"open end", "open end"},
             std::pair{"\xc3\xa4", "\xc3\xa4"},
         }) {
        const std::string strEntry = std::string("machine h password ") + pszWord + "\nlogin bob";
        EXPECT_EQ(Find(strEntry, "h", ""), std::string("bob:") + pszPassword) << pszWord;
    }
    EXPECT_EQ(Find("machine \"h\" login \"b ob\" password tea", "h", ""), "b ob:tea");
}

TEST(Netrc, HasNoPasswordThatIsTooLong) {
    const std::string strLongest(CPlainText::kMaxSize, 'x');
    EXPECT_EQ(Find("machine h login bob password " + strLongest, "h", ""), "bob:" + strLongest);
    EXPECT_EQ(Find("machine h login bob password " + strLongest + "x", "h", ""), "-");
}

class UsersNetrc : public testing::Test {
protected:
    UsersNetrc() : m_home("HOME", m_dir.Path().c_str()), m_netrc("NETRC", nullptr) {
        Write(m_dir.File(".netrc"), "machine h login bob password tea\nmachine p login eve\n",
              0600);
    }

    static void Write(const std::string& strPath, const std::string& strText, mode_t uMode) {
        WriteFile(strPath, strText);
        ASSERT_EQ(::chmod(strPath.c_str(), uMode), 0);
    }
    // Of host and login, as above, or the error.
    static std::string Ask(const std::string& strHost, const std::string& strLogin = "") {
        SNetrcAccount account;
        CPlainText password;
        try {
            const bool bFound = FindInUsersNetrc(strHost, strLogin, account, password);
            return Describe(bFound, account, password);
        } catch (const CUsageError& error) {
            return error.what();
        }
    }
    std::string Refusal() const {
        return "netrc file " + m_dir.File(".netrc") +
               ": others than its owner have rights to it; take them away with chmod 600";
    }

    TempDir m_dir;
    EnvironmentVariable m_home;
    EnvironmentVariable m_netrc;
};

TEST_F(UsersNetrc, IsInTheHomeDirectory) {
    EXPECT_EQ(Ask("h"), "bob:tea");
}

TEST_F(UsersNetrc, IsWhereTheVariableSays) {
    Write(m_dir.File("other"), "machine h login eve password milk", 0600);
    const EnvironmentVariable netrc("NETRC", m_dir.File("other").c_str());
    EXPECT_EQ(Ask("h"), "eve:milk");
}

TEST_F(UsersNetrc, NeedNotExist) {
    const EnvironmentVariable netrc("NETRC", m_dir.File("none").c_str());
    EXPECT_EQ(Ask("h"), "-");
    const EnvironmentVariable empty("NETRC", nullptr);
    const EnvironmentVariable home("HOME", nullptr);
    EXPECT_EQ(Ask("h"), "-");
}

TEST_F(UsersNetrc, IsRefusedWhenOthersCanReadAPasswordThatWouldBeUsed) {
    for (const mode_t uMode : {0640u, 0604u, 0620u, 0602u}) {
        ASSERT_EQ(::chmod(m_dir.File(".netrc").c_str(), uMode), 0);
        EXPECT_EQ(Ask("h"), Refusal()) << std::oct << uMode;
        EXPECT_EQ(Ask("h", "bob"), Refusal());
        EXPECT_EQ(Ask("x"), "-");
        EXPECT_EQ(Ask("p"), "eve");  // no secret in it
    }
}

TEST_F(UsersNetrc, IsRefusedWhenItBelongsToSomebodyElse) {
    if (::geteuid() != 0) FAIL() << "only root can give a file away: run this test as root";
    ASSERT_EQ(::chown(m_dir.File(".netrc").c_str(), 65534, 65534), 0);
    const std::string strRefusal =
        "netrc file " + m_dir.File(".netrc") + ": it belongs to somebody else";
    EXPECT_EQ(Ask("h"), strRefusal);
    EXPECT_EQ(Ask("p"), strRefusal);
    EXPECT_EQ(Ask("x"), "-");
}

TEST_F(UsersNetrc, IsRefusedWhenItCannotBeRead) {
    const EnvironmentVariable netrc("NETRC", m_dir.Path().c_str());
    EXPECT_EQ(Ask("h"), "netrc file " + m_dir.Path().string() + ": Is a directory");
}

TEST_F(UsersNetrc, IsRefusedWhenItIsTooLarge) {
    Write(m_dir.File(".netrc"), std::string(128 * 1024, '\n'), 0600);
    EXPECT_EQ(Ask("h"), "-");
    Write(m_dir.File(".netrc"), std::string(128 * 1024 + 1, '\n'), 0600);
    EXPECT_EQ(Ask("h"), "netrc file " + m_dir.File(".netrc") + ": it is too large");
}

TEST_F(UsersNetrc, NamesTheUserWhenTheUrlDoesNot) {
    const auto user = [](const char* pszUrl) { return AccountName(ParseUrl(pszUrl)); };
    EXPECT_EQ(user("ftp://h/"), "bob");
    EXPECT_EQ(user("ftp://p/"), "eve");
    EXPECT_EQ(user("ftp://x/"), "anonymous");
    EXPECT_EQ(user("ftp://ann@h/"), "ann");
    EXPECT_EQ(user("ftp://anonymous@h/"), "anonymous");
    EXPECT_EQ(user("sftp://h/"), "bob");
}

}  // namespace
