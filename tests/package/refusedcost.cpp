// What a refused retrieve costs, as docs/library.md says. refusedcost PORT, of a server that has a
// user "bob" with the password "tea time" and no file "missing.txt".

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <vector>

#include "include/ftpclient.h"
#include "include/ftpresult.h"

namespace {

using namespace RVN_FTP_CLIENT;

struct SCostCase {
    int nConnTimeout;  // -1: setParam is not called
    int nRetryTimes;
    int nRetryTimeout;
    bool bVerify;
    double dSeconds;
};

constexpr SCostCase kRows[] = {
    {-1, 0, 0, false, 9}, {1, 1, 1, false, 2}, {1, 2, 0, false, 1},
    {2, 3, 1, false, 3},  {3, 0, 2, false, 7}, {-1, 0, 0, true, 0},
};
constexpr double kTolerance = 0.9;  // a busy machine; less than the step between two rows

struct SMeasured {
    unsigned int uLogin;
    unsigned int uResult;
    double dSeconds;
};

SMeasured Measure(unsigned short usPort, const SCostCase& row) {
    CFtpClient session("127.0.0.1", usPort, "bob", TQ_UTIL::CcipheString("tea time"));
    if (row.nConnTimeout >= 0)
        session.setParam(static_cast<unsigned short>(row.nConnTimeout),
                         static_cast<unsigned short>(row.nRetryTimes),
                         static_cast<unsigned short>(row.nRetryTimeout));
    FtpTransferOptions options;
    options.bVerify = row.bVerify;
    session.setTransferOptions(options);
    const unsigned int uLogin = session.Login();
    const auto begin = std::chrono::steady_clock::now();
    const unsigned int uResult = session.GetOneFile("/missing.txt", "/dev/null", false);
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
    session.Close();
    return {uLogin, uResult, seconds.count()};
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    const auto usPort = static_cast<unsigned short>(std::atoi(argv[1]));
    std::vector<std::future<SMeasured>> running;
    for (const SCostCase& row : kRows)
        running.push_back(std::async(std::launch::async, Measure, usPort, row));
    int nWrong = 0;
    for (std::size_t i = 0; i < running.size(); ++i) {
        const SCostCase& row = kRows[i];
        const SMeasured measured = running[i].get();
        const bool bRight = measured.uLogin == FTP_OK && measured.uResult == FTP_NO_SUCH_FILE &&
                            measured.dSeconds >= row.dSeconds - 0.1 &&
                            measured.dSeconds <= row.dSeconds + kTolerance;
        nWrong += bRight ? 0 : 1;
        std::printf("setParam %d %d %d, verify %d: expected %.0f s, found %.2f s, %s, %s\n",
                    row.nConnTimeout, row.nRetryTimes, row.nRetryTimeout, row.bVerify ? 1 : 0,
                    row.dSeconds, measured.dSeconds, FtpResultText(measured.uLogin),
                    FtpResultText(measured.uResult));
    }
    return nWrong == 0 ? 0 : 1;
}
