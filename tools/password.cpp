#include "tools/password.h"

#include <cstdlib>
#include <cstring>

#include "platform/encoding.h"
#include "tools/failure.h"
#include "tools/netrc.h"
#include "tools/passwordfile.h"
#include "tools/plaintext.h"
#include "tools/prompt.h"
#include "tools/remotepath.h"
#include "tools/visible.h"

namespace qelftp {
namespace {

// A secret the program may need: where it comes from without asking, and what it is called.
struct SSecret {
    const char* pszVariable;
    const char* pszName;
};

constexpr SSecret kPassword = {"QELFTP_PASSWORD", "password"};
constexpr SSecret kPassphrase = {"QELFTP_PASSPHRASE", "passphrase"};
constexpr const char* kAnonymous = "anonymous";

// Returns false when the variable is not set. The program needs it once; what it then still holds
// could only be read by someone else, from /proc.
bool TakeFromEnvironment(const SSecret& secret, CPlainText& text) {
    char* const pszValue = std::getenv(secret.pszVariable);
    if (pszValue == nullptr) return false;
    const std::size_t nSize = std::strlen(pszValue);
    const bool bFits = text.Append(pszValue, nSize);
    memset_s(pszValue, nSize, 0, nSize);
    ::unsetenv(secret.pszVariable);
    if (!bFits) {
        throw CUsageError(std::string(secret.pszVariable) + " is too long for a " + secret.pszName);
    }
    return true;
}

void Ask(const SSecret& secret, const std::string& strQuestion, CPlainText& text) {
    const std::string strName = secret.pszName;
    switch (PromptWithoutEcho(strQuestion, text)) {
        case EPrompt::Answered:
            return;
        case EPrompt::NoTerminal:
            throw CUsageError("a " + strName +
                              " is needed, and there is no terminal to ask on: set " +
                              secret.pszVariable);
        case EPrompt::NoAnswer:
            throw CUsageError("no " + strName + " was typed");
    }
}

TQ_UTIL::CcipheString Enciphered(const SSecret& secret, const CPlainText& text) {
    if (!FitsOnCommandLine(text.Get())) {
        throw CUsageError(std::string("the ") + secret.pszName +
                          " may not hold a line end or a zero byte");
    }
    return TQ_UTIL::CcipheString(text.Get());
}

// Without asking.
bool FindPassword(const std::string& strUser, const std::string& strHost,
                  const std::string& strPasswordFile, CPlainText& password) {
    CPlainText environment;
    const bool bInEnvironment = TakeFromEnvironment(kPassword, environment);
    if (!strPasswordFile.empty()) {
        ReadPasswordFile(strPasswordFile, password);
        return true;
    }
    if (bInEnvironment) return password.Append(environment.Get().data(), environment.Get().size());
    SNetrcAccount account;
    const std::string strLogin = ZeltGlobalUtils::UTF8TOLOC(strUser.c_str());
    return FindInUsersNetrc(strHost, strLogin, account, password) && account.bPassword;
}

}  // namespace

TQ_UTIL::CcipheString ObtainPassword(const std::string& strUser, const std::string& strHost,
                                     const std::string& strPasswordFile) {
    CPlainText password;
    if (!FindPassword(strUser, strHost, strPasswordFile, password)) {
        if (strUser == kAnonymous) {
            password.Append(kAnonymous, std::strlen(kAnonymous));
        } else {
            const std::string strLocalUser = ZeltGlobalUtils::UTF8TOLOC(strUser.c_str());
            Ask(kPassword,
                "Password of " + VisibleText(strLocalUser) + " at " + VisibleText(strHost) + ": ",
                password);
        }
    }
    return Enciphered(kPassword, password);
}

std::optional<TQ_UTIL::CcipheString> KnownPassword(const std::string& strUser,
                                                   const std::string& strHost,
                                                   const std::string& strPasswordFile) {
    CPlainText password;
    if (!FindPassword(strUser, strHost, strPasswordFile, password)) return {};
    return Enciphered(kPassword, password);
}

TQ_UTIL::CcipheString ObtainPassphrase(const std::string& strKeyFile, bool bAsk) {
    CPlainText passphrase;
    if (!TakeFromEnvironment(kPassphrase, passphrase) && bAsk)
        Ask(kPassphrase, "Passphrase of " + VisibleText(strKeyFile) + ": ", passphrase);
    return Enciphered(kPassphrase, passphrase);
}

}  // namespace qelftp
