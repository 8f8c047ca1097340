// The algorithm file and the singleton that reads it. The platform's file and resource operations
// and ACE's mutex are defined here, so that each can fail.

#include <ace/OS_NS_Thread.h>
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "platform/files.h"
#include "platform/logging.h"
#include "platform/paths.h"
#include "platform/resources.h"
#include "platform/sftpwrapper.h"
#include "src/sftp/sftpclientreadcfg.h"
#include "tests/support/recordinglog.h"

namespace {

using RVN_FTP_CLIENT::CSftpClientConfManager;
using TestSupport::RecordingLog;
using Ids = std::vector<int>;
using Texts = std::vector<std::string>;

struct SPlatform {
    std::string strServerPath = "/opt/srv";
    int nServerPathResult = 1;
    int nAccessResult = 0;
    int nLoadResult = 1;
    std::string strFile;

    Texts accessed;  // "path mode encoding"
    Texts loaded;    // paths
    std::map<std::string, std::string> entries;
    Texts traces;

    bool bLockFails = false;
    int nLocks = 0;
    int nHeld = 0;
    int nHeldWhileLoading = -1;
};

SPlatform g_platform;

// Of "[FTPCLIENT]" texts, without the prefix.
Texts Unprefixed(Texts texts) {
    for (std::string& strText : texts) {
        EXPECT_EQ(strText.substr(0, 11), "[FTPCLIENT]") << strText;
        strText.erase(0, 11);
    }
    return texts;
}

class SftpConfig : public testing::Test {
protected:
    SftpConfig() { Restart(); }
    ~SftpConfig() override {
        g_platform.bLockFails = false;
        CSftpClientConfManager::Release();
    }

    // As if the process had just begun.
    static void Restart() {
        g_platform.bLockFails = false;
        CSftpClientConfManager::Release();
        g_platform = SPlatform();
        RecordingLog::Clear();
    }

    static CSftpClientConfManager& Read(const std::string& strFile) {
        g_platform.strFile = strFile;
        return *CSftpClientConfManager::Instance();
    }
};

// A file whose other keys are in order.
std::string Besides(const std::string& strKey) {
    std::string strFile;
    for (const char* pszOther :
         {"Cipher", "Mac", "KeyExchange", "HostKey", "AuthType", "Compression"}) {
        if (strKey != pszOther) strFile += std::string(pszOther) + "=one;\n";
    }
    return strFile + "one=1\n";
}

std::string EntryMissing(const std::string& strName) {
    return "CSftpClientConfManager::initCfgItem - Get " + strName + " fail in sftpAlgorithm.cfg";
}

std::string KeyMissing(const std::string& strName) {
    return "CSftpClientConfManager::getSupportedAlgorithmList - Get " + strName +
           " fail in sftpAlgorithm.cfg";
}

// ---- one list

struct SListRow {
    const char* pszWhat;
    const char* pszFile;  // the lines about "Cipher"
    Ids expected;
    Texts errors;
};

const SListRow kLists[] = {
    {"two entries in file order", "Cipher=aes;ctr;\naes=0x1A\nctr=7\n", {26, 7}, {}},
    {"no semicolon: no entries, no message", "Cipher=aes\naes=1\n", {}, {}},
    {"text after the last semicolon", "Cipher=aes;ctr\naes=1\nctr=2\n", {1}, {}},
    {"an empty entry name", "Cipher=;x;\nx=3\n", {3}, {EntryMissing("Cipher.")}},
    {"only semicolons", "Cipher=;;\n", {}, {EntryMissing("Cipher."), EntryMissing("Cipher.")}},
    {"not a number", "Cipher=a;\na=zz\n", {0}, {}},
    {"number, then something else", "Cipher=a;\na=1Fxyz\n", {31}, {}},
    {"no prefix", "Cipher=a;\na=ff\n", {255}, {}},
    {"capital prefix", "Cipher=a;\na=0XFF\n", {255}, {}},
    {"signs and blanks before the digits", "Cipher=a;b;\na=  -0x10\nb=\t+2\n", {-16, 2}, {}},
    {"low 32 bits", "Cipher=a;b;\na=1234567890\nb=FFFFFFFF\n", {0x34567890, -1}, {}},
    {"more than 64 bits", "Cipher=a;\na=FFFFFFFFFFFFFFFFFF\n", {-1}, {}},
    {"duplicates and zeros stay", "Cipher=a;b;a;a;\na=5\nb=0\n", {5, 0, 5, 5}, {}},
    {"a missing entry is left out",
     "Cipher=a;no;b;\na=1\nb=2\n",
     {1, 2},
     {EntryMissing("Cipher.no")}},
    {"an empty entry is left out", "Cipher=a;b;\na=\nb=2\n", {2}, {EntryMissing("Cipher.a")}},
    {"blanks belong to the name", "Cipher=a; b;\na=1\nb=2\n", {1}, {EntryMissing("Cipher. b")}},
    {"blanks belong to the name, which may exist", "Cipher=a; b;\na=1\n b=2\n", {1, 2}, {}},
    {"the key is missing", "", {}, {KeyMissing("Cipher")}},
    {"the key is empty", "Cipher=\n", {}, {KeyMissing("Cipher")}},
    {"the key's case matters", "cipher=a;\na=1\n", {}, {KeyMissing("Cipher")}},
    {"an entry named as a key", "Cipher=one;\n", {1}, {}},
};

TEST_F(SftpConfig, TurnsAListOfNamesIntoIdentifiers) {
    for (const SListRow& row : kLists) {
        SCOPED_TRACE(row.pszWhat);
        Restart();
        const CSftpClientConfManager& conf = Read(Besides("Cipher") + row.pszFile);
        EXPECT_EQ(conf.getCipherList(), row.expected);
        EXPECT_EQ(Unprefixed(RecordingLog::ErrorTexts()), row.errors);
        EXPECT_EQ(RecordingLog::InfoTexts(), Texts{});
        EXPECT_EQ(conf.isConfigValid(), !row.expected.empty());
        EXPECT_EQ(conf.getMacList(), Ids{1});
    }
}

// ---- compression

const std::string kMoreThanOne = "Compression is More than one";

struct SCompressionRow {
    const char* pszWhat;
    const char* pszFile;
    int nExpected;
    Texts log;  // both levels, in the order written
};

const SCompressionRow kCompressions[] = {
    {"one", "Compression=zlib;\nzlib=0x2\n", 2, {}},
    {"the last valid one wins", "Compression=none;zlib;\nnone=1\nzlib=2\n", 2, {kMoreThanOne}},
    {"a missing second one",
     "Compression=none;bad;\nnone=1\n",
     1,
     {kMoreThanOne, EntryMissing("Compression.bad")}},
    {"a missing first one",
     "Compression=bad;none;\nnone=1\n",
     1,
     {EntryMissing("Compression.bad")}},
    {"three", "Compression=a;b;c;\na=1\nb=2\nc=3\n", 3, {kMoreThanOne, kMoreThanOne}},
    {"valid, missing, valid",
     "Compression=a;no;c;\na=1\nc=3\n",
     3,
     {kMoreThanOne, EntryMissing("Compression.no"), kMoreThanOne}},
    {"an empty entry", "Compression=a;\na=\n", 0, {EntryMissing("Compression.a")}},
    {"none valid stays zero",
     "Compression=no;nor;\n",
     0,
     {EntryMissing("Compression.no"), EntryMissing("Compression.nor")}},
    {"a valid zero counts as stored", "Compression=a;b;\na=zz\nb=4\n", 4, {kMoreThanOne}},
    {"no semicolon", "Compression=a\na=1\n", 0, {}},
    {"the key is missing", "", 0, {KeyMissing("Compression")}},
    {"the key is empty", "Compression=\n", 0, {KeyMissing("Compression")}},
};

TEST_F(SftpConfig, TakesTheLastValidCompression) {
    for (const SCompressionRow& row : kCompressions) {
        SCOPED_TRACE(row.pszWhat);
        Restart();
        const CSftpClientConfManager& conf = Read(Besides("Compression") + row.pszFile);
        EXPECT_EQ(conf.getCompression(), row.nExpected);
        Texts log;
        for (const auto& entry : RecordingLog::All())
            log.push_back(entry.strText);
        EXPECT_EQ(Unprefixed(log), row.log);
        EXPECT_TRUE(conf.isConfigValid());  // whatever the compression is
    }
}

TEST_F(SftpConfig, LogsMoreThanOneAsInformation) {
    Read(Besides("Compression") + "Compression=a;b;\na=1\nb=2\n");
    EXPECT_EQ(RecordingLog::ErrorTexts(), Texts{});
    ASSERT_EQ(RecordingLog::Infos().size(), 1U);
    const auto info = RecordingLog::Infos()[0];
    EXPECT_EQ(info.strText, "[FTPCLIENT]Compression is More than one");
    EXPECT_EQ(info.strFile, "sftpclientreadcfg");
    EXPECT_EQ(info.strFunction, "initCompressionCfgItem");
    EXPECT_TRUE(info.bFiltered);
}

// ---- the whole file

TEST_F(SftpConfig, ReadsEachKeyIntoItsOwnList) {
    const auto& conf = Read(
        "Cipher=a;\nMac=b;\nKeyExchange=c;\nHostKey=d;\nAuthType=e;\nCompression=f;\n"
        "a=1\nb=2\nc=3\nd=4\ne=5\nf=6\n");
    EXPECT_EQ(conf.getCipherList(), Ids{1});
    EXPECT_EQ(conf.getMacList(), Ids{2});
    EXPECT_EQ(conf.getKeyExchangeList(), Ids{3});
    EXPECT_EQ(conf.getHostKeyList(), Ids{4});
    EXPECT_EQ(conf.getAuthTypeList(), Ids{5});
    EXPECT_EQ(conf.getCompression(), 6);
    EXPECT_EQ(RecordingLog::All().size(), 0U);
}

TEST_F(SftpConfig, AsksForTheKeysInOrder) {
    Read("");
    EXPECT_EQ(Unprefixed(RecordingLog::ErrorTexts()),
              (Texts{KeyMissing("Cipher"), KeyMissing("Mac"), KeyMissing("KeyExchange"),
                     KeyMissing("HostKey"), KeyMissing("AuthType"), KeyMissing("Compression")}));
    for (const auto& entry : RecordingLog::Errors()) {
        EXPECT_EQ(entry.uCode, 0xFFFFFFFFU) << entry;
        EXPECT_EQ(entry.strFile, "sftpclientreadcfg") << entry;
        EXPECT_EQ(entry.strFunction, "getSupportedAlgorithmList") << entry;
        EXPECT_TRUE(entry.bFiltered) << entry;
    }
}

TEST_F(SftpConfig, NamesTheOperationThatMissedAnEntry) {
    Read(Besides("") + "Mac=no;\nCompression=nor;\n");
    ASSERT_EQ(RecordingLog::Errors().size(), 2U);
    const auto list = RecordingLog::Errors()[0];
    EXPECT_EQ(list.strText, "[FTPCLIENT]" + EntryMissing("Mac.no"));
    EXPECT_EQ(list.uCode, 0xFFFFFFFFU);
    EXPECT_EQ(list.strFile, "sftpclientreadcfg");
    EXPECT_EQ(list.strFunction, "initCfgItem");
    const auto compression = RecordingLog::Errors()[1];
    EXPECT_EQ(compression.strText, "[FTPCLIENT]" + EntryMissing("Compression.nor"));
    EXPECT_EQ(compression.uCode, 0xFFFFFFFFU);
    EXPECT_EQ(compression.strFunction, "initCompressionCfgItem");
}

TEST_F(SftpConfig, IsInvalidWithoutAnyOneOfTheLists) {
    for (const char* pszKey : {"Cipher", "Mac", "KeyExchange", "HostKey", "AuthType"}) {
        SCOPED_TRACE(pszKey);
        Restart();
        EXPECT_FALSE(Read(Besides(pszKey)).isConfigValid());
        EXPECT_EQ(Unprefixed(RecordingLog::ErrorTexts()), Texts{KeyMissing(pszKey)});
    }
    Restart();
    EXPECT_TRUE(Read(Besides("Compression")).isConfigValid());
}

TEST_F(SftpConfig, FindsTheFileBelowTheServerPath) {
    struct {
        const char* pszServer;
        const char* pszFile;
    } const rows[] = {
        {"/opt/srv", "/opt/srv/vesk/PRWWBFrame/prw/qel/conf/sftpAlgorithm.cfg"},
        {"/opt/srv/", "/opt/srv/vesk/PRWWBFrame/prw/qel/conf/sftpAlgorithm.cfg"},
        {"/opt/srv\\", "/opt/srv\\vesk/PRWWBFrame/prw/qel/conf/sftpAlgorithm.cfg"},
        {"/", "/vesk/PRWWBFrame/prw/qel/conf/sftpAlgorithm.cfg"},
        {"", "vesk/PRWWBFrame/prw/qel/conf/sftpAlgorithm.cfg"},
    };
    for (const auto& row : rows) {
        Restart();
        g_platform.strServerPath = row.pszServer;
        Read("");
        EXPECT_EQ(g_platform.accessed, Texts{std::string(row.pszFile) + " 0 UTF-8"});
        EXPECT_EQ(g_platform.loaded, Texts{row.pszFile});
    }
}

// ---- what can fail

void ExpectOneError(const std::string& strText) {
    ASSERT_EQ(RecordingLog::All().size(), 1U);
    ASSERT_EQ(RecordingLog::Errors().size(), 1U);
    const auto error = RecordingLog::Errors()[0];
    EXPECT_EQ(error.strText, "[FTPCLIENT]" + strText);
    EXPECT_EQ(error.uCode, 0xFFFFFFFFU);
    EXPECT_EQ(error.strFile, "sftpclientreadcfg");
    EXPECT_EQ(error.strFunction, "init");
    EXPECT_TRUE(error.bFiltered);
}

void ExpectEmpty(const CSftpClientConfManager& conf) {
    EXPECT_EQ(conf.getCipherList(), Ids{});
    EXPECT_EQ(conf.getMacList(), Ids{});
    EXPECT_EQ(conf.getKeyExchangeList(), Ids{});
    EXPECT_EQ(conf.getHostKeyList(), Ids{});
    EXPECT_EQ(conf.getAuthTypeList(), Ids{});
    EXPECT_EQ(conf.getCompression(), 0);
    EXPECT_FALSE(conf.isConfigValid());
}

TEST_F(SftpConfig, StaysEmptyWithoutAServerPath) {
    for (const int nResult : {0, -1, 2}) {  // only 1 is success
        Restart();
        g_platform.nServerPathResult = nResult;
        ExpectEmpty(Read(Besides("")));
        ExpectOneError("SovGetServerPath_WB error.");
        EXPECT_EQ(g_platform.accessed, Texts{});
        EXPECT_EQ(g_platform.loaded, Texts{});
    }
}

TEST_F(SftpConfig, StaysEmptyWithoutTheFile) {
    for (const int nResult : {-1, 1}) {
        Restart();
        g_platform.nAccessResult = nResult;
        ExpectEmpty(Read(Besides("")));
        ExpectOneError(
            "CSftpClientConfManager::init - "
            "/opt/srv/vesk/PRWWBFrame/prw/qel/conf/sftpAlgorithm.cfg is not exists.");
        EXPECT_EQ(g_platform.loaded, Texts{});
    }
}

TEST_F(SftpConfig, StaysEmptyWhenTheFileCannotBeLoaded) {
    g_platform.nLoadResult = 0;
    ExpectEmpty(Read(Besides("")));
    ExpectOneError(
        "CSftpClientConfManager::init - ZeltAddResFileWithAbsolute  fail in "
        "/opt/srv/vesk/PRWWBFrame/prw/qel/conf/sftpAlgorithm.cfg");
}

TEST_F(SftpConfig, TakesAnyNonZeroResultOfLoadingAsSuccess) {
    g_platform.nLoadResult = -1;
    EXPECT_TRUE(Read(Besides("")).isConfigValid());
}

TEST_F(SftpConfig, IsNotTriedAgainAfterAFailure) {
    g_platform.nAccessResult = -1;
    const CSftpClientConfManager& first = Read(Besides(""));
    g_platform.nAccessResult = 0;
    EXPECT_EQ(CSftpClientConfManager::Instance(), &first);
    EXPECT_FALSE(first.isConfigValid());
    EXPECT_EQ(g_platform.accessed.size(), 1U);
    EXPECT_EQ(RecordingLog::Errors().size(), 1U);
}

// ---- the singleton

TEST_F(SftpConfig, IsReadOnceUnderTheLockAndThenHandedOutWithoutIt) {
    Read(Besides(""));
    EXPECT_EQ(g_platform.nHeldWhileLoading, 1);
    EXPECT_EQ(g_platform.nHeld, 0);
    EXPECT_EQ(g_platform.nLocks, 1);
    for (int i = 0; i < 3; ++i)
        CSftpClientConfManager::Instance();
    EXPECT_EQ(g_platform.nLocks, 1);
    EXPECT_EQ(g_platform.loaded.size(), 1U);
}

TEST_F(SftpConfig, IsNullWhileTheLockCannotBeHad) {
    g_platform.bLockFails = true;
    EXPECT_EQ(CSftpClientConfManager::Instance(), nullptr);
    EXPECT_EQ(g_platform.accessed, Texts{});
    EXPECT_EQ(RecordingLog::All().size(), 0U);
    g_platform.bLockFails = false;
    EXPECT_NE(CSftpClientConfManager::Instance(), nullptr);
}

TEST_F(SftpConfig, KeepsItsInstanceWhenTheLockCannotBeHadForReleasing) {
    const CSftpClientConfManager& first = Read(Besides(""));
    g_platform.bLockFails = true;
    CSftpClientConfManager::Release();
    EXPECT_EQ(CSftpClientConfManager::Instance(), &first);
}

TEST_F(SftpConfig, ReadsAgainAfterRelease) {
    EXPECT_EQ(Read(Besides("")).getCipherList(), Ids{1});
    CSftpClientConfManager::Release();
    EXPECT_EQ(g_platform.nHeld, 0);
    EXPECT_EQ(g_platform.nLocks, 2);
    EXPECT_EQ(Read(Besides("Cipher") + "Cipher=two;\ntwo=2\n").getCipherList(), Ids{2});
}

TEST_F(SftpConfig, CanBeReleasedBeforeItExists) {
    CSftpClientConfManager::Release();
    CSftpClientConfManager::Release();
    EXPECT_EQ(g_platform.nHeld, 0);
    EXPECT_TRUE(Read(Besides("")).isConfigValid());
}

TEST_F(SftpConfig, KeepsItsFieldsInOrder) {
    const CSftpClientConfManager& conf = Read(Besides(""));
    const auto at = [&conf](const Ids& list) {
        return reinterpret_cast<const char*>(&list) - reinterpret_cast<const char*>(&conf);
    };
    const auto nList = static_cast<std::ptrdiff_t>(sizeof(Ids));
    EXPECT_EQ(at(conf.getCipherList()), 0);
    EXPECT_EQ(at(conf.getMacList()), nList);
    EXPECT_EQ(at(conf.getKeyExchangeList()), 2 * nList);
    EXPECT_EQ(at(conf.getHostKeyList()), 3 * nList);
    EXPECT_EQ(at(conf.getAuthTypeList()), 4 * nList);
    EXPECT_EQ(*reinterpret_cast<const int*>(reinterpret_cast<const char*>(&conf) + 5 * nList),
              conf.getCompression());
    EXPECT_NE(conf.getCompression(), 0);
}

TEST_F(SftpConfig, TracesEachOperation) {
    Read(Besides("Mac"));
    EXPECT_EQ(g_platform.traces,
              (Texts{"init", "initCfgItem", "getSupportedAlgorithmList", "initCfgItem",
                     "getSupportedAlgorithmList", "initCfgItem", "getSupportedAlgorithmList",
                     "initCfgItem", "getSupportedAlgorithmList", "initCfgItem",
                     "getSupportedAlgorithmList", "initCompressionCfgItem",
                     "getSupportedAlgorithmList"}));
}

}  // namespace

// ---- the platform

int TQ_UTIL::SovGetServerPath_WB(std::string& path) {
    path = g_platform.strServerPath;
    return g_platform.nServerPathResult;
}

int ZELT_OS::access(const char* path, int mode, const char* encoding) {
    g_platform.accessed.push_back(std::string(path) + " " + std::to_string(mode) + " " + encoding);
    return g_platform.nAccessResult;
}

int ZeltAddResFileWithAbsolute(const std::string& absolutePath) {
    g_platform.loaded.push_back(absolutePath);
    g_platform.nHeldWhileLoading = g_platform.nHeld;
    std::istringstream file(g_platform.strFile);
    for (std::string strLine; std::getline(file, strLine);) {
        const std::size_t nEquals = strLine.find('=');
        g_platform.entries[strLine.substr(0, nEquals)] = strLine.substr(nEquals + 1);
    }
    return g_platform.nLoadResult;
}

const char* ZeltGetResString(const std::string& key) {
    const auto entry = g_platform.entries.find(key);
    return entry == g_platform.entries.end() ? nullptr : entry->second.c_str();
}

_TraceFunction::_TraceFunction(const LocationInfo& where) : m_where(where) {
    if (std::string(where.File()) == "sftpclientreadcfg")
        g_platform.traces.emplace_back(where.Function());
}

_TraceFunction::~_TraceFunction() = default;

int ACE_OS::mutex_lock(ACE_mutex_t* m) {
    if (g_platform.bLockFails) return -1;
    ++g_platform.nLocks;
    ++g_platform.nHeld;
    return pthread_mutex_lock(m) == 0 ? 0 : -1;
}

int ACE_OS::mutex_unlock(ACE_mutex_t* m) {
    --g_platform.nHeld;
    return pthread_mutex_unlock(m) == 0 ? 0 : -1;
}
