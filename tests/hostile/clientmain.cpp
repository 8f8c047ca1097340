// One operation of the library in a process of its own, so that what it costs can be measured.
//
//   hostile_client PORT OPERATION MAX_LISTING VERIFY
//
// OPERATION: login, list, get or put. Prints "RESULT GROWTH_KIB ENTRIES", the result in
// hexadecimal; GROWTH is how much more memory than before the operation was in use at its peak.

#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "include/ftpclient.h"

namespace {

using RVN_FTP_CLIENT::CFtpClient;
using RVN_FTP_CLIENT::FtpTransferOptions;
using RVN_FTP_CLIENT::TkFileInfo;

// Not by getrusage, which counts what the parent had when it forked.
long PeakKiB() {
    std::ifstream status("/proc/self/status");
    std::string strWord;
    while (status >> strWord && strWord != "VmHWM:") {
    }
    long nPeak = 0;
    status >> nPeak;
    return nPeak;
}

// Far more than any test is allowed to use: should there be no bound, this process ends, and not
// the machine. The sanitizers reserve more than that at their start.
void LimitMemory() {
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    constexpr rlim_t kMost = 4ULL << 30;
    const rlimit limit{kMost, kMost};
    ::setrlimit(RLIMIT_AS, &limit);
#endif
}

unsigned int Run(CFtpClient& client, const std::string& strOperation,
                 std::vector<TkFileInfo*>& entries) {
    const unsigned int uLogin = client.Login();
    if (uLogin != 0 || strOperation == "login") return uLogin;
    if (strOperation == "list") return client.ListFile("", entries);
    if (strOperation == "get") return client.GetOneFile("/x", "/dev/null", false);
    return client.PutOneFileToFile("/proc/self/exe", "/x");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) return 2;
    LimitMemory();
    CFtpClient client("127.0.0.1", static_cast<unsigned short>(std::atoi(argv[1])), "bob",
                      TQ_UTIL::CcipheString("tea"));
    client.setParam(2, 1, 1);
    FtpTransferOptions options;
    options.ullMaxListing = std::strtoull(argv[3], nullptr, 10);
    options.bVerify = std::string(argv[4]) == "1";
    client.setTransferOptions(options);
    std::vector<TkFileInfo*> entries;
    const long nBefore = PeakKiB();
    const unsigned int uResult = Run(client, argv[2], entries);
    client.Close();
    std::printf("%x %ld %zu\n", uResult, PeakKiB() - nBefore, entries.size());
    for (const TkFileInfo* pEntry : entries)
        delete pEntry;
    return 0;
}
