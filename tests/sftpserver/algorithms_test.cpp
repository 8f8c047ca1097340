#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "standalone/sftp/algorithmlist.h"
#include "standalone/sftp/algorithms.h"
#include "standalone/sftp/session.h"
#include "tests/sftpserver/hostsession.h"
#include "tests/sftpserver/opensshserver.h"
#include "tests/support/recordinglog.h"

namespace {

using namespace TestSupport;
using namespace sftpwrapper;
using Texts = std::vector<std::string>;

// A family with the keys of the configuration file and the operation that takes its list.
struct SFamily {
    const SAlgorithmFamily& family;
    const char* pszKey;
    int (SFTP_Session_Wrp::*pSet)(const SFTP_Vector<int>& list);
};

const SFamily kFamilies[] = {
    {kCipherFamily, "Cipher", &SFTP_Session_Wrp::setCipherList},
    {kMacFamily, "Mac", &SFTP_Session_Wrp::setMacList},
    {kKeyExchangeFamily, "KeyExchange", &SFTP_Session_Wrp::setKeyExchangeList},
    {kHostKeyFamily, "HostKey", &SFTP_Session_Wrp::setHostKeyList},
    {kAuthTypeFamily, "AuthType", &SFTP_Session_Wrp::setAuthTypeList},
};

int SetList(SFTP_Session_Wrp& session, const SFamily& which, const std::vector<int>& ids) {
    SFTP_Vector<int> list(ids.size());
    for (const int nId : ids)
        list.append(nId);
    return (session.*which.pSet)(list);
}

TEST(Algorithms, AreNamedInTheOrderOfTheListAndOnlyOnce) {
    RecordingLog::Clear();
    const int ids[] = {0x106, 0x101, 0x106};
    EXPECT_EQ(Joined(NamesOf(kCipherFamily, ids, 3)), "aes128-ctr,aes256-gcm@openssh.com");
    EXPECT_EQ(RecordingLog::ErrorTexts(), Texts());
}

TEST(Algorithms, ThatAreUnknownAreSkippedWithOneLineThatNamesThem) {
    RecordingLog::Clear();
    const int ids[] = {7, 0x101, 0x201, -1};
    EXPECT_EQ(Joined(NamesOf(kCipherFamily, ids, 4)), "aes256-gcm@openssh.com");
    EXPECT_EQ(RecordingLog::ErrorTexts(),
              Texts{"[SFTPWRAPPER]Unknown identifiers in the cipher list are skipped: 0x7 0x201 "
                    "0xffffffff"});
    ASSERT_EQ(RecordingLog::Errors().size(), 1U);
    EXPECT_EQ(RecordingLog::Errors()[0].uCode, static_cast<unsigned int>(SFTP_ERR_ALGORITHMS));
    EXPECT_TRUE(RecordingLog::Errors()[0].bFiltered);
}

TEST(Algorithms, HaveOneIdentifierEachInTheRangeOfTheirFamily) {
    std::set<int> seen;
    int nFamily = 1;
    for (const SAlgorithmFamily* pFamily :
         {&kCipherFamily, &kMacFamily, &kKeyExchangeFamily, &kHostKeyFamily, &kCompressionFamily,
          &kAuthTypeFamily}) {
        for (std::size_t i = 0; i < pFamily->uCount; ++i) {
            const int nId = pFamily->pFirst[i].nId;
            EXPECT_TRUE(seen.insert(nId).second) << nId;
            EXPECT_TRUE(nId == 0 || nId >> 8 == nFamily) << nId;
        }
        ++nFamily;
    }
}

// What is left when a list has no usable entry fails the connect before anything is sent.
TEST(Algorithms, OfWhichNoneIsKnownFailTheConnectWithAClearText) {
    TQ_UTIL::StFTPAccountInfo account;
    account.strHost = "127.0.0.1";
    account.nPort = 1;
    account.strUserName = "bob";
    for (const SFamily& which : kFamilies) {
        HostSession session(account);
        EXPECT_EQ(SetList(*session.operator->(), which, {1, 2}), SFTP_ERR_ALGORITHMS);
        EXPECT_EQ(session->connect(), SFTP_ERR_ALGORITHMS);
        EXPECT_EQ(session.Error(), std::string("4 no known identifier in the ") +
                                       which.family.pszTitle + " list of the configuration");
    }
    HostSession session(account);
    EXPECT_EQ(session->setCompression(0x999), SFTP_ERR_ALGORITHMS);
    EXPECT_EQ(session->connect(), SFTP_ERR_ALGORITHMS);
    EXPECT_EQ(session.Error(),
              "4 no known identifier in the compression list of the configuration");
}

// Each name alone is agreed on with a server that allows everything it has.
TEST(Algorithms, AreAllUnderstoodByOpenSsh) {
    const OpenSshServer server(
        {"ed25519", "ecdsa", "ecdsa-384", "ecdsa-521", "rsa"},
        "Ciphers +aes256-cbc,aes192-cbc,aes128-cbc,3des-cbc\n"
        "MACs +hmac-sha1-etm@openssh.com,hmac-sha1\n"
        "KexAlgorithms +diffie-hellman-group14-sha1,diffie-hellman-group1-sha1\n"
        "HostKeyAlgorithms +ssh-rsa\n"
        "MaxStartups 200\n");
    TQ_UTIL::StFTPAccountInfo account = PasswordAccount(server);
    account.strCheckHostKey = "false";  // the type of key differs
    for (const SFamily& which : kFamilies) {
        for (std::size_t i = 0; i < which.family.uCount; ++i) {
            const SAlgorithm& algorithm = which.family.pFirst[i];
            const std::string strName = algorithm.pszName;
            // The server has neither ways to prompt nor a key of ours.
            if (strName == "keyboard-interactive" || strName == "publickey") continue;
            HostSession session(account);
            ASSERT_EQ(SetList(*session.operator->(), which, {algorithm.nId}), SFTP_OK);
            // MACs count with ciphers that do not authenticate.
            if (&which.family == &kMacFamily) SetList(*session.operator->(), kFamilies[0], {0x104});
            EXPECT_EQ(session->connect(), SFTP_OK) << strName << ": " << session.Error();
        }
    }
    for (const SAlgorithm& compression : kCompressions) {
        HostSession session(account);
        ASSERT_EQ(session->setCompression(static_cast<unsigned int>(compression.nId)), SFTP_OK);
        EXPECT_EQ(session->connect(), SFTP_OK) << compression.pszName << ": " << session.Error();
    }
}

TEST(Algorithms, ThatTheServerDoesNotHaveFailTheConnectByName) {
    const OpenSshServer server({"ed25519"}, "Ciphers aes256-ctr\n");
    HostSession session(PasswordAccount(server));
    ASSERT_EQ(SetList(*session.operator->(), kFamilies[0], {0x101, 0x103}), SFTP_OK);
    EXPECT_EQ(session->connect(), SFTP_ERR_CONNECT);
    EXPECT_NE(session.Error().find("aes256-ctr"), std::string::npos) << session.Error();
}

// "key=value" lines, as the host's resource store reads them.
std::map<std::string, std::string> ConfigurationLines() {
    std::ifstream file(QEL_SOURCE_DIR "/server/sftpAlgorithm.cfg");
    std::map<std::string, std::string> values;
    for (std::string strLine; std::getline(file, strLine);) {
        const std::size_t uEquals = strLine.find('=');
        if (strLine.empty() || strLine[0] == '#' || uEquals == std::string::npos) continue;
        EXPECT_TRUE(values.emplace(strLine.substr(0, uEquals), strLine.substr(uEquals + 1)).second)
            << "twice: " << strLine;
    }
    return values;
}

std::string NameOf(const SAlgorithmFamily& family, long nId) {
    for (std::size_t i = 0; i < family.uCount; ++i)
        if (family.pFirst[i].nId == nId) return family.pFirst[i].pszName;
    return "";
}

TEST(ShippedConfiguration, NamesOnlyEntriesThatItDefinesAndTheWrapperKnows) {
    const auto values = ConfigurationLines();
    std::vector<std::pair<const char*, const SAlgorithmFamily*>> lists = {
        {"Compression", &kCompressionFamily}};
    for (const SFamily& which : kFamilies)
        lists.emplace_back(which.pszKey, &which.family);
    for (const auto& [pszKey, pFamily] : lists) {
        ASSERT_EQ(values.count(pszKey), 1U) << pszKey;
        const std::string& strList = values.at(pszKey);
        ASSERT_EQ(strList.back(), ';') << pszKey;
        std::istringstream entries(strList);
        for (std::string strEntry; std::getline(entries, strEntry, ';');) {
            ASSERT_EQ(values.count(strEntry), 1U) << pszKey << " names " << strEntry;
            const long nId = std::strtol(values.at(strEntry).c_str(), nullptr, 16);
            EXPECT_NE(NameOf(*pFamily, nId), "") << strEntry;
        }
    }
}

TEST(ShippedConfiguration, LeavesOutWhatIsBroken) {
    const auto values = ConfigurationLines();
    for (const SFamily& which : kFamilies) {
        std::istringstream entries(values.at(which.pszKey));
        for (std::string strEntry; std::getline(entries, strEntry, ';');) {
            const long nId = std::strtol(values.at(strEntry).c_str(), nullptr, 16);
            const std::string strName = NameOf(which.family, nId);
            EXPECT_EQ(strName.find("cbc"), std::string::npos) << strName;
            EXPECT_FALSE(strName.size() > 4 && strName.substr(strName.size() - 4) == "sha1");
            EXPECT_EQ(strName.find("hmac-sha1"), std::string::npos) << strName;
            EXPECT_NE(strName, "ssh-rsa");
        }
    }
}

// Rows of the tables are "| 0x101 | `name` | ...".
TEST(Documentation, ListsEveryIdentifierAndNoOther) {
    std::ifstream file(QEL_SOURCE_DIR "/docs/sftp.md");
    std::set<std::string> documented;
    for (std::string strLine; std::getline(file, strLine);) {
        if (strLine.compare(0, 2, "| ") != 0 || strLine.find("| `") == std::string::npos) continue;
        std::istringstream cells(strLine);
        std::string strBar;
        std::string strId;
        std::string strName;
        cells >> strBar >> strId >> strBar >> strName;
        if (strId == "0" || strId.compare(0, 2, "0x") == 0)
            documented.insert(strId + " " + strName);
    }
    std::set<std::string> known;
    for (const SAlgorithmFamily* pFamily :
         {&kCipherFamily, &kMacFamily, &kKeyExchangeFamily, &kHostKeyFamily, &kCompressionFamily,
          &kAuthTypeFamily}) {
        for (std::size_t i = 0; i < pFamily->uCount; ++i) {
            std::ostringstream text;
            text << std::hex << std::showbase << pFamily->pFirst[i].nId << " `"
                 << pFamily->pFirst[i].pszName << "`";
            known.insert(text.str());
        }
    }
    EXPECT_EQ(documented, known);
}

}  // namespace
