#include "tools/localcheck.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "tools/failure.h"

namespace qelftp {
namespace {

bool MayAccess(const std::string& strPath, int nMode) {
    return ::faccessat(AT_FDCWD, strPath.c_str(), nMode, AT_EACCESS) == 0;
}

std::string DirectoryOf(const std::string& strPath) {
    const std::size_t nLast = strPath.rfind('/');
    return nLast == std::string::npos ? "." : strPath.substr(0, nLast + 1);
}

void CheckSource(const std::string& strPath, std::vector<SFailure>& failures) {
    struct stat status {};
    if (::stat(strPath.c_str(), &status) != 0) {
        failures.push_back(LocalFailure("put", strPath, errno));
        return;
    }
    if (S_ISDIR(status.st_mode)) {
        failures.push_back(LocalFailure("put", strPath, EISDIR));
    } else if (!S_ISREG(status.st_mode)) {
        failures.push_back({"put", strPath, "Not a regular file", std::nullopt, ""});
    } else if (!MayAccess(strPath, R_OK)) {
        failures.push_back(LocalFailure("put", strPath, errno));
    }
}

void CheckTarget(const std::string& strPath, std::vector<SFailure>& failures) {
    struct stat status {};
    const std::string strDirectory = DirectoryOf(strPath);
    if (::stat(strPath.c_str(), &status) == 0) {
        if (S_ISDIR(status.st_mode)) {
            failures.push_back(LocalFailure("get", strPath, EISDIR));
        } else if (!MayAccess(strPath, W_OK)) {
            failures.push_back(LocalFailure("get", strPath, errno));
        }
    } else if (errno != ENOENT) {
        failures.push_back(LocalFailure("get", strPath, errno));
    } else if (!MayAccess(strDirectory, W_OK | X_OK)) {
        failures.push_back(LocalFailure("get", strDirectory, errno));
    }
}

void CheckEach(const std::vector<STransfer>& batch,
               void (*pCheck)(const std::string&, std::vector<SFailure>&)) {
    std::vector<SFailure> failures;
    for (const STransfer& transfer : batch)
        pCheck(transfer.strLocal, failures);
    if (!failures.empty()) throw COperationError(std::move(failures));
}

}  // namespace

int DirectoryErrno(const std::string& strPath) {
    struct stat status {};
    if (::stat(strPath.c_str(), &status) != 0) return errno;
    return S_ISDIR(status.st_mode) ? 0 : ENOTDIR;
}

void CheckSources(const std::vector<STransfer>& batch) {
    CheckEach(batch, CheckSource);
}

void CheckTargets(const std::vector<STransfer>& batch) {
    CheckEach(batch, CheckTarget);
}

}  // namespace qelftp
