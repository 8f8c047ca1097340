#include "src/ftp/ftpcommand.h"

#include <array>
#include <cstring>

#include "include/ftpresult.h"
#include "platform/bounded.h"
#include "platform/encoding.h"
#include "src/ftp/closingreply.h"
#include "src/ftp/commandrule.h"
#include "src/support/log.h"

namespace RVN_FTP_CLIENT {
namespace {

using LineBuffer = std::array<char, kMaxCommandBuffer>;

// A line end inside an argument would make the server read a second command.
bool StaysOnOneLine(std::string_view strArgument) {
    return strArgument.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

// Returns false after logging that the line could not be formatted.
bool Format(const SCommandRule& rule, std::string_view strGiven, std::string_view strSent,
            LineBuffer& line) {
    if (StaysOnOneLine(strGiven) && StaysOnOneLine(strSent) &&
        snprintf_s(line.data(), rule.nBuffer, rule.nBuffer - 1, rule.pszLine, strSent.data()) !=
            -1) {
        return true;
    }
    std::string strMessage = std::string("CFtpComand::") + rule.pszName + ".snprintf_s failed!";
    if (rule.eUnformatted == EUnformatted::GoOnNamingArgument) strMessage += strGiven;
    LogError(kNoLogCode, strMessage, LocationInfo(kCommandFile, rule.pszName, __LINE__));
    return false;
}

}  // namespace

bool SCommandRule::Accepts(const std::string& strReply) const {
    if (eAccept == EAccept::Anything) return true;
    for (const char* pszAccepted : apszAccepted) {
        if (pszAccepted == nullptr) continue;
        const std::size_t nAt = strReply.find(pszAccepted);
        if (nAt == 0 || (nAt != std::string::npos && eAccept == EAccept::Anywhere)) return true;
    }
    return false;
}

unsigned int CFtpComand::Send(const SCommandRule& rule, std::string_view strGiven,
                              std::string_view strSent) {
    LineBuffer line{};
    const char* pszLine = line.data();
    switch (rule.eLine) {
        case ELine::Formatted:
            if (!Format(rule, strGiven, strSent, line) && rule.eUnformatted == EUnformatted::Stop) {
                memset_s(line.data(), line.size(), '*', line.size());
                return FTP_SEND_FAILED;
            }
            break;
        case ELine::Copied:
            strncpy_s(line.data(), rule.nBuffer, rule.pszLine, rule.nBuffer - 1);
            break;
        case ELine::Fixed:
            pszLine = rule.pszLine;
            break;
    }
    if (m_Options.bVerify && IsCtrlInputWaiting()) {
        memset_s(line.data(), line.size(), '*', line.size());
        LogError(FTP_OUT_OF_STEP,
                 std::string(rule.pszName) + " not sent: the server has said something unasked",
                 LocationInfo(kCommandFile, rule.pszName, __LINE__));
        return FTP_OUT_OF_STEP;
    }
    const int nSent = SendCtrl(pszLine, static_cast<int>(std::strlen(pszLine)));
    memset_s(line.data(), line.size(), '*', line.size());  // it may hold the password
    return nSent < 1 ? FTP_SEND_FAILED : FTP_OK;
}

unsigned int CFtpComand::Answer(const SCommandRule& rule, std::string& strReply) {
    const unsigned int uResult = GetRetCode(strReply, m_nRetryTimes);
    if (!rule.Accepts(strReply)) {
        LogError(uResult,
                 std::string(rule.pszName) + " getRetCode error,the real retCode:" + strReply,
                 LocationInfo(kCommandFile, rule.pszName, __LINE__));
    }
    return uResult != FTP_OK && uResult == rule.uFrom ? rule.uTo : uResult;
}

unsigned int CFtpComand::Execute(const SCommandRule& rule, std::string_view strGiven,
                                 std::string_view strSent) {
    const unsigned int uResult = Send(rule, strGiven, strSent);
    if (uResult != FTP_OK) return uResult;
    std::string strReply;
    return Answer(rule, strReply);
}

unsigned int CFtpComand::Ftp_syst() {
    return Execute(Rule::kSyst);
}

unsigned int CFtpComand::Ftp_type(int nAscii) {
    const char* pszMode = nAscii != 0 ? "A" : "I";
    return Execute(Rule::kType, pszMode, pszMode);
}

unsigned int CFtpComand::Ftp_cwd(const std::string& strDir) {
    return Execute(Rule::kCwd, strDir, ZeltGlobalUtils::UTF8TOLOC(strDir.c_str()));
}

unsigned int CFtpComand::Ftp_mkd(const std::string& strDir) {
    return Execute(Rule::kMkd, strDir, ZeltGlobalUtils::UTF8TOLOC(strDir.c_str()));
}

unsigned int CFtpComand::Ftp_rmd(const std::string& strDir) {
    return Execute(Rule::kRmd, strDir, ZeltGlobalUtils::UTF8TOLOC(strDir.c_str()));
}

unsigned int CFtpComand::Ftp_dele(const std::string& strFile) {
    return Execute(Rule::kDele, strFile, ZeltGlobalUtils::UTF8TOLOC(strFile.c_str()));
}

unsigned int CFtpComand::Ftp_optsUtf8() {
    return Execute(Rule::kOpts);
}

unsigned int CFtpComand::Ftp_list(bool& completeSeen) {
    completeSeen = false;
    const unsigned int uSent = Send(Rule::kList, {}, "");
    if (uSent != FTP_OK) return uSent;
    std::string strReply;
    const unsigned int uResult = Answer(Rule::kList, strReply);
    // "226 " anywhere will do, in a text about 226 files, too; where the end must be sure it will
    // not.
    completeSeen = HoldsClosingReply(strReply) ||
                   (!m_Options.bVerify && strReply.find("226 ") != std::string::npos);
    return uResult;
}

unsigned int CFtpComand::ExecuteTransfer(const SCommandRule& rule, const std::string& strFile,
                                         bool* pClosingSeen) {
    if (pClosingSeen != nullptr) *pClosingSeen = false;
    const unsigned int uSent = Send(rule, strFile, strFile);
    if (uSent != FTP_OK) return uSent;
    std::string strReply;
    const unsigned int uResult = Answer(rule, strReply);
    if (pClosingSeen != nullptr) *pClosingSeen = HoldsClosingReply(strReply);
    return uResult;
}

unsigned int CFtpComand::Ftp_retr(const std::string& strFile, bool* pClosingSeen) {
    return ExecuteTransfer(Rule::kRetr, strFile, pClosingSeen);
}

unsigned int CFtpComand::Ftp_stor(const std::string& strFile, bool* pClosingSeen) {
    return ExecuteTransfer(Rule::kStor, strFile, pClosingSeen);
}

unsigned int CFtpComand::Ftp_abor() {
    const unsigned int uSent = Send(Rule::kAbor, {}, "");
    CloseDataSock();  // also when ABOR could not be sent: the caller wants no more of this transfer
    if (uSent != FTP_OK) return uSent;
    return GetRetCode();
}

}  // namespace RVN_FTP_CLIENT
