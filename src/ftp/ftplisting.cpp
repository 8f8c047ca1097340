#include <memory>
#include <string>

#include "include/ftpresult.h"
#include "platform/bounded.h"
#include "platform/encoding.h"
#include "src/ftp/commandrule.h"
#include "src/ftp/ftpcommand.h"
#include "src/ftp/transferlimits.h"
#include "src/support/log.h"

namespace RVN_FTP_CLIENT {
namespace {

// End of data, an error and silence all end the listing; what came until then counts.
std::string ReceiveText(CFtpClientCom& connection) {
    constexpr std::size_t kBuffer = kTransferBlock + 1;
    const std::unique_ptr<char[]> buffer(new char[kBuffer]);
    memset_s(buffer.get(), kBuffer, 0, kBuffer);
    std::string strText;
    int nReceived = 0;
    while ((nReceived = connection.RecvData(buffer.get(), kTransferBlock, kTransferSilence)) >= 1) {
        buffer[static_cast<std::size_t>(nReceived)] = '\0';
        strText += buffer.get();  // as text: a zero byte cuts its block short
    }
    return strText;
}

}  // namespace

unsigned int CFtpComand::Ftp_ListFile(const std::string& remoteDir, std::string& listing) {
    _TraceFunction trace(LocationInfo(kCommandFile, "Ftp_ListFile", __LINE__));
    unsigned int uResult = Ftp_cwd(remoteDir);
    if (uResult != FTP_OK) return uResult;
    uResult = CreatePasvDataLink();
    if (uResult != FTP_OK) return uResult;
    bool bCompleteSeen = false;
    uResult = Ftp_list(bCompleteSeen);
    if (uResult != FTP_OK) {
        CloseDataSock();
        return uResult;
    }

    std::string strText = ReceiveText(*this);
    CloseDataSock();
    if (!bCompleteSeen) GetRetCode(0);  // a lost closing reply does not fail the listing

    // Asked after each listing and not remembered: only a server that switches to UTF-8 is known to
    // have sent it.
    const unsigned int uUtf8 = Ftp_optsUtf8();
    if (uUtf8 == FTP_OK) {
        listing = ZeltGlobalUtils::UTF8TOLOC(strText.c_str());
    } else {
        // The wording, "OPST" and the two blanks included, is what operators search their logs for.
        LogError(uUtf8, "The server don't  support OPST UTF8 ON;",
                 LocationInfo(kCommandFile, "Ftp_ListFile", __LINE__));
        listing = std::move(strText);
    }
    return FTP_OK;
}

}  // namespace RVN_FTP_CLIENT
