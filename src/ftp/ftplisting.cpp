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

// End of data, an error and silence all end the listing, and what came until then counts; unless
// the options want to know.
unsigned int ReceiveText(CFtpClientCom& connection, const FtpTransferOptions& options,
                         std::string& strText) {
    const std::size_t nBuffer = options.uBlockSize + std::size_t{1};
    const std::unique_ptr<char[]> buffer(new char[nBuffer]);
    memset_s(buffer.get(), nBuffer, 0, nBuffer);
    unsigned long long ullTotal = 0;
    int nReceived = 0;
    while ((nReceived = connection.RecvData(buffer.get(), static_cast<int>(options.uBlockSize),
                                            kTransferSilence)) >= 1) {
        ullTotal += static_cast<unsigned int>(nReceived);
        if (options.ullMaxListing != 0 && ullTotal > options.ullMaxListing) {
            return FTP_LISTING_TOO_LONG;
        }
        buffer[static_cast<std::size_t>(nReceived)] = '\0';
        strText += buffer.get();  // as text: a zero byte cuts its block short
    }
    return nReceived < 0 && options.bVerify ? FTP_DATA_BROKEN : FTP_OK;
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

    std::string strText;
    uResult = ReceiveText(*this, m_Options, strText);
    unsigned int uClosing = FTP_OK;
    if (m_Options.bVerify || uResult != FTP_OK) {
        uClosing = FinishTransfer(bCompleteSeen);
    } else {
        CloseDataSock();
        if (!bCompleteSeen) GetRetCode(0);  // a lost closing reply does not fail the listing
    }
    if (uResult == FTP_OK) uResult = uClosing;
    if (uResult != FTP_OK) {
        LogError(uResult, "Not listed whole:" + remoteDir,
                 LocationInfo(kCommandFile, "Ftp_ListFile", __LINE__));
        return uResult;
    }

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
