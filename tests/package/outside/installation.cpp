// Prints where the platform believes to be installed, and fails unless an SFTP session can be set
// up with the wrapper and the configuration that are there.

#include <ftpclient.h>
#include <ftpresult.h>
#include <sftpclient.h>

#include <cstdio>
#include <string>

#include "platform/paths.h"

int main() {
    std::string strPath;
    if (TQ_UTIL::SovGetServerPath_WB(strPath) != 1) return 1;
    std::puts(strPath.c_str());

    TQ_UTIL::StFTPAccountInfo account;
    account.strHost = "127.0.0.1";
    account.nPort = 22;
    account.strUserName = "bob";
    auto* const pInfo = new RVN_FTP_CLIENT::StSFTPConnectionInfo;
    if (RVN_FTP_CLIENT::CSftpClient::getSFTPSession(pInfo, account) == nullptr) {
        std::puts("no SFTP session");
        return 1;
    }
    RVN_FTP_CLIENT::CSftpClient::releaseSFTPConnection(pInfo);
    std::puts("an SFTP session");
    return 0;
}
