#include "tools/knownhostsfile.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>

#include "tools/failure.h"

namespace qelftp {
namespace {

constexpr const char* kOperation = "known hosts";

[[noreturn]] void Fail(const std::string& strPath) {
    throw COperationError(LocalFailure(kOperation, strPath, errno));
}

class CDescriptor {
public:
    explicit CDescriptor(int nFile) : m_nFile(nFile) {}
    ~CDescriptor() {
        if (m_nFile >= 0) ::close(m_nFile);
    }
    CDescriptor(const CDescriptor&) = delete;
    CDescriptor& operator=(const CDescriptor&) = delete;

    int Get() const { return m_nFile; }

private:
    int m_nFile;
};

std::string ReadAll(int nFile, const std::string& strPath) {
    std::string strText;
    std::array<char, 65536> block{};
    ssize_t nRead = 0;
    while ((nRead = ::read(nFile, block.data(), block.size())) != 0) {
        if (nRead > 0) {
            strText.append(block.data(), static_cast<std::size_t>(nRead));
        } else if (errno != EINTR) {
            Fail(strPath);
        }
    }
    return strText;
}

int OpenToAppend(const std::string& strPath) {
    const std::size_t nSlash = strPath.rfind('/');
    if (nSlash != std::string::npos && nSlash != 0)
        ::mkdir(strPath.substr(0, nSlash).c_str(), 0700);  // what matters is whether the file opens
    return ::open(strPath.c_str(), O_RDWR | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
}

}  // namespace

std::string DefaultKnownHostsPath() {
    const char* pszHome = std::getenv("HOME");
    if (pszHome == nullptr || *pszHome == '\0') {
        const passwd* const pUser = ::getpwuid(::getuid());
        pszHome = pUser != nullptr ? pUser->pw_dir : nullptr;
    }
    if (pszHome == nullptr || *pszHome == '\0') {
        throw COperationError({kOperation, "~/.ssh/known_hosts",
                               "there is no home directory to look for it", std::nullopt,
                               "set HOME, or name a file with --known-hosts"});
    }
    return std::string(pszHome) + "/.ssh/known_hosts";
}

CKnownHosts ReadKnownHosts(const std::string& strPath) {
    const CDescriptor file(::open(strPath.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.Get() >= 0) return CKnownHosts(ReadAll(file.Get(), strPath));
    if (errno != ENOENT) Fail(strPath);
    return CKnownHosts("");
}

SHostKeyVerdict RecordHostKey(const std::string& strPath, const std::string& strHost,
                              unsigned int uPort, const SPublicKey& key) {
    const CDescriptor file(OpenToAppend(strPath));
    if (file.Get() < 0 || ::flock(file.Get(), LOCK_EX) != 0) Fail(strPath);
    const std::string strText = ReadAll(file.Get(), strPath);
    SHostKeyVerdict verdict = CKnownHosts(strText).Judge(strHost, uPort, key);
    if (verdict.eHostKey != EHostKey::Unknown) return verdict;

    const bool bUnfinished = !strText.empty() && strText.back() != '\n';
    const std::string strLine = (bUnfinished ? "\n" : "") + KnownHostName(strHost, uPort) + " " +
                                key.strType + " " + key.strBlob + "\n";
    const ssize_t nWritten = ::write(file.Get(), strLine.data(), strLine.size());
    if (nWritten < 0) Fail(strPath);
    if (static_cast<std::size_t>(nWritten) != strLine.size()) {
        errno = ENOSPC;
        Fail(strPath);
    }
    return CKnownHosts(strText + strLine).Judge(strHost, uPort, key);
}

}  // namespace qelftp
