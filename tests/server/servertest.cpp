#include "tests/server/servertest.h"

#include <algorithm>
#include <functional>
#include <iostream>
#include <iterator>

#include "tests/support/payload.h"
#include "tests/support/tempdir.h"

namespace RVN_FTP_CLIENT {

void PrintTo(FtpResult eResult, std::ostream* pStream) {
    *pStream << "0x" << std::hex << static_cast<unsigned int>(eResult) << std::dec << " ("
             << FtpResultText(eResult) << ")";
}

}  // namespace RVN_FTP_CLIENT

namespace ServerTest {
namespace {

namespace fs = std::filesystem;
using namespace RVN_FTP_CLIENT;

// The content of two files of different names differs.
std::string WriteNew(const fs::path& file, std::size_t nSize) {
    fs::create_directories(file.parent_path());
    std::string strBytes =
        TestSupport::Payload(nSize, std::hash<std::string>{}(file.filename().string()));
    TestSupport::WriteFile(file, strBytes);
    return strBytes;
}

// The highest of the directories that are missing for a path, or the path itself.
fs::path FirstMissing(fs::path path) {
    while (!fs::exists(path.parent_path()))
        path = path.parent_path();
    return path;
}

}  // namespace

CSession::CSession(const CVsftpdServer& server)
    : m_client(server.Host(), server.Port(), server.User(),
               TQ_UTIL::CcipheString(server.Password())) {
    EXPECT_EQ(Code(m_client.Login()), FTP_OK);
}

CSession::~CSession() {
    EXPECT_EQ(Code(m_client.Close()), m_eClose);
}

CListing::~CListing() {
    for (const TkFileInfo* pEntry : m_entries)
        delete pEntry;
}

std::vector<std::string> CListing::Lines() const {
    std::vector<std::string> lines;
    for (const TkFileInfo* pEntry : m_entries) {
        const bool bFile = pEntry->ucFileType == 0;
        lines.push_back(std::string(1, "-dl?"[std::min<unsigned int>(pEntry->ucFileType, 3)]) +
                        (bFile ? " " + pEntry->strFileSize : "") + " " + pEntry->strFileName);
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

std::vector<std::string> CListing::Names() const {
    std::vector<std::string> names;
    std::transform(m_entries.begin(), m_entries.end(), std::back_inserter(names),
                   [](const TkFileInfo* pEntry) { return pEntry->strFileName; });
    std::sort(names.begin(), names.end());
    return names;
}

const TkFileInfo* CListing::Find(const std::string& strName) const {
    for (const TkFileInfo* pEntry : m_entries) {
        if (pEntry->strFileName == strName) return pEntry;
    }
    return nullptr;
}

void CServerTest::SetUp() {
    m_pServer = std::make_unique<CVsftpdServer>();
    m_nDescriptors = OpenDescriptors();
}

void CServerTest::Restart(const SServerOptions& options) {
    m_pServer.reset();
    m_pServer = std::make_unique<CVsftpdServer>(options);
}

void CServerTest::TearDown() {
    if (m_pServer == nullptr) return;
    EXPECT_EQ(OpenDescriptors(), m_nDescriptors) << "descriptors were left open";
    if (!HasFailure()) return;
    const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
    const fs::path log = fs::path(QEL_TESTS_LOGS) /
                         (std::string(test.test_suite_name()) + "." + test.name() + ".log");
    fs::create_directories(log.parent_path());
    const std::string strLog = m_pServer->Log();
    TestSupport::WriteFile(log, strLog);
    constexpr std::size_t kShown = 8000;
    std::cout << "The server's log (" << log.string() << "), its end:\n"
              << (strLog.size() > kShown ? strLog.substr(strLog.size() - kShown) : strLog) << '\n';
}

fs::path CServerTest::Served(const std::string& strName) const {
    return m_pServer->Root() / strName;
}

fs::path CServerTest::Local(const std::string& strName) const {
    return m_local.Path() / strName;
}

std::string CServerTest::Serve(const std::string& strName, std::size_t nSize) const {
    const fs::path top = FirstMissing(Served(strName));
    std::string strBytes = WriteNew(Served(strName), nSize);
    m_pServer->Adopt(top);
    return strBytes;
}

void CServerTest::ServeDirectory(const std::string& strName) const {
    const fs::path top = FirstMissing(Served(strName));
    fs::create_directories(Served(strName));
    m_pServer->Adopt(top);
}

std::string CServerTest::Keep(const std::string& strName, std::size_t nSize) const {
    return WriteNew(Local(strName), nSize);
}

std::size_t CServerTest::OpenDescriptors() {
    const fs::directory_iterator open("/proc/self/fd");  // holds one itself, each time
    return static_cast<std::size_t>(std::distance(fs::begin(open), fs::end(open)));
}

}  // namespace ServerTest
