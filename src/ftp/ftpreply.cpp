#include <array>
#include <string>

#include "include/ftpresult.h"
#include "src/ftp/commandrule.h"
#include "src/ftp/ftpcommand.h"
#include "src/ftp/replyassembly.h"
#include "src/ftp/replyclass.h"
#include "src/support/log.h"

namespace RVN_FTP_CLIENT {
namespace {

// One receive of the control connection and the zero behind it.
struct SPiece {
    std::array<char, CReplyAssembly::kPieceSize + 1> text{};
    int nReceived = 0;

    void Receive(CFtpClientCom& connection, int nTimeout) {
        text.fill('\0');
        nReceived = connection.RecvCtrl(text.data(), CReplyAssembly::kPieceSize, nTimeout);
    }
};

unsigned int NoUsableReply(const std::string& strText) {
    LogError(FTP_NO_REPLY, "GetRetCode error : get response is blank line:" + strText,
             LocationInfo(kCommandFile, "GetRetCode", __LINE__));
    return FTP_NO_REPLY;
}

}  // namespace

unsigned int CFtpComand::GetRetCode(std::string& reply, int tries) {
    CReplyAssembly assembly(reply);
    SPiece piece;
    while (true) {
        int nTry = 0;
        piece.Receive(*this, m_nConnTimeout);
        if (!assembly.IsUsable(piece.text.data())) {
            if (tries == 0) return ClassifyReply(assembly.Code(), reply);
            while (tries > 0) {
                piece.Receive(*this, m_nRetryTimeout);
                if (assembly.IsUsable(piece.text.data())) break;
                if (nTry == m_nRetryTimes - 1) return NoUsableReply(piece.text.data());
                if (++nTry == tries) break;
            }
        }
        assembly.Append(piece.text.data(), piece.nReceived);
        LogInfo("GetRetCode msg begin:" + assembly.Pending() + " :end by using " +
                    std::to_string(nTry) + " times\n",
                LocationInfo(kCommandFile, "GetRetCode", __LINE__));

        switch (assembly.Advance()) {
            case CReplyAssembly::EState::Incomplete:
                break;
            case CReplyAssembly::EState::TooLong:
                return NoUsableReply(assembly.Pending().substr(0, CReplyAssembly::kPieceSize));
            case CReplyAssembly::EState::Ended:
                return ClassifyReply(assembly.Code(), reply);
            case CReplyAssembly::EState::Complete: {
                const unsigned int uClass = assembly.Code() / 100;
                return uClass >= 1 && uClass <= 3 ? FTP_OK : ClassifyReply(assembly.Code(), reply);
            }
        }
    }
}

unsigned int CFtpComand::GetRetCode(int tries) {
    std::string strReply;
    return GetRetCode(strReply, tries);
}

unsigned int CFtpComand::GetRetCode() {
    return GetRetCode(m_nRetryTimes);
}

}  // namespace RVN_FTP_CLIENT
