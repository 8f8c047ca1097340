#include <clocale>
#include <cstdio>
#include <cstdlib>

#include "include/ftpclient.h"
#include "include/ftpresult.h"

using namespace RVN_FTP_CLIENT;

// A file arrives whole, or the local one stays as it was.
static unsigned int FetchWhole(CFtpClient& session, const char* remote, const char* local,
                               unsigned long long most) {
    FtpTransferOptions options;
    options.bVerify = true;
    options.uBlockSize = 65536;
    options.progress = [most](unsigned long long moved) {
        std::fprintf(stderr, "\r%llu bytes", moved);
        return moved <= most;  // false cancels
    };
    session.setTransferOptions(options);
    unsigned int result = session.Login();
    if (result == FTP_OK) result = session.GetOneFile(remote, local, false);
    std::fputc('\n', stderr);
    session.Close();  // also after a failure: the sockets are still open
    return result;
}

// fetchwhole ADDRESS PORT USER PASSWORD REMOTE LOCAL MOST_BYTES
int main(int argc, char** argv) {
    if (argc != 8) return 2;
    std::setlocale(LC_ALL, "");  // names of local files are in the user's encoding
    CFtpClient session(argv[1], static_cast<unsigned short>(std::atoi(argv[2])), argv[3],
                       TQ_UTIL::CcipheString(argv[4]));
    session.setParam(5, 1, 5);
    const unsigned int result =
        FetchWhole(session, argv[5], argv[6], std::strtoull(argv[7], nullptr, 10));
    std::puts(FtpResultText(result));
    return result == FTP_OK ? 0 : 1;
}
