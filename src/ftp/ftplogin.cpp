// Opening and ending a session: connect, greeting, USER, PASS, PWD, QUIT.

#include <memory>
#include <string>

#include "include/ftpresult.h"
#include "platform/bounded.h"
#include "src/ftp/commandrule.h"
#include "src/ftp/ftpcommand.h"
#include "src/support/log.h"

namespace RVN_FTP_CLIENT {
namespace {

// The directory of a 257 reply (RFC 959, appendix II), up to the first inner quote: a doubled one
// is not undone.
void ExtractQuoted(const std::string& strReply, std::string& path) {
    const std::size_t nOpen = strReply.find('"');
    if (nOpen == std::string::npos) return;
    const std::size_t nClose = strReply.find('"', nOpen + 1);
    if (nClose == std::string::npos) return;

    const std::size_t nSize = nClose - nOpen;
    const auto text = std::make_unique<char[]>(nSize);
    const int nCopied = strncpy_s(text.get(), nSize, strReply.c_str() + nOpen + 1, nSize - 1);
    if (nCopied != 0) {
        LogError(static_cast<unsigned int>(nCopied), "FTP_pwd:strncpy_s failed",
                 LocationInfo(kCommandFile, "FTP_pwd", __LINE__));
    }
    text[nSize - 1] = '\0';
    path = text.get();
}

}  // namespace

unsigned int CFtpComand::Ftp_connect() {
    _TraceFunction trace(LocationInfo(kCommandFile, "Ftp_connect", __LINE__));
    FtpSockParam param;
    param.strHost = m_strServer;
    param.nPort = m_nServerPort;
    param.bPasv = 1;

    int nResult = Connect(param, m_nConnTimeout);
    for (int nRetry = 0; nResult < 0 && nRetry < m_nRetryTimes; ++nRetry) {
        nResult = Connect(param, m_nRetryTimeout);
    }
    if (nResult < 0) return FTP_CONNECT_FAILED;

    const unsigned int uGreeting = GetRetCode();
    if (uGreeting != FTP_NO_REPLY) return uGreeting;
    GetRetCode();  // a server that still says nothing may yet answer USER
    return FTP_OK;
}

unsigned int CFtpComand::Ftp_user() {
    return Execute(Rule::kUser, m_strUser, m_strUser);
}

unsigned int CFtpComand::Ftp_pass() {
    TQ_UTIL::WBAutoPassword plain;
    m_Password.GetOriginalStr(plain);
    const char* pszPlain = plain.GetPassword();
    if (pszPlain == nullptr) return Execute(Rule::kPass);
    return Execute(Rule::kPass, {}, std::string_view(pszPlain, plain.GetLength()));
}

unsigned int CFtpComand::FTP_pwd(std::string& path) {
    const unsigned int uSent = Send(Rule::kPwd, {}, "");
    if (uSent != FTP_OK) return uSent;
    std::string strReply;
    const unsigned int uResult = Answer(Rule::kPwd, strReply);
    if (Rule::kPwd.Accepts(strReply)) ExtractQuoted(strReply, path);
    return uResult;
}

unsigned int CFtpComand::Ftp_quit() {
    return Execute(Rule::kQuit);
}

}  // namespace RVN_FTP_CLIENT
