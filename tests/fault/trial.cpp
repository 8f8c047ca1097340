#include "tests/fault/trial.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>

#include "include/ftpclient.h"
#include "include/ftpresult.h"
#include "tests/fault/relay.h"
#include "tests/fault/rules.h"
#include "tests/fault/sessionlog.h"
#include "tests/server/servertest.h"
#include "tests/session/descriptors.h"
#include "tests/support/payload.h"
#include "tests/support/tempdir.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace FaultTest {

namespace fs = std::filesystem;
using namespace RVN_FTP_CLIENT;
using TestSupport::Clock;
using TestSupport::Millis;
using TestSupport::ReadFile;
using TestSupport::WriteFile;

namespace {

constexpr std::size_t kSmall = 20000;
constexpr std::size_t kLarge = 8U << 20U;
constexpr Millis kEarly{100};  // clocks and rounding
constexpr Millis kLate{4000};  // work, and a loaded machine
constexpr const char* kOldContent = "what was here before";

std::string Words(unsigned int uCode) {
    std::ostringstream text;
    text << "0x" << std::hex << uCode << " (" << FtpResultText(uCode) << ")";
    return text.str();
}

// The bytes that this process allocated and nobody refers to any more; without LeakSanitizer it
// cannot tell.
bool HasLeaked() {
#if defined(__SANITIZE_ADDRESS__)
    return __lsan_do_recoverable_leak_check() != 0;
#else
    return false;
#endif
}

class CTrial {
public:
    CTrial(const SCell& cell, const ServerTest::CVsftpdServer& server, const SSharedFiles& files,
           const std::string& strOwnDir)
        : m_cell(cell),
          m_server(server),
          m_files(files),
          m_own(server.Root() / strOwnDir),
          m_strOwn("/" + strOwnDir),
          m_expected(CRules(cell.eOperation, cell.bVerify, cell.fault).Work()),
          m_relay(server.Port()),
          m_client(server.Host(), m_relay.Port(), server.User(),
                   TQ_UTIL::CcipheString(server.Password())) {
        m_client.setParam(kConnTimeout, kRetryTimes, kRetryTimeout);
        FtpTransferOptions options;
        options.bVerify = cell.bVerify;
        m_client.setTransferOptions(options);
        Prepare();
        CallOnPieceRead([this] { m_relay.OnPieceRead(); });
    }

    ~CTrial() {
        CallOnPieceRead({});
        for (const TkFileInfo* pEntry : m_entries)
            delete pEntry;
    }

    CTrial(const CTrial&) = delete;
    CTrial& operator=(const CTrial&) = delete;

    std::string Run();

private:
    void Prepare();
    bool IsStruck(int nFile) const {
        return m_cell.fault.pData != nullptr && m_cell.fault.nConnection == nFile;
    }
    // A file that is broken off is large, so that its end is not on the way yet. What passes whole
    // has room in the buffers of a connection: the relay stands still while the client does.
    const std::string& Content(int nFile) const;
    std::string Remote(int nFile) const;
    std::string Local(int nFile) const { return m_local.File("local" + std::to_string(nFile)); }
    std::string Stored(int nFile) const { return m_strOwn + "/stored" + std::to_string(nFile); }

    int RootLevels() const;
    unsigned int Operate();
    void Check(bool bGood, const std::string& strWhat);
    void CheckTime(Millis time);
    void CheckFiles();
    void CheckRetrieved(int nFile);
    void CheckStored(int nFile);
    void CheckNextSession();

    const SCell& m_cell;
    const ServerTest::CVsftpdServer& m_server;
    const SSharedFiles& m_files;
    const fs::path m_own;
    const std::string m_strOwn;
    const SExpected m_expected;
    TestSupport::TempDir m_local;
    CFaultRelay m_relay;
    CFtpClient m_client;
    std::vector<TkFileInfo*> m_entries;
    unsigned int m_uResult = FTP_OK;
    std::string m_strWrong;
};

const std::string& CTrial::Content(int nFile) const {
    const SDataFault* pFault = IsStruck(nFile) ? m_cell.fault.pData : nullptr;
    const bool bLarge =
        pFault != nullptr && pFault->eEnd != EDataEnd::Untouched && !pFault->bAtLast;
    return bLarge ? m_files.strLarge : m_files.strSmall;
}

std::string CTrial::Remote(int nFile) const {
    return &Content(nFile) == &m_files.strLarge ? "/shared/large" : "/shared/small";
}

void CTrial::Prepare() {
    fs::create_directory(m_own);
    switch (m_cell.eOperation) {
        case EOperation::Get:
        case EOperation::GetBatch:
            for (const int nFile : {0, 1})
                WriteFile(Local(nFile), kOldContent);
            break;
        case EOperation::Put:
        case EOperation::PutBatch:
            for (const int nFile : {0, 1})
                WriteFile(Local(nFile), Content(nFile));
            break;
        case EOperation::RemoveDir:
            fs::create_directory(m_own / "gone");
            WriteFile(m_own / "gone" / "one", "1");
            WriteFile(m_own / "gone" / "two", "2");
            break;
        case EOperation::RemoveFile:
            WriteFile(m_own / "file", "1");
            break;
        default:
            break;
    }
    m_server.Adopt(m_own);
}

// The server reports its real path as the root. MakeDir enters each level of it, right behind "/".
int CTrial::RootLevels() const {
    const std::string strRoot = m_server.Root().string();
    return static_cast<int>(std::count(strRoot.begin(), strRoot.end(), '/'));
}

unsigned int CTrial::Operate() {
    std::vector<Ftp_File_Pair> pairs;
    switch (m_cell.eOperation) {
        case EOperation::Login:
            return m_client.Login();
        case EOperation::List:
            return m_client.ListFile("/shared/list", m_entries);
        case EOperation::Exists:
            return m_client.checkOneFileExist("/shared/list/one");
        case EOperation::Get:
            return m_client.GetOneFile(Remote(0), Local(0), false);
        case EOperation::Put:
            return m_client.PutOneFileToFile(Local(0), Stored(0));
        case EOperation::GetBatch:
            for (const int nFile : {0, 1})
                pairs.push_back({Remote(nFile), Local(nFile)});
            return m_client.GetFile(pairs, false);
        case EOperation::PutBatch:
            for (const int nFile : {0, 1})
                pairs.push_back({Local(nFile), Stored(nFile)});
            return m_client.PutFile(pairs);
        case EOperation::MakeDir:
            return m_client.MakeDir(m_strOwn + "/new");
        case EOperation::RemoveDir:
            return m_client.RemoveDir(m_strOwn + "/gone");
        case EOperation::RemoveFile:
            return m_client.RemoveFile(m_strOwn + "/file");
        case EOperation::ChangeDir:
            return m_client.ChangeDir("/shared");
        case EOperation::Close:
            return m_client.Close();
    }
    return FTP_UNKNOWN_REPLY;
}

void CTrial::Check(bool bGood, const std::string& strWhat) {
    if (!bGood) m_strWrong += "  " + strWhat + "\n";
}

void CTrial::CheckTime(Millis time) {
    const Millis least = m_expected.least - kEarly;
    const Millis most = m_expected.most + kLate;
    Check(time >= least && time <= most,
          "time: expected " + std::to_string(m_expected.least.count()) + " to " +
              std::to_string(m_expected.most.count()) + " s of waiting, and at most " +
              std::to_string(kLate.count()) + " ms of work; took " + std::to_string(time.count()) +
              " ms");
}

void CTrial::CheckFiles() {
    const auto nFiles = static_cast<int>(m_expected.whole.size());
    switch (m_cell.eOperation) {
        case EOperation::List: {
            const std::size_t nEntries = m_uResult == FTP_OK && m_expected.whole.back() ? 2 : 0;
            Check(m_entries.size() == nEntries, "entries: expected " + std::to_string(nEntries) +
                                                    ", got " + std::to_string(m_entries.size()));
            break;
        }
        case EOperation::Get:
        case EOperation::GetBatch:
            for (int nFile = 0; nFile < nFiles; ++nFile)
                CheckRetrieved(nFile);
            break;
        case EOperation::Put:
        case EOperation::PutBatch:
            for (int nFile = 0; nFile < nFiles; ++nFile)
                CheckStored(nFile);
            break;
        default:
            break;
    }
}

// Of several files all but the last one tried have arrived, or the next would not have been tried.
void CTrial::CheckRetrieved(int nFile) {
    const bool bLast = nFile + 1 == static_cast<int>(m_expected.whole.size());
    const bool bFailed = bLast && m_uResult != FTP_OK;
    const std::string strContent = ReadFile(Local(nFile));
    const std::string strName = "local file " + std::to_string(nFile + 1);
    if (m_cell.bVerify) {
        Check(!fs::exists(Local(nFile) + ".part"), strName + ": a .part was left");
        if (bFailed) Check(strContent == kOldContent, strName + ": not as it was before");
    }
    const bool bWhole = m_expected.whole[static_cast<std::size_t>(nFile)];
    if (bWhole && !(m_cell.bVerify && bFailed)) {
        const testing::AssertionResult same = TestSupport::SamePayload(Content(nFile), strContent);
        Check(same, strName + ": " + same.message());
    }
}

void CTrial::CheckStored(int nFile) {
    if (!m_expected.whole[static_cast<std::size_t>(nFile)]) return;
    const fs::path stored = m_server.Root() / Stored(nFile).substr(1);
    const std::string strContent = fs::exists(stored) ? ReadFile(stored) : "";
    const testing::AssertionResult same = TestSupport::SamePayload(Content(nFile), strContent);
    Check(same, "stored file " + std::to_string(nFile + 1) + ": " + same.message());
}

// With the same object, on a fresh connection.
void CTrial::CheckNextSession() {
    const unsigned int uLogin = m_client.Login();
    Check(uLogin == FTP_OK, "next session, Login: " + Words(uLogin));
    const std::string strLocal = m_local.File("next");
    const unsigned int uGet = m_client.GetOneFile("/shared/small", strLocal, false);
    Check(uGet == FTP_OK && ReadFile(strLocal) == m_files.strSmall,
          "next session, GetOneFile: " + Words(uGet));
    const unsigned int uClose = m_client.Close();
    Check(uClose == FTP_OK, "next session, Close: " + Words(uClose));
}

std::string CTrial::Run() {
    if (m_cell.eOperation != EOperation::Login) {
        const unsigned int uLogin = m_client.Login();
        Check(uLogin == FTP_OK, "Login before the fault: " + Words(uLogin));
    }
    SFault fault = m_cell.fault;
    if (m_cell.eOperation == EOperation::MakeDir && fault.nReply > 0) fault.nReply += RootLevels();
    m_relay.Arm(fault, m_cell.bVerify ? kStorePauseVerified : kStorePause);
    const Clock::time_point start = Clock::now();
    m_uResult = Operate();
    const Millis time(TestSupport::MsSince(start));
    m_relay.Settle();
    m_relay.Disarm();

    Check(m_uResult == m_expected.eResult,
          "result: expected " + Words(m_expected.eResult) + ", got " + Words(m_uResult));
    CheckTime(time);
    const std::string strStruck = m_relay.Struck();
    const std::string strCode = std::to_string(m_cell.nReplyCode);
    Check(m_cell.fault.pData != nullptr
              ? strStruck == "data"
              : strStruck ==
                    m_cell.strStep.substr(0, m_cell.strStep.find_first_of("#.")) + " " + strCode,
          "the fault was to strike " + m_cell.strStep + " " + strCode + ", but struck \"" +
              strStruck + "\"");
    if (m_cell.eOperation != EOperation::Close) {
        const unsigned int uClose = m_client.Close();
        Check(uClose == m_expected.eClose,
              "Close: expected " + Words(m_expected.eClose) + ", got " + Words(uClose));
    }
    CheckFiles();
    CheckNextSession();
    if (m_strWrong.empty()) return "";
    return m_cell.strName + ":\n" + m_strWrong + "  took " + std::to_string(time.count()) +
           " ms; the dialogue:\n" + m_relay.Dialogue() + "logged errors:\n" + LoggedErrors();
}

}  // namespace

SSharedFiles::SSharedFiles(const ServerTest::CVsftpdServer& server)
    : strSmall(TestSupport::Payload(kSmall, 1)), strLarge(TestSupport::Payload(kLarge, 2)) {
    const fs::path shared = server.Root() / "shared";
    fs::create_directories(shared / "list");
    WriteFile(shared / "small", strSmall);
    WriteFile(shared / "large", strLarge);
    WriteFile(shared / "list" / "one", "1");
    WriteFile(shared / "list" / "two", "2");
    server.Adopt(shared);
}

std::string Try(const SCell& cell, const ServerTest::CVsftpdServer& server,
                const SSharedFiles& files, const std::string& strOwnDir) {
    const std::set<int> before = SessionTest::OpenDescriptors();
    std::string strWrong;
    {
        CTrial trial(cell, server, files, strOwnDir);
        strWrong = trial.Run();
    }
    if (SessionTest::OpenDescriptors() != before) {
        strWrong += cell.strName + ": descriptors were left open\n";
    }
    if (HasLeaked()) strWrong += cell.strName + ": memory was left\n";
    return strWrong;
}

}  // namespace FaultTest
