// What a known_hosts file says of a host's key.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/tempdir.h"
#include "tools/base64.h"
#include "tools/failure.h"
#include "tools/knownhosts.h"
#include "tools/knownhostsfile.h"

using namespace qelftp;
using namespace TestSupport;

namespace {

// A key of a type, with bytes of its own; only its form matters here.
SPublicKey Key(const std::string& strType, char cByte) {
    const auto uSize = static_cast<char>(strType.size());
    return {strType, ToBase64(std::string("\0\0\0", 3) + uSize + strType + std::string(36, cByte))};
}

std::string Text(const SPublicKey& key) {
    return key.strType + " " + key.strBlob;
}

const SPublicKey kEd = Key("ssh-ed25519", 'a');
const SPublicKey kOtherEd = Key("ssh-ed25519", 'b');
const SPublicKey kRsa = Key("ssh-rsa", 'c');

struct SRow {
    std::string strLabel;
    std::string strFile;
    const char* pszHost;
    unsigned int uPort;
    EHostKey eExpected;  // of kEd
    std::vector<std::size_t> lines;
};

class KnownHosts : public testing::TestWithParam<SRow> {};

TEST_P(KnownHosts, JudgesAKey) {
    const SRow& row = GetParam();
    const SHostKeyVerdict verdict = CKnownHosts(row.strFile).Judge(row.pszHost, row.uPort, kEd);
    EXPECT_EQ(verdict.eHostKey, row.eExpected) << row.strFile;
    std::vector<std::size_t> lines;
    for (const SKnownKey& known : verdict.keys)
        lines.push_back(known.nLine);
    EXPECT_EQ(lines, row.lines) << row.strFile;
}

const std::string kEdText = Text(kEd);
const std::string kOtherText = Text(kOtherEd);
const std::string kRsaText = Text(kRsa);

const SRow kRows[] = {
    {"empty", "", "h", 22, EHostKey::Unknown, {}},
    {"plain", "h " + kEdText + "\n", "h", 22, EHostKey::Known, {1}},
    {"without_a_line_end", "h " + kEdText, "h", 22, EHostKey::Known, {1}},
    {"line_end_of_dos", "h " + kEdText + "\r\n", "h", 22, EHostKey::Known, {1}},
    {"comment_behind", "h " + kEdText + " bob@desk\n", "h", 22, EHostKey::Known, {1}},
    {"blanks_and_tabs", " \th\t " + kEdText + "\n", "h", 22, EHostKey::Known, {1}},
    {"other_host", "g " + kEdText + "\n", "h", 22, EHostKey::Unknown, {}},
    {"beginning_of_a_name", "h.example " + kEdText + "\n", "h", 22, EHostKey::Unknown, {}},
    {"capitals_in_the_file", "HOST " + kEdText + "\n", "host", 22, EHostKey::Known, {1}},
    {"capitals_of_the_user", "host " + kEdText + "\n", "HoST", 22, EHostKey::Known, {1}},
    {"list", "a,h,10.0.0.1 " + kEdText + "\n", "h", 22, EHostKey::Known, {1}},
    {"list_last", "a,h,10.0.0.1 " + kEdText + "\n", "10.0.0.1", 22, EHostKey::Known, {1}},
    {"star", "*.example.org " + kEdText + "\n", "a.b.example.org", 22, EHostKey::Known, {1}},
    {"star_needs_the_rest", "*.example.org " + kEdText, "example.org", 22, EHostKey::Unknown, {}},
    {"star_in_the_middle", "a*c*e " + kEdText, "abcdcde", 22, EHostKey::Known, {1}},
    {"star_alone", "* " + kEdText, "h", 22, EHostKey::Known, {1}},
    {"question_mark", "h? " + kEdText, "h1", 22, EHostKey::Known, {1}},
    {"question_mark_is_one", "h? " + kEdText, "h", 22, EHostKey::Unknown, {}},
    {"negation", "*.org,!bad.org " + kEdText, "bad.org", 22, EHostKey::Unknown, {}},
    {"negation_first", "!bad.org,*.org " + kEdText, "bad.org", 22, EHostKey::Unknown, {}},
    {"negation_of_another", "!bad.org,*.org " + kEdText, "good.org", 22, EHostKey::Known, {1}},
    {"negation_alone", "!bad.org " + kEdText, "good.org", 22, EHostKey::Unknown, {}},
    {"empty_patterns", ",!,h, " + kEdText, "h", 22, EHostKey::Known, {1}},
    {"comments_and_empty_lines",
     "# h\n\n#h " + kOtherText + "\nh " + kEdText,
     "h",
     22,
     EHostKey::Known,
     {4}},
    {"bad_lines",
     "h\nh ssh-ed25519\nh ssh-ed25519 !!!\nh 1024 35 123456\nh " + kEdText,
     "h",
     22,
     EHostKey::Known,
     {5}},
    {"cut_key", "h " + kEdText.substr(0, kEdText.size() - 3), "h", 22, EHostKey::Unknown, {}},
    {"type_that_is_not_the_blobs", "h ssh-rsa " + kEd.strBlob, "h", 22, EHostKey::Unknown, {}},
    {"port", "[h]:2222 " + kEdText, "h", 2222, EHostKey::Known, {1}},
    {"other_port", "[h]:2222 " + kEdText, "h", 2223, EHostKey::Unknown, {}},
    {"port_line_for_port_22", "[h]:2222 " + kEdText, "h", 22, EHostKey::Unknown, {}},
    {"bare_name_with_the_key", "h " + kEdText, "h", 2222, EHostKey::Known, {1}},
    {"bare_name_with_another_key", "h " + kOtherText, "h", 2222, EHostKey::Unknown, {}},
    {"port_wildcard", "[*.org]:2222 " + kEdText, "a.org", 2222, EHostKey::Known, {1}},
    {"changed", "h " + kOtherText + "\n", "h", 22, EHostKey::Changed, {1}},
    {"changed_on_a_port",
     "h " + kEdText + "x\n[h]:2222 " + kOtherText,
     "h",
     2222,
     EHostKey::Changed,
     {2}},
    {"one_of_two", "h " + kOtherText + "\nh " + kEdText, "h", 22, EHostKey::Known, {2}},
    {"changed_twice",
     "h " + kOtherText + "\n*" + " " + kOtherText,
     "h",
     22,
     EHostKey::Changed,
     {1, 2}},
    {"changed_names_the_same_type",
     "h " + kRsaText + "\nh " + kOtherText,
     "h",
     22,
     EHostKey::Changed,
     {2}},
    {"only_another_type", "h " + kRsaText, "h", 22, EHostKey::Changed, {1}},
    {"revoked", "h " + kEdText + "\n@revoked h " + kEdText, "h", 22, EHostKey::Revoked, {2}},
    {"revoked_everywhere",
     "h " + kEdText + "\n@revoked * " + kEdText,
     "h",
     22,
     EHostKey::Revoked,
     {2}},
    {"revoked_under_the_bare_name",
     "[h]:2222 " + kEdText + "\n@revoked h " + kEdText,
     "h",
     2222,
     EHostKey::Revoked,
     {2}},
    {"another_one_is_revoked",
     "h " + kEdText + "\n@revoked h " + kOtherText,
     "h",
     22,
     EHostKey::Known,
     {1}},
    {"revoked_elsewhere",
     "h " + kEdText + "\n@revoked g " + kEdText,
     "h",
     22,
     EHostKey::Known,
     {1}},
    {"authority", "@cert-authority h " + kEdText, "h", 22, EHostKey::Unknown, {}},
    {"authority_of_another",
     "@cert-authority * " + kOtherText + "\nh " + kEdText,
     "h",
     22,
     EHostKey::Known,
     {2}},
    {"unknown_mark", "@frob h " + kEdText, "h", 22, EHostKey::Unknown, {}},
};

INSTANTIATE_TEST_SUITE_P(Rows, KnownHosts, testing::ValuesIn(kRows),
                         [](const auto& row) { return row.param.strLabel; });

// HMAC-SHA1 of "h.example" under the salt 0..19, computed with Python's hmac module.
TEST(HashedHost, IsRecognised) {
    const std::string strHashed = "|1|AAECAwQFBgcICQoLDA0ODxAREhM=|vXPZpM3fPbCqhG5K7rISl8O0xEk=";
    EXPECT_TRUE(CoversHost(strHashed, "h.example"));
    EXPECT_FALSE(CoversHost(strHashed, "g.example"));
    EXPECT_FALSE(CoversHost("|1|AAECAwQFBgcICQoLDA0ODxAREhM=", "h.example"));
    EXPECT_FALSE(CoversHost("|1|x|y", "h.example"));
    EXPECT_FALSE(CoversHost("|1||", "h.example"));
    EXPECT_FALSE(CoversHost("|2|AAECAwQFBgcICQoLDA0ODxAREhM=|x", "h.example"));
}

TEST(KnownTypes, AreThoseOfTheHostInTheFilesOrder) {
    const CKnownHosts known("h " + kRsaText + "\ng " + kEdText + "\n@revoked h " +
                            Text(Key("ssh-dss", 'd')) + "\nh " + kOtherText + "\ng " + kRsaText +
                            "\n[p]:22022 " + kEdText + "\np " + kRsaText + "\n");
    using Types = std::vector<std::string>;
    EXPECT_EQ(known.TypesOf("h", 22), (Types{"ssh-rsa", "ssh-ed25519"}));
    EXPECT_EQ(known.TypesOf("g", 22), (Types{"ssh-ed25519", "ssh-rsa"}));
    EXPECT_EQ(known.TypesOf("p", 22022), (Types{"ssh-ed25519"}));
    EXPECT_EQ(known.TypesOf("h", 2222), (Types{"ssh-rsa", "ssh-ed25519"}));  // of the bare name
    EXPECT_EQ(CKnownHosts("").TypesOf("h", 22), Types{});
}

class KnownHostsFile : public testing::Test {
protected:
    SHostKeyVerdict Record(const SPublicKey& key, unsigned int uPort = 22) {
        return RecordHostKey(m_strFile, "Host.Example", uPort, key);
    }
    static unsigned int ModeOf(const std::string& strPath) {
        struct stat info = {};
        return ::stat(strPath.c_str(), &info) == 0 ? info.st_mode & 07777U : 0;
    }

    TempDir m_temp;
    std::string m_strFile = m_temp.File("ssh/known_hosts");
};

TEST_F(KnownHostsFile, IsMadeForItsOwnerAlone) {
    EXPECT_EQ(Record(kEd).eHostKey, EHostKey::Known);
    EXPECT_EQ(ReadFile(m_strFile), "host.example " + kEdText + "\n");
    EXPECT_EQ(ModeOf(m_strFile), 0600U);
    EXPECT_EQ(ModeOf(m_temp.File("ssh")), 0700U);
    EXPECT_EQ(ReadKnownHosts(m_strFile).Judge("host.example", 22, kEd).eHostKey, EHostKey::Known);
}

TEST_F(KnownHostsFile, IsAddedToOnALineOfItsOwn) {
    std::filesystem::create_directory(m_temp.File("ssh"));
    WriteFile(m_strFile, "g " + kEdText);
    EXPECT_EQ(Record(kEd, 2222).eHostKey, EHostKey::Known);
    EXPECT_EQ(ReadFile(m_strFile), "g " + kEdText + "\n[host.example]:2222 " + kEdText + "\n");
}

TEST_F(KnownHostsFile, IsNotAddedToWhenAnotherRunWasFaster) {
    EXPECT_EQ(Record(kEd).eHostKey, EHostKey::Known);
    EXPECT_EQ(Record(kEd).eHostKey, EHostKey::Known);
    EXPECT_EQ(Record(kOtherEd).eHostKey, EHostKey::Changed);
    EXPECT_EQ(ReadFile(m_strFile), "host.example " + kEdText + "\n");
}

TEST_F(KnownHostsFile, TakesManyRunsAtOnce) {
    constexpr unsigned int kRuns = 16;
    std::vector<std::thread> threads;
    for (unsigned int i = 0; i < kRuns; ++i)
        threads.emplace_back([this, i] { Record(kEd, 1000 + i); });
    for (std::thread& thread : threads)
        thread.join();
    const CKnownHosts known = ReadKnownHosts(m_strFile);
    for (unsigned int i = 0; i < kRuns; ++i)
        EXPECT_EQ(known.Judge("host.example", 1000 + i, kEd).eHostKey, EHostKey::Known) << i;
}

TEST_F(KnownHostsFile, ThatIsMissingKnowsNobodyAndOneThatCannotBeReadIsAFailure) {
    EXPECT_EQ(ReadKnownHosts(m_strFile).Judge("h", 22, kEd).eHostKey, EHostKey::Unknown);
    EXPECT_THROW(ReadKnownHosts(m_temp.Path().string()), COperationError);
    EXPECT_THROW(RecordHostKey(m_temp.Path().string(), "h", 22, kEd), COperationError);
    EXPECT_THROW(RecordHostKey("/nonexistent/a/b", "h", 22, kEd), COperationError);
}

TEST(DefaultKnownHosts, AreBelowHome) {
    const char* const pszOld = std::getenv("HOME");
    const std::optional<std::string> oldHome =
        pszOld != nullptr ? std::optional<std::string>(pszOld) : std::nullopt;
    ::setenv("HOME", "/somewhere", 1);
    EXPECT_EQ(DefaultKnownHostsPath(), "/somewhere/.ssh/known_hosts");
    ::unsetenv("HOME");
    EXPECT_NE(DefaultKnownHostsPath(), "/somewhere/.ssh/known_hosts");
    EXPECT_NE(DefaultKnownHostsPath().find("/.ssh/known_hosts"), std::string::npos);
    if (oldHome) ::setenv("HOME", oldHome->c_str(), 1);
}

TEST(PublicKey, IsParsedWithAndWithoutAComment) {
    EXPECT_EQ(ParsePublicKey(kEdText), kEd);
    EXPECT_EQ(ParsePublicKey(kEdText + " bob@desk"), kEd);
    for (const std::string& strBad :
         {std::string(), std::string("ssh-ed25519"), "ssh-rsa " + kEd.strBlob, std::string("a b")})
        EXPECT_EQ(ParsePublicKey(strBad), SPublicKey()) << strBad;
}

TEST(Base64, GoesBothWays) {
    struct SPair {
        const char* pszBytes;
        const char* pszText;
    };
    for (const SPair& pair : {SPair{"f", "Zg=="}, SPair{"fo", "Zm8="}, SPair{"foo", "Zm9v"},
                              SPair{"foob", "Zm9vYg=="}, SPair{"fooba", "Zm9vYmE="}}) {
        EXPECT_EQ(ToBase64(pair.pszBytes), pair.pszText);
        EXPECT_EQ(FromBase64(pair.pszText), pair.pszBytes);
    }
    EXPECT_EQ(ToBase64(""), "");
    for (const char* pszBad :
         {"", "Zg", "Zg=", "Zg== ", " Zg=", "Z!==", "====", "Zm9v\n", "Zg==Zg=="})
        EXPECT_FALSE(FromBase64(pszBad).has_value()) << pszBad;
}

}  // namespace
