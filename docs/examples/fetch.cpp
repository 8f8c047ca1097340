#include <cstdio>
#include <cstdlib>

#include "include/ftpclient.h"
#include "include/ftpresult.h"

// fetch ADDRESS PORT USER PASSWORD REMOTE LOCAL
int main(int argc, char** argv) {
    if (argc != 7) return 2;
    using namespace RVN_FTP_CLIENT;
    CFtpClient session(argv[1], static_cast<unsigned short>(std::atoi(argv[2])), argv[3],
                       TQ_UTIL::CcipheString(argv[4]));
    unsigned int result = session.Login();
    if (result == FTP_OK) result = session.GetOneFile(argv[5], argv[6], false);
    session.Close();
    std::puts(FtpResultText(result));
    return result == FTP_OK ? 0 : 1;
}
