#include "tools/ftpfailure.h"

#include <cstring>

#include "include/ftpresult.h"
#include "platform/encoding.h"

namespace qelftp {
namespace {

using namespace RVN_FTP_CLIENT;

// The library's limit for a remote path, the login directory in front of it included.
constexpr std::size_t kMaxRemotePath = 260;

struct SAdviceRow {
    const char* pszOperation;  // null: any
    unsigned int uCode;
    const char* pszAdvice;
};

// First match wins.
constexpr SAdviceRow kAdvice[] = {
    {"login", FTP_CONNECT_FAILED,
     "check host and port, that a server runs there, and firewalls between"},
    {"login", FTP_LOGIN_REFUSED, "check the user name and QELFTP_PASSWORD"},
    {"login", FTP_REPLY_530, "check the user name and QELFTP_PASSWORD"},
    {"login", FTP_UNKNOWN_REPLY, "check that it is an FTP server that listens there"},
    {"login", FTP_NO_REPLY,
     "check that it is an FTP server that listens there; a slow one needs a longer "
     "--connect-timeout"},
    {"close", FTP_CLOSE_FAILED,
     "the connection was lost; files moved last may be incomplete, and so may a listing"},
    {nullptr, FTP_CONNECT_FAILED,
     "the data connection is meant: check firewalls between, and the server's passive ports"},
    {nullptr, FTP_BAD_PASV_REPLY,
     "for data connections, the server must announce the address it was reached at"},
    {nullptr, FTP_NO_REPLY, "a slow server needs a longer --connect-timeout"},
    {nullptr, FTP_REPLY_421, "the server may have closed an idle or surplus session: try again"},
    {"ls", FTP_CWD_REFUSED, "check that it is a directory"},
    {nullptr, FTP_CWD_REFUSED, "check that the directory exists (qelftp mkdir makes it)"},
    {"rm", FTP_DELE_REFUSED, "check that it is a file; qelftp rmdir removes directories"},
    {"rmdir", FTP_RMD_REFUSED, "check that it is a directory without directories in it"},
};

const char* AdviceFor(const std::string& strOperation, unsigned int uCode) {
    for (const SAdviceRow& row : kAdvice) {
        const bool bOperation = row.pszOperation == nullptr || strOperation == row.pszOperation;
        if (bOperation && row.uCode == uCode) return row.pszAdvice;
    }
    return "";
}

}  // namespace

SFailure FtpFailure(const std::string& strOperation, const std::string& strSubject,
                    unsigned int uCode) {
    const bool bTooLong = uCode == FTP_NO_SUCH_FILE && strSubject.size() > kMaxRemotePath;
    return {strOperation, ZeltGlobalUtils::UTF8TOLOC(strSubject.c_str()), FtpResultText(uCode),
            uCode,
            bTooLong ? "remote paths are limited to 260 bytes" : AdviceFor(strOperation, uCode)};
}

}  // namespace qelftp
