#ifndef QEL_TOOLS_FAILURE_H
#define QEL_TOOLS_FAILURE_H

#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace qelftp {

// The command line cannot be carried out as it stands: exit code 2.
class CUsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Whose number a failure's code is.
enum class ECodeKind { Ftp, Sftp };

// What one failed operation has to tell. Texts are in the local encoding and may hold any bytes.
struct SFailure {
    std::string strOperation;           // "get", "login", ...
    std::string strSubject;             // a path, or host:port
    std::string strMeaning;             // what went wrong, in a few words
    std::optional<unsigned int> uCode;  // the library's number for it, where it has one
    std::string strAdvice;              // what to do about it; may be empty
    bool bLasting = false;              // another attempt would end the same way
    ECodeKind eCodeKind = ECodeKind::Ftp;
};

// One line: "get /a/b.txt: no such file or directory (0x3bb0000e); advice"; "(SFTP error 12)" for
// a code of that kind.
std::string FailureText(const SFailure& failure);

// The failure of a system call on a local path.
SFailure LocalFailure(const std::string& strOperation, const std::string& strPath, int nErrno);

// An operation failed: exit code 1. Holds at least one failure.
class COperationError : public std::exception {
public:
    explicit COperationError(SFailure failure) : m_failures{std::move(failure)} {}
    explicit COperationError(std::vector<SFailure> failures) : m_failures(std::move(failures)) {}

    const char* what() const noexcept override { return "operation failed"; }
    const std::vector<SFailure>& Failures() const { return m_failures; }

private:
    std::vector<SFailure> m_failures;
};

// The command has told all there is to tell, and the program ends with this code.
class CEnd : public std::exception {
public:
    explicit CEnd(int nExitCode) : m_nExitCode(nExitCode) {}

    const char* what() const noexcept override { return "ended"; }
    int ExitCode() const { return m_nExitCode; }

private:
    int m_nExitCode;
};

}  // namespace qelftp

#endif
