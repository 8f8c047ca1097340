#include "tests/hostile/toolrun.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

using namespace TestSupport;
using namespace ToolTest;
namespace fs = std::filesystem;

namespace HostileTest {

Arguments Hasty(Arguments arguments) {
    arguments.insert(arguments.begin(), {"--connect-timeout", "2", "--connect-retries", "0",
                                         "--connect-retry-timeout", "0"});
    return ToolCommand(arguments);
}

SSurroundings WithPassword() {
    // What AddressSanitizer holds back of freed memory is not the program's.
    return {{{"QELFTP_PASSWORD", "tea"}, {"ASAN_OPTIONS", "quarantine_size_mb=8"}}, "", "", ""};
}

SRun RunHasty(const Arguments& arguments) {
    return ChildProcess(Hasty(arguments), WithPassword()).Wait(Millis(60000));
}

std::string UrlOf(const CHostileServer& server, const std::string& strPath) {
    return "ftp://bob@127.0.0.1:" + std::to_string(server.Port()) + strPath;
}

CSandbox::CSandbox() {
    fs::create_directories(m_dir.File("around/target"));
    fs::create_directories(m_dir.File("around/beside"));
    for (const char* pszFile : {"outer", "around/precious", "around/beside/precious"})
        WriteFile(m_dir.File(pszFile), std::string("what was in ") + pszFile);
    m_before = Snapshot();
}

std::map<std::string, std::string> CSandbox::Snapshot() const {
    std::map<std::string, std::string> all;
    fs::recursive_directory_iterator next(m_dir.Path());
    for (const fs::recursive_directory_iterator end; next != end; ++next) {
        const std::string strPath = next->path().string();
        if (strPath == Target()) {
            next.disable_recursion_pending();
            continue;
        }
        struct stat status {};
        ::lstat(strPath.c_str(), &status);
        std::string strFacts = std::to_string(status.st_mode);
        if (S_ISREG(status.st_mode)) {
            strFacts += " " + std::to_string(status.st_mtim.tv_sec) + "." +
                        std::to_string(status.st_mtim.tv_nsec) + " " + ReadFile(strPath);
        }
        all[strPath] = strFacts;
    }
    return all;
}

void CSandbox::ExpectUntouched() const {
    EXPECT_EQ(m_before, Snapshot());
}

}  // namespace HostileTest
