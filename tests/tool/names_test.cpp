// Names that are hard on command lines, URLs, listings or terminals.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <ostream>
#include <stdexcept>
#include <string>

#include "tests/support/payload.h"
#include "tests/support/scriptedserver.h"
#include "tests/support/tempdir.h"
#include "tests/tool/ftpserver.h"

using namespace TestSupport;
using namespace ToolTest;
namespace fs = std::filesystem;

namespace {

struct SName {
    const char* pszTest;
    std::string strName;   // of the file
    std::string strInUrl;  // percent-encoded where needed
    std::string strShown;  // by ls
};

void PrintTo(const SName& row, std::ostream* pStream) {
    *pStream << row.pszTest;
}

class Name : public testing::TestWithParam<SName> {};

TEST_P(Name, GoesThroughEveryCommand) {
    const FtpServer server;
    const TempDir local;
    const std::string strFile = local.File(GetParam().strName);
    const std::string strUrl = server.Url("/" + GetParam().strInUrl);
    WriteFile(strFile, Payload(3000));

    // Once under its own name, in the directory it is in, and once by the URL.
    SRun run = RunWithPassword({"put", "--", GetParam().strName, server.Url("/")},
                               {{}, local.Path().string(), "", ""});
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_TRUE(SamePayload(Payload(3000), ReadFile(server.File(GetParam().strName))));
    run = RunWithPassword({"put", strFile, strUrl});
    EXPECT_EQ(run.nExit, 0) << run.strErr;

    run = RunWithPassword({"ls", server.Url("/")});
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    const std::string strEnd = "  " + GetParam().strShown + "\n";
    ASSERT_GE(run.strOut.size(), strEnd.size());
    EXPECT_EQ(run.strOut.substr(run.strOut.size() - strEnd.size()), strEnd) << run.strOut;

    fs::create_directory(local.File("out-dir"));
    run = RunWithPassword({"get", strUrl, local.File("out-dir")});
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_TRUE(SamePayload(Payload(3000), ReadFile(local.File("out-dir/" + GetParam().strName))));

    run = RunWithPassword({"exists", strUrl});
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    run = RunWithPassword({"rm", strUrl});
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_FALSE(server.Has(GetParam().strName));
    run = RunWithPassword({"mkdir", strUrl});
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_TRUE(fs::is_directory(server.File(GetParam().strName)));
    run = RunWithPassword({"rmdir", strUrl});
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_FALSE(server.Has(GetParam().strName));
}

const SName kNames[] = {
    {"Blanks", "a b  c", "a%20b%20%20c", "a b  c"},
    {"BlanksAsTheyAre", "a b  c", "a b  c", "a b  c"},
    {"Utf8", "\xc3\xa4\xe6\xbc\xa2\xf0\x9f\x98\x80", "%C3%A4\xe6\xbc\xa2%F0%9F%98%80",
     "\xc3\xa4\xe6\xbc\xa2\xf0\x9f\x98\x80"},
    {"Percent", "100%25", "100%2525", "100%25"},
    {"LikeACommand", "rm", "rm", "rm"},
    {"LikeAnOption", "-rf", "-rf", "-rf"},
    {"Brackets", "[a,b]", "%5Ba,b]", "[a,b]"},
    {"QueryAndFragment", "a?b#c;type=a", "a%3fb#c;type=a", "a?b#c;type=a"},
    {"At", "a@b:c", "a@b:c", "a@b:c"},
    {"Arrow", "a -> b", "a -> b", "a -> b"},
    {"Escape", "\x1b[31mred\x07", "%1B%5B31mred%07", "\\x1b[31mred\\x07"},
    {"C1Control",
     "a\xc2\x9b"
     "b",
     "a%C2%9Bb", "a\\xc2\\x9bb"},
};
INSTANTIATE_TEST_SUITE_P(Real, Name, testing::ValuesIn(kNames),
                         [](const auto& tested) { return std::string(tested.param.pszTest); });

TEST(NameInMessages, CannotDriveTheTerminal) {
    const FtpServer server;
    const SRun run = RunWithPassword({"rm", server.Url("/%1B]0;title%07")});
    EXPECT_EQ(run.nExit, 1);
    EXPECT_EQ(run.strErr,
              "qelftp: rm /\\x1b]0;title\\x07: no such file or directory (0x3bb0000e)\n");
}

// A terminal that is not UTF-8: local names and what is shown are in its encoding, the server's are
// UTF-8.
class NameInAnotherLocale : public testing::Test {
protected:
    NameInAnotherLocale() {
        const std::string strMake =
            "localedef -i en_US -f ISO-8859-1 " + m_locales.File("en_US.ISO-8859-1");
        if (std::system(strMake.c_str()) != 0) {
            throw std::runtime_error(
                "The locale of this test could not be made: it needs the Debian package locales.");
        }
        m_latin1.environment["LC_ALL"] = "en_US.ISO-8859-1";
        m_latin1.environment["LOCPATH"] = m_locales.Path().string();
    }

    SSurroundings m_latin1;

private:
    TempDir m_locales;
};

TEST_F(NameInAnotherLocale, IsConvertedBothWays) {
    const FtpServer server;
    const TempDir local;
    const std::string strLatin1 = "\xe4.txt";
    const std::string strUtf8 = "\xc3\xa4.txt";
    WriteFile(local.File(strLatin1), Payload(3000));

    SRun run = RunWithPassword({"put", local.File(strLatin1), server.Url("/")}, m_latin1);
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_TRUE(SamePayload(Payload(3000), ReadFile(server.File(strUtf8))));

    run = RunWithPassword({"ls", server.Url("/")}, m_latin1);
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_NE(run.strOut.find("  " + strLatin1 + "\n"), std::string::npos) << run.strOut;

    // Typed in the terminal's encoding, and percent-encoded UTF-8.
    for (const std::string& strInUrl : {strLatin1, std::string("%C3%A4.txt")}) {
        run = RunWithPassword({"exists", server.Url("/" + strInUrl)}, m_latin1);
        EXPECT_EQ(run.nExit, 0) << run.strErr;
        fs::remove(local.File(strLatin1));
        run = RunWithPassword({"get", server.Url("/" + strInUrl), local.Path().string()}, m_latin1);
        EXPECT_EQ(run.nExit, 0) << run.strErr;
        EXPECT_TRUE(SamePayload(Payload(3000), ReadFile(local.File(strLatin1))));
    }

    run = RunWithPassword({"exists", server.Url("/%C3%B6")}, m_latin1);
    EXPECT_EQ(run.strErr, "qelftp: exists /\xf6: no such file or directory (0x3bb0000e)\n");
}

TEST_F(NameInAnotherLocale, IsFoundOnAServerThatDoesNotSayWhichEncodingItSends) {
    ScriptedServer server{Say("220 ready\r\n"),
                          Expect("USER bob"),
                          Say("331 password\r\n"),
                          Expect("PASS tea time"),
                          Say("230 in\r\n"),
                          Expect("PWD"),
                          Say("257 \"/\"\r\n"),
                          Expect("CWD /"),
                          Say("250 there\r\n"),
                          Expect("PASV"),
                          SayPassive(),
                          Expect("LIST"),
                          Say("150 here\r\n"),
                          SendData("-rw-r--r-- 1 u g 5 Mar 3 2019 \xc3\xa4\r\n"),
                          CloseData(),
                          Say("226 done\r\n"),
                          Expect("OPTS UTF8 ON"),
                          Say("501 what?\r\n"),
                          Expect("QUIT"),
                          Say("221 bye\r\n"),
                          ExpectClose()};
    const std::string strUrl = "ftp://bob@127.0.0.1:" + std::to_string(server.Port()) + "/\xe4";
    const SRun run = RunWithPassword({"exists", strUrl}, m_latin1);
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    server.ExpectFinished();
}

}  // namespace
