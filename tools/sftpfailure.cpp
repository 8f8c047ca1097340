#include "tools/sftpfailure.h"

#include "platform/encoding.h"
#include "platform/sftpwrapper.h"

namespace qelftp {
namespace {

struct SMeaningRow {
    int nCode;
    const char* pszMeaning;
    bool bDetail;   // the session's text says more
    bool bLasting;  // another attempt would end the same way
};

constexpr SMeaningRow kMeanings[] = {
    {SFTP_ERR_UNSUPPORTED, "the SFTP wrapper cannot do this", false, true},
    {SFTP_ERR_ARGUMENT, "not a possible request", true, true},
    {SFTP_ERR_MEMORY, "out of memory", false, false},
    {SFTP_ERR_ALGORITHMS, "the configured algorithms cannot be used", true, true},
    {SFTP_ERR_CONNECT, "connection could not be made", true, false},
    {SFTP_ERR_HOST_KEY, "host key refused", true, true},
    {SFTP_ERR_AUTH, "login refused", false, true},
    {SFTP_ERR_PRIVATE_KEY, "the private key cannot be used", true, true},
    {SFTP_ERR_NOT_CONNECTED, "not connected", false, false},
    {SFTP_ERR_LOST, "connection lost", false, false},
    {SFTP_ERR_TIMEOUT, "the server does not answer", true, false},
    {SFTP_ERR_NO_SUCH_PATH, "no such file or directory", false, true},
    {SFTP_ERR_PERMISSION, "permission denied", false, true},
    {SFTP_ERR_EXISTS, "it exists already", false, true},
    {SFTP_ERR_REMOTE, "the server refuses", true, false},
    {SFTP_ERR_LOCAL_FILE, "local file", true, true},
    {SFTP_ERR_CANCELLED, "cancelled", false, true},
};

struct SAdviceRow {
    const char* pszOperation;  // null: any
    int nCode;
    const char* pszAdvice;
};

// First match wins.
constexpr SAdviceRow kAdvice[] = {
    {nullptr, SFTP_ERR_CONNECT,
     "check host and port, that an SSH server runs there, and firewalls between"},
    {nullptr, SFTP_ERR_AUTH, "check the user name and QELFTP_PASSWORD, or the key of --identity"},
    {nullptr, SFTP_ERR_PRIVATE_KEY, "check the file of --identity and QELFTP_PASSPHRASE"},
    {nullptr, SFTP_ERR_ALGORITHMS, "check sftpAlgorithm.cfg"},
    {nullptr, SFTP_ERR_TIMEOUT, "a slow server needs a longer --connect-timeout"},
    {"put", SFTP_ERR_NO_SUCH_PATH, "check that the directory exists (qelftp mkdir makes it)"},
    {"put", SFTP_ERR_PERMISSION,
     "the directory must allow new files: they replace the old ones when they are complete"},
    {"rm", SFTP_ERR_REMOTE, "check that it is a file; qelftp rmdir removes directories"},
    {"rmdir", SFTP_ERR_REMOTE, "check that it is a directory without directories in it"},
    {"ls", SFTP_ERR_REMOTE, "check that it is a directory"},
};

const char* AdviceFor(const std::string& strOperation, int nCode) {
    for (const SAdviceRow& row : kAdvice) {
        const bool bOperation = row.pszOperation == nullptr || strOperation == row.pszOperation;
        if (bOperation && row.nCode == nCode) return row.pszAdvice;
    }
    return "";
}

bool IsLasting(int nCode) {
    for (const SMeaningRow& row : kMeanings) {
        if (row.nCode == nCode) return row.bLasting;
    }
    return false;
}

std::string MeaningOf(int nCode, const std::string& strDetail) {
    for (const SMeaningRow& row : kMeanings) {
        if (row.nCode != nCode) continue;
        return row.bDetail && !strDetail.empty() ? std::string(row.pszMeaning) + ": " + strDetail
                                                 : row.pszMeaning;
    }
    return strDetail.empty() ? "unknown error" : "unknown error: " + strDetail;
}

}  // namespace

SFailure SftpFailure(const std::string& strOperation, const std::string& strSubject, int nCode,
                     const std::string& strDetail) {
    return {strOperation,
            ZeltGlobalUtils::UTF8TOLOC(strSubject.c_str()),
            MeaningOf(nCode, ZeltGlobalUtils::UTF8TOLOC(strDetail.c_str())),
            static_cast<unsigned int>(nCode),
            AdviceFor(strOperation, nCode),
            IsLasting(nCode),
            ECodeKind::Sftp};
}

}  // namespace qelftp
