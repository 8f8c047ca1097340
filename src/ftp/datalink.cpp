#include <string>

#include "include/ftpresult.h"
#include "src/ftp/commandrule.h"
#include "src/ftp/ftpcommand.h"
#include "src/support/log.h"

namespace RVN_FTP_CLIENT {
namespace {

constexpr unsigned int kDataLinkTimeout = 5;  // seconds

}  // namespace

unsigned int CFtpComand::CreatePasvDataLink() {
    _TraceFunction trace(LocationInfo(kCommandFile, "CreatePasvDataLink", __LINE__));
    unsigned short usPort = 0;
    const unsigned int uPasv = Ftp_pasv(usPort);
    if (uPasv != FTP_OK) return uPasv;

    unsigned int uAddress = 0;
    const int nLink = OpenDataLink(uAddress, usPort, kDataLinkTimeout);
    if (nLink == 0) return FTP_OK;
    LogError(
        static_cast<unsigned int>(nLink),
        "CreateDataLink errorIP:" + std::to_string(uAddress) + "Port:" + std::to_string(usPort),
        LocationInfo(kCommandFile, "CreatePasvDataLink", __LINE__));
    return FTP_CONNECT_FAILED;
}

}  // namespace RVN_FTP_CLIENT
