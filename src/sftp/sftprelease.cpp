// The end of a connection.

#include <ace/DLL.h>

#include "include/sftpclient.h"
#include "src/sftp/sftpsession.h"

namespace RVN_FTP_CLIENT {

int CSftpClient::releaseSFTPConnection(StSFTPConnectionInfo* info) {
    if (info == nullptr) return 0;

    // Whatever the wrapper has made goes while the wrapper is loaded.
    info->pSession->closeSession();
    info->pfnFreeSession(info->pSession);
    info->pfnFiniLibrary();
    delete info->pSessionCB;
    info->pSessionCB = nullptr;
    delete info->pAceDLL;
    info->pAceDLL = nullptr;
    delete info;
    return 0;
}

}  // namespace RVN_FTP_CLIENT
