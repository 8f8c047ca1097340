// A host that logs in, stops itself to be looked into, releases the session and stops again.
//
//   secrets_client SECRETFILE HABIT ftp PORT
//   secrets_client SECRETFILE HABIT sftp-password PORT USER HOSTKEY
//   secrets_client SECRETFILE HABIT sftp-key PORT USER HOSTKEY KEYFILE
//
// HABIT: "wipe" for a host that wipes its own copy of the secret; "keep" and "free" for one that
// forgets a copy, or frees it as it is.

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

#include "include/ftpclient.h"
#include "include/sftpclient.h"
#include "platform/bounded.h"

using namespace RVN_FTP_CLIENT;

namespace {

std::string* g_pForgotten = nullptr;

void Misbehave(const std::string& strHabit, const char* pSecret, std::size_t nSize) {
    if (strHabit == "keep") g_pForgotten = new std::string(pSecret, nSize);
    if (strHabit == "free") std::vector<std::string>(64, std::string(pSecret, nSize));
}

TQ_UTIL::CcipheString ReadSecret(const char* pszFile, const std::string& strHabit) {
    std::array<char, 256> bytes{};
    const int nFile = ::open(pszFile, O_RDONLY | O_CLOEXEC);
    const ssize_t nRead = ::read(nFile, bytes.data(), bytes.size());
    ::close(nFile);
    if (nRead <= 0) std::exit(3);
    const auto nSize = static_cast<std::size_t>(nRead);
    std::string strPlain(bytes.data(), nSize);
    TQ_UTIL::CcipheString secret(strPlain);
    Misbehave(strHabit, bytes.data(), nSize);
    memset_s(bytes.data(), bytes.size(), 0, bytes.size());
    memset_s(strPlain.data(), strPlain.size(), 0, strPlain.size());
    return secret;
}

void StopAfter(const char* pszLine) {
    const std::string strLine = std::string(pszLine) + "\n";
    if (::write(STDOUT_FILENO, strLine.data(), strLine.size()) < 0) std::exit(4);
    ::raise(SIGSTOP);
}

unsigned short PortOf(const char* pszText) {
    return static_cast<unsigned short>(std::strtoul(pszText, nullptr, 10));
}

int UseFtp(char** ppszArguments, const TQ_UTIL::CcipheString& secret) {
    CFtpClient client("127.0.0.1", PortOf(ppszArguments[0]), "bob", secret);
    if (client.Login() != 0) return 1;
    StopAfter("logged in");
    return client.Close() == 0 ? 0 : 1;
}

int UseSftp(const std::string& strHow, char** ppszArguments, const TQ_UTIL::CcipheString& secret) {
    TQ_UTIL::StFTPAccountInfo account;
    account.strHost = "127.0.0.1";
    account.nPort = PortOf(ppszArguments[0]);
    account.strUserName = ppszArguments[1];
    account.strHostKeyFormat = "OPENSSH";
    account.strHostKey = ppszArguments[2];
    if (strHow == "sftp-key") {
        account.strAuthType = "pubkey";
        account.strPrivateKeyFile = ppszArguments[3];
        account.cipherPassphrase = secret;
    } else {
        account.cipherPassword = secret;
    }
    auto* const pInfo = new StSFTPConnectionInfo;
    SFTP_Session_Wrp* const pSession = CSftpClient::getSFTPSession(pInfo, account);
    if (pSession == nullptr) return 1;
    StopAfter("set up");
    if (pSession->connect() != SFTP_OK) return 1;
    StopAfter("logged in");
    CSftpClient::releaseSFTPConnection(pInfo);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 5) return 2;
    const std::string strHow = argv[3];
    {
        const TQ_UTIL::CcipheString secret = ReadSecret(argv[1], argv[2]);
        const int nResult =
            strHow == "ftp" ? UseFtp(argv + 4, secret) : UseSftp(strHow, argv + 4, secret);
        if (nResult != 0) return nResult;
    }
    StopAfter("released");
    delete g_pForgotten;
    return 0;
}
