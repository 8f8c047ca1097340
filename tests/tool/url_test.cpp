#include "tools/url.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "tests/tool/label.h"
#include "tools/failure.h"

using namespace qelftp;
using namespace std::string_literals;

namespace {

struct SGood {
    std::string strText;
    std::string strUser;
    std::string strHost;
    unsigned short usPort;
    std::string strPath;
    bool bDirectory;
};

void PrintTo(const SGood& row, std::ostream* pStream) {
    *pStream << ToolTest::Label(row.strText);
}

class GoodUrl : public testing::TestWithParam<SGood> {};

TEST_P(GoodUrl, GivesItsParts) {
    const SUrl url = ParseUrl(GetParam().strText);
    EXPECT_EQ(url.strScheme, "ftp");
    EXPECT_EQ(url.strUser, GetParam().strUser);
    EXPECT_EQ(url.strHost, GetParam().strHost);
    EXPECT_EQ(url.usPort, GetParam().usPort);
    EXPECT_EQ(url.strPath, GetParam().strPath);
    EXPECT_EQ(url.bDirectory, GetParam().bDirectory);
}

const SGood kGood[] = {
    {"ftp://bob@example.org:2121/a/b.txt", "bob", "example.org", 2121, "/a/b.txt", false},
    {"ftp://example.org", "anonymous", "example.org", 21, "/", true},
    {"ftp://example.org/", "anonymous", "example.org", 21, "/", true},
    {"ftp://example.org:/x", "anonymous", "example.org", 21, "/x", false},
    {"ftp://bob@10.0.0.1/", "bob", "10.0.0.1", 21, "/", true},
    {"FTP://bob@EXAMPLE.org/A", "bob", "EXAMPLE.org", 21, "/A", false},
    {"ftp://h:1/", "anonymous", "h", 1, "/", true},
    {"ftp://h:65535/", "anonymous", "h", 65535, "/", true},
    {"ftp://h:0021/", "anonymous", "h", 21, "/", true},
    {"ftp://under_score-host.local/x", "anonymous", "under_score-host.local", 21, "/x", false},
    // user
    {"ftp://bob%40corp@h/x", "bob@corp", "h", 21, "/x", false},
    {"ftp://bob@corp@h/x", "bob@corp", "h", 21, "/x", false},
    {"ftp://corp%3Abob@h/x", "corp:bob", "h", 21, "/x", false},
    {"ftp://b%C3%B6b@h/x",
     "b\xc3\xb6"
     "b",
     "h", 21, "/x", false},
    // path
    {"ftp://h/a%20b", "anonymous", "h", 21, "/a b", false},
    {"ftp://h/a b", "anonymous", "h", 21, "/a b", false},
    {"ftp://h/%C3%A4", "anonymous", "h", 21, "/\xc3\xa4", false},
    {"ftp://h/\xc3\xa4", "anonymous", "h", 21, "/\xc3\xa4", false},
    {"ftp://h/100%25", "anonymous", "h", 21, "/100%", false},
    {"ftp://h/%2525", "anonymous", "h", 21, "/%25", false},
    {"ftp://h/a%2Fb", "anonymous", "h", 21, "/a/b", false},
    {"ftp://h/a?b#c;type=i", "anonymous", "h", 21, "/a?b#c;type=i", false},
    {"ftp://h/x@y:z", "anonymous", "h", 21, "/x@y:z", false},
    {"ftp://h/a/", "anonymous", "h", 21, "/a", true},
    {"ftp://h//a//b//", "anonymous", "h", 21, "/a/b", true},
    {"ftp://h/a/./b", "anonymous", "h", 21, "/a/b", false},
    {"ftp://h/a/../b", "anonymous", "h", 21, "/b", false},
    {"ftp://h/../../b", "anonymous", "h", 21, "/b", false},
    {"ftp://h/a/%2e%2e/%2E%2E/b", "anonymous", "h", 21, "/b", false},
    {"ftp://h/a/..", "anonymous", "h", 21, "/", true},
    {"ftp://h/...", "anonymous", "h", 21, "/...", false},
    {"ftp://h/a%1Bb%7F", "anonymous", "h", 21,
     "/a\x1b"
     "b\x7f",
     false},
};
INSTANTIATE_TEST_SUITE_P(Url, GoodUrl, testing::ValuesIn(kGood));

struct SBad {
    std::string strText;
    std::string strInMessage;
};

void PrintTo(const SBad& row, std::ostream* pStream) {
    *pStream << ToolTest::Label(row.strText);
}

std::string RefusalOf(const std::string& strUrl) {
    try {
        ParseUrl(strUrl);
    } catch (const CUsageError& error) {
        return error.what();
    }
    return "(accepted)";
}

class BadUrl : public testing::TestWithParam<SBad> {};

TEST_P(BadUrl, IsRefusedAndSaysWhy) {
    const std::string strMessage = RefusalOf(GetParam().strText);
    EXPECT_NE(strMessage.find(GetParam().strInMessage), std::string::npos) << strMessage;
}

const SBad kBad[] = {
    {"", "a URL is expected"},
    {"example.org/x", "a URL is expected"},
    {"ftp:/h/x", "a URL is expected"},
    {"://h/x", "a URL is expected"},
    {"1ftp://h/x", "a URL is expected"},
    {"ft p://h/x", "a URL is expected"},
    {"gopher://h/x", "gopher:// are not supported; these are: ftp://"},
    {"http://h/x", "http:// are not supported; these are: ftp://"},
    {"ftps://h/x", "ftps:// are not supported"},
    {"ftp://", "must name a host"},
    {"ftp:///x", "must name a host"},
    {"ftp://bob@/x", "must name a host"},
    {"ftp://:21/x", "must name a host"},
    {"ftp://[::1]/x", "IPv6"},
    {"ftp://[::1]:21/x", "IPv6"},
    {"ftp://h%6f/x", "the host of a URL"},
    {"ftp://h h/x", "the host of a URL"},
    {"ftp://h\n/x", "the host of a URL"},
    {"ftp://h:0/x", "from 1 to 65535"},
    {"ftp://h:65536/x", "from 1 to 65535"},
    {"ftp://h:99999999999999999999/x", "from 1 to 65535"},
    {"ftp://h:-1/x", "from 1 to 65535"},
    {"ftp://h:+1/x", "from 1 to 65535"},
    {"ftp://h: 1/x", "from 1 to 65535"},
    {"ftp://h:2x/x", "from 1 to 65535"},
    {"ftp://h:21:22/x", "from 1 to 65535"},
    {"ftp://@h/x", "user of a URL is empty"},
    {"ftp://bob:@h/x", "QELFTP_PASSWORD"},
    {"ftp://bob:pw@h/x", "QELFTP_PASSWORD"},
    {"ftp://:pw@h/x", "QELFTP_PASSWORD"},
    {"ftp://bob:p@w@h/x", "QELFTP_PASSWORD"},
    {"ftp://bob%0D@h/x", "user of a URL may not hold a line end"},
    {"ftp://bob%0aDELE@h/x", "user of a URL may not hold a line end"},
    {"ftp://bob%00@h/x", "user of a URL may not hold a line end"},
    {"ftp://h/a%0Db", "path of a URL may not hold a line end"},
    {"ftp://h/a%0ab", "path of a URL may not hold a line end"},
    {"ftp://h/a%00b", "path of a URL may not hold a line end"},
    {"ftp://h/a\nb", "path of a URL may not hold a line end"},
    {"ftp://h/a\rb", "path of a URL may not hold a line end"},
    {"ftp://h/a\0b"s, "path of a URL may not hold a line end"},
    {"ftp://h/100%", "two hexadecimal digits"},
    {"ftp://h/%4", "two hexadecimal digits"},
    {"ftp://h/%zz", "two hexadecimal digits"},
    {"ftp://h/%4g", "two hexadecimal digits"},
    {"ftp://h/%-1", "two hexadecimal digits"},
    {"ftp://bob%@h/x", "user of a URL must be followed"},
};
INSTANTIATE_TEST_SUITE_P(Url, BadUrl, testing::ValuesIn(kBad));

TEST(Url, RefusalsNeverRepeatWhatMayBeAPassword) {
    for (const char* pszUrl :
         {"ftp://bob:s3cret@h/x", "ftp://bob:s3cret/x@h/", "ftp://bob:s3cret@h:0/",
          "ftp://:s3cret@", "ftp://bob:s3cret", "ftp://s3cret%zz@h/", "ftp://s3cret%0a@h/",
          "sftp://bob:s3cret@h/"}) {
        const std::string strMessage = RefusalOf(pszUrl);
        EXPECT_NE(strMessage, "(accepted)") << pszUrl;
        EXPECT_EQ(strMessage.find("s3cret"), std::string::npos) << strMessage;
    }
}

TEST(Url, IsToldFromALocalPath) {
    EXPECT_TRUE(LooksLikeUrl("ftp://h/x"));
    EXPECT_TRUE(LooksLikeUrl("sftp://h"));
    EXPECT_TRUE(LooksLikeUrl("svn+ssh://h"));
    for (const char* pszPath :
         {"", "ftp", "x", "./ftp://h", "/ftp://h", "a b://h", "C:\\x", "ftp:/x", "://", "9p://h"}) {
        EXPECT_FALSE(LooksLikeUrl(pszPath)) << pszPath;
    }
}

TEST(Url, PasswordsAreMaskedInATextAboutArguments) {
    struct SRow {
        const char* pszText;
        const char* pszMasked;
    };
    for (const SRow& row : {
             SRow{"not expected: ftp://bob:s3cret@h/x", "not expected: ftp://bob:***@h/x"},
             SRow{"ftp://bob:s3 c/r@et@h/x", "ftp://bob:***@h/x"},
             SRow{"ftp://a:b@h/ c", "ftp://a:***@h/ c"},
             SRow{"ftp://bob@h:21/x", "ftp://bob@h:21/x"},
             SRow{"ftp://h:21/x", "ftp://h:21/x"},
             SRow{"--frob", "--frob"},
             SRow{"", ""},
         }) {
        EXPECT_EQ(WithoutPasswords(row.pszText), row.pszMasked);
    }
}

}  // namespace
