#include "tools/password.h"

#include <cstdlib>
#include <cstring>

#include "platform/encoding.h"
#include "tools/failure.h"
#include "tools/plaintext.h"
#include "tools/prompt.h"
#include "tools/remotepath.h"
#include "tools/visible.h"

namespace qelftp {
namespace {

constexpr const char* kVariable = "QELFTP_PASSWORD";
constexpr const char* kAnonymous = "anonymous";

// Returns false when the variable is not set. The program needs it once; what it then still holds
// could only be read by someone else, from /proc.
bool TakeFromEnvironment(CPlainText& password) {
    char* const pszValue = std::getenv(kVariable);
    if (pszValue == nullptr) return false;
    const std::size_t nSize = std::strlen(pszValue);
    const bool bFits = password.Append(pszValue, nSize);
    memset_s(pszValue, nSize, 0, nSize);
    ::unsetenv(kVariable);
    if (!bFits) throw CUsageError(std::string(kVariable) + " is too long for a password");
    return true;
}

void Ask(const std::string& strUser, const std::string& strHost, CPlainText& password) {
    const std::string strLocalUser = ZeltGlobalUtils::UTF8TOLOC(strUser.c_str());
    const std::string strQuestion =
        "Password of " + VisibleText(strLocalUser) + " at " + VisibleText(strHost) + ": ";
    switch (PromptWithoutEcho(strQuestion, password)) {
        case EPrompt::Answered:
            return;
        case EPrompt::NoTerminal:
            throw CUsageError(
                std::string("a password is needed, and there is no terminal to ask on: set ") +
                kVariable);
        case EPrompt::NoAnswer:
            throw CUsageError("no password was typed");
    }
}

}  // namespace

TQ_UTIL::CcipheString ObtainPassword(const std::string& strUser, const std::string& strHost) {
    CPlainText password;
    if (!TakeFromEnvironment(password)) {
        if (strUser == kAnonymous) {
            password.Append(kAnonymous, std::strlen(kAnonymous));
        } else {
            Ask(strUser, strHost, password);
        }
    }
    if (!FitsOnCommandLine(password.Get())) {
        throw CUsageError("the password may not hold a line end or a zero byte");
    }
    return TQ_UTIL::CcipheString(password.Get());
}

}  // namespace qelftp
