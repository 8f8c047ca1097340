#include "tests/matrix/operation.h"

#include <fmt/format.h>
#include <unistd.h>
#include <utime.h>

#include <algorithm>
#include <functional>

#include "include/ftpresult.h"
#include "tests/sftpserver/childprocess.h"
#include "tests/support/payload.h"
#include "tests/support/tempdir.h"

namespace MatrixTest {
namespace {

namespace fs = std::filesystem;

// The highest of the directories that are missing for a path, or the path itself.
fs::path FirstMissing(fs::path path) {
    while (!fs::exists(path.parent_path()))
        path = path.parent_path();
    return path;
}

void GiveTree(const fs::path& top) {
    TestSupport::GiveToUnprivileged(top.string());
    if (!fs::is_directory(top)) return;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(top))
        TestSupport::GiveToUnprivileged(entry.path().string());
}

void ReplaceAll(std::string& strText, const std::string& strOld, const std::string& strNew) {
    for (std::size_t n = strText.find(strOld); n != std::string::npos;
         n = strText.find(strOld, n + strNew.size()))
        strText.replace(n, strOld.size(), strNew);
}

std::string Compared(const fs::path& file, const std::string& strExpected) {
    if (!fs::exists(file)) return "missing";
    if (!fs::is_regular_file(file)) return "no file";
    const std::string strBytes = TestSupport::ReadFile(file.string());
    if (strBytes == strExpected) return "whole";
    if (strBytes.size() != strExpected.size())
        return fmt::format("{} of {} bytes", strBytes.size(), strExpected.size());
    return fmt::format("{} bytes, which differ", strBytes.size());
}

std::string Names(const fs::path& top) {
    if (!fs::is_directory(top)) return "no directory";
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(top)) {
        names.push_back(entry.path().lexically_relative(top).string() +
                        (entry.is_directory() ? "/" : ""));
    }
    std::sort(names.begin(), names.end());
    return names.empty() ? "nothing" : fmt::format("{}", fmt::join(names, ", "));
}

}  // namespace

CCell::CCell(const SColumn& column, const CServer& server, const std::string& strName, bool bVerify)
    : m_column(column),
      m_server(server),
      m_strName(strName),
      m_bVerify(bVerify),
      m_client(fs::temp_directory_path() /
               fmt::format("qel-{}-{}-{}", column.pszId, ::getpid(), strName)) {
    fs::create_directories(Local());
    fs::create_directories(Home());
    fs::create_directory(Served());
    GiveTree(Served());
}

CCell::~CCell() {
    std::error_code ignored;
    fs::remove_all(m_client, ignored);
}

std::string CCell::Remote(const std::string& strName) const {
    return "/" + m_strName + (strName.empty() ? "" : "/" + strName);
}

fs::path CCell::Served(const std::string& strName) const {
    return m_server.Root() / Remote(strName).substr(1);
}

std::string CCell::Local(const std::string& strName) const {
    return (m_client / "files").string() + (strName.empty() ? "" : "/" + strName);
}

std::string CCell::Home(const std::string& strName) const {
    return (m_client / "home").string() + (strName.empty() ? "" : "/" + strName);
}

void CCell::Serve(const std::string& strName, const std::string& strBytes) const {
    const fs::path top = FirstMissing(Served(strName));
    fs::create_directories(Served(strName).parent_path());
    TestSupport::WriteFile(Served(strName).string(), strBytes);
    GiveTree(top);
}

void CCell::ServeDirectory(const std::string& strName) const {
    const fs::path top = FirstMissing(Served(strName));
    fs::create_directories(Served(strName));
    GiveTree(top);
}

void CCell::Keep(const std::string& strName, const std::string& strBytes) const {
    fs::create_directories(fs::path(Local(strName)).parent_path());
    TestSupport::WriteFile(Local(strName), strBytes);
}

std::string CCell::IsServed(const std::string& strName, const std::string& strBytes) const {
    return Compared(Served(strName), strBytes);
}

std::string CCell::IsLocal(const std::string& strName, const std::string& strBytes) const {
    return Compared(Local(strName), strBytes);
}

std::string CCell::ServedNames(const std::string& strName) const {
    return Names(Served(strName));
}

std::string CCell::LocalNames(const std::string& strName) const {
    return Names(Local(strName));
}

std::string CCell::Neutral(std::string strText) const {
    ReplaceAll(strText, Local(), "LOCAL");
    ReplaceAll(strText, Remote(), "");
    ReplaceAll(strText, Remote().substr(1) + "/", "");
    ReplaceAll(strText, "127.0.0.1:" + std::to_string(m_server.Port()), "HOST");
    return strText;
}

const std::string& Bytes() {
    static const std::string strBytes = [] {
        std::string strAll = "\r\n\n\r\r\n\xff\xff\xf4\xff";
        for (int n = 0; n < 256; ++n)
            strAll += static_cast<char>(n);
        for (int n = 0; n < 4; ++n)  // more than one block
            strAll += strAll;
        return strAll + "\r\n\xff";
    }();
    return strBytes;
}

const std::string& Mebibyte() {
    static const std::string strBytes = TestSupport::Payload(1U << 20U);
    return strBytes;
}

const std::vector<std::string>& TreeFiles() {
    static const std::vector<std::string> files = {"a.bin",
                                                   "empty",
                                                   "one/b.bin",
                                                   "one/two/three/c.bin",
                                                   std::string("one/") + kBlank,
                                                   std::string("größe 漢字/") + kUtf8};
    return files;
}

std::string TreeBytes(const std::string& strFile) {
    return strFile == "empty" ? "" : TestSupport::Payload(3000, std::hash<std::string>{}(strFile));
}

void SetTimes(const fs::path& top, std::time_t time) {
    const utimbuf times = {time, time};
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(top))
        ::utime(entry.path().c_str(), &times);
}

std::string ResultText(unsigned int uResult) {
    if (uResult == RVN_FTP_CLIENT::FTP_OK) return "success";
    return fmt::format("{} ({:#x})", RVN_FTP_CLIENT::FtpResultText(uResult), uResult);
}

}  // namespace MatrixTest
