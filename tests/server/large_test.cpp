// A file of 1 GiB each way, with curl's time for the same beside ours.

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <functional>
#include <iomanip>
#include <iostream>
#include <string>
#include <vector>

#include "tests/server/checksums.h"
#include "tests/server/servertest.h"

namespace ServerTest {
namespace {

namespace fs = std::filesystem;
using namespace RVN_FTP_CLIENT;
using Clock = std::chrono::steady_clock;

constexpr std::uintmax_t kSize = 1U << 30U;

constexpr std::uintmax_t kLargeRoom = 4 * kSize;  // the file, its copies on both sides, a reserve

double SecondsOf(const std::function<void()>& work) {
    const Clock::time_point begin = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

void Curl(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"curl", "--silent", "--show-error", "--fail"});
    std::vector<char*> pointers;
    for (std::string& strArgument : arguments)
        pointers.push_back(strArgument.data());
    pointers.push_back(nullptr);
    pid_t nProcess = -1;
    const int nError =
        ::posix_spawnp(&nProcess, "curl", nullptr, nullptr, pointers.data(), environ);
    ASSERT_EQ(nError, 0) << "curl, to compare with, cannot be run: " << std::strerror(nError);
    int nStatus = -1;
    while (::waitpid(nProcess, &nStatus, 0) == -1 && errno == EINTR) {
    }
    ASSERT_EQ(nStatus, 0) << "curl failed";
}

void Report(const char* pszWhat, double dOurs, double dCurl) {
    const double dSize = static_cast<double>(kSize) / 1e6;
    std::cout << std::fixed << std::setprecision(0) << pszWhat << ": " << dSize / dOurs
              << " MB/s, curl " << dSize / dCurl << " MB/s (" << std::setprecision(2) << dOurs
              << " s, curl " << dCurl << " s)\n";
}

class Large : public CServerTest {
protected:
    void SetUp() override {
        CServerTest::SetUp();
        SServerOptions options;
        options.uRoom = kLargeRoom;
        options.bLogCommands = false;
        Restart(options);
        std::cout << "1 GiB between directories below " << PlaceFor(kLargeRoom)
                  << ", whole sessions timed\n";
    }

    std::string Url(const std::string& strName) const {
        return "ftp://" + Server().User() + ":" + Server().Password() + "@" + Server().Host() +
               ":" + std::to_string(Server().Port()) + "/" + strName;
    }
};

TEST_F(Large, FileComesUnchanged) {
    const CScratchDirectory local(PlaceFor(kLargeRoom));
    WriteLargeFile(Served("file"), kSize);
    const std::string strExpected = ChecksumOf(Served("file"));
    const std::string strOurs = local.Path() / "ours";
    const std::string strCurls = local.Path() / "curls";
    const double dOurs = SecondsOf([&] {
        CSession session(Server());
        EXPECT_EQ(Code(session->GetOneFile("file", strOurs, false)), FTP_OK);
    });
    EXPECT_EQ(ChecksumOf(strOurs), strExpected);
    const double dCurl = SecondsOf([&] { Curl({"--output", strCurls, Url("file")}); });
    ASSERT_FALSE(HasFatalFailure());
    EXPECT_EQ(fs::file_size(strCurls), kSize);
    Report("fetched", dOurs, dCurl);
}

TEST_F(Large, FileGoesUnchanged) {
    const CScratchDirectory local(PlaceFor(kLargeRoom));
    const std::string strFile = local.Path() / "file";
    WriteLargeFile(strFile, kSize);
    const std::string strExpected = ChecksumOf(strFile);
    const double dOurs = SecondsOf([&] {
        CSession session(Server());
        EXPECT_EQ(Code(session->PutOneFileToFile(strFile, "ours")), FTP_OK);
    });
    EXPECT_EQ(ChecksumOf(Served("ours")), strExpected);
    const double dCurl = SecondsOf([&] { Curl({"--upload-file", strFile, Url("curls")}); });
    ASSERT_FALSE(HasFatalFailure());
    EXPECT_EQ(fs::file_size(Served("curls")), kSize);
    Report("stored", dOurs, dCurl);
}

}  // namespace
}  // namespace ServerTest
