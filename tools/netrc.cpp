#include "tools/netrc.h"

#include <strings.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "tools/failure.h"
#include "tools/privatefile.h"
#include "tools/visible.h"

namespace qelftp {
namespace {

constexpr std::size_t kMaxFile = std::size_t{128} * 1024;

// Cuts the text into words, which stay where they are: no copy of a password is made.
class CWords {
public:
    explicit CWords(std::string_view strText) : m_strRest(strText) {}

    // Empty at the end of the text. A quoted word comes with its quotes.
    std::optional<std::string_view> Value() {
        const std::size_t nStart = m_strRest.find_first_not_of(kBetween);
        if (nStart == std::string_view::npos) return std::nullopt;
        m_strRest.remove_prefix(nStart);
        const std::size_t nEnd = m_strRest.front() == '"' ? QuotedEnd() : PlainEnd();
        const std::string_view strWord = m_strRest.substr(0, nEnd);
        m_strRest.remove_prefix(nEnd);
        return strWord;
    }

    // Passes over comments.
    std::optional<std::string_view> Keyword() {
        std::optional<std::string_view> word = Value();
        while (word && word->front() == '#') {
            // The word may have ended the line itself.
            m_strRest.remove_prefix(std::min(m_strRest.find('\n'), m_strRest.size()));
            word = Value();
        }
        return word;
    }

    // Up to the empty line after a macro.
    void SkipMacro() {
        bool bEmpty = false;
        while (!m_strRest.empty() && !bEmpty) {
            const std::size_t nEnd = std::min(m_strRest.find('\n'), m_strRest.size());
            const std::string_view strLine = m_strRest.substr(0, nEnd);
            bEmpty = strLine.empty() || strLine == "\r";
            m_strRest.remove_prefix(std::min(nEnd + 1, m_strRest.size()));
        }
    }

private:
    static constexpr std::string_view kBetween = " \t\r\n";

    std::size_t PlainEnd() const {
        return std::min(m_strRest.find_first_of(kBetween), m_strRest.size());
    }
    // A quote that is not closed goes to the end of its line.
    std::size_t QuotedEnd() const {
        for (std::size_t nAt = 1; nAt < m_strRest.size() && m_strRest[nAt] != '\n'; ++nAt) {
            if (m_strRest[nAt] == '"') return nAt + 1;
            if (m_strRest[nAt] == '\\') ++nAt;
        }
        return std::min(m_strRest.find('\n'), m_strRest.size());
    }

    std::string_view m_strRest;
};

char Escaped(char c) {
    switch (c) {
        case 'n':
            return '\n';
        case 'r':
            return '\r';
        case 't':
            return '\t';
        default:
            return c;
    }
}

// Returns false when it does not fit.
bool AppendWord(std::string_view strWord, CPlainText& text) {
    if (strWord.front() != '"') return text.Append(strWord.data(), strWord.size());
    strWord.remove_prefix(1);
    for (std::size_t nAt = 0; nAt < strWord.size() && strWord[nAt] != '"'; ++nAt) {
        const bool bEscape = strWord[nAt] == '\\' && nAt + 1 < strWord.size();
        const char c = bEscape ? Escaped(strWord[++nAt]) : strWord[nAt];
        if (!text.Append(&c, 1)) return false;
    }
    return true;
}

std::string Plain(std::string_view strWord) {
    CPlainText text;
    return AppendWord(strWord, text) ? text.Get() : "";
}

bool IsHost(std::string_view strWord, const std::string& strHost) {
    return ::strcasecmp(Plain(strWord).c_str(), strHost.c_str()) == 0;
}

struct SEntryWords {
    bool bForHost = false;
    std::optional<std::string> login;
    std::optional<std::string_view> password;
};

bool Fits(const SEntryWords& entry, const std::string& strLogin) {
    if (!entry.bForHost) return false;
    if (!entry.login) return !strLogin.empty();
    return strLogin.empty() || *entry.login == strLogin;
}

// The first entry that fits.
std::optional<SEntryWords> FindEntry(std::string_view strText, const std::string& strHost,
                                     const std::string& strLogin) {
    CWords words(strText);
    SEntryWords entry;
    while (const auto keyword = words.Keyword()) {
        if (*keyword == "machine" || *keyword == "default") {
            if (Fits(entry, strLogin)) return entry;
            entry = {};
            const auto host = *keyword == "machine" ? words.Value() : std::nullopt;
            entry.bForHost = host ? IsHost(*host, strHost) : *keyword == "default";
        } else if (*keyword == "login") {
            if (const auto login = words.Value()) entry.login = Plain(*login);
        } else if (*keyword == "password") {
            entry.password = words.Value();
        } else if (*keyword == "account") {
            words.Value();
        } else if (*keyword == "macdef") {
            words.SkipMacro();
        }
    }
    return Fits(entry, strLogin) ? std::optional(entry) : std::nullopt;
}

std::string UsersFile() {
    const char* const pszPath = std::getenv("NETRC");
    if (pszPath != nullptr && *pszPath != '\0') return pszPath;
    const char* const pszHome = std::getenv("HOME");
    return pszHome == nullptr || *pszHome == '\0' ? "" : std::string(pszHome) + "/.netrc";
}

}  // namespace

bool FindInNetrc(std::string_view strText, const std::string& strHost, const std::string& strLogin,
                 SNetrcAccount& account, CPlainText& password) {
    const std::optional<SEntryWords> entry = FindEntry(strText, strHost, strLogin);
    if (!entry) return false;
    if (entry->password && !AppendWord(*entry->password, password)) return false;
    account.strLogin = strLogin.empty() ? entry->login.value_or("") : strLogin;
    account.bPassword = entry->password.has_value();
    return true;
}

bool FindInUsersNetrc(const std::string& strHost, const std::string& strLogin,
                      SNetrcAccount& account, CPlainText& password) {
    const std::string strPath = UsersFile();
    const auto fail = [&strPath](const std::string& strReason) {
        throw CUsageError("netrc file " + VisibleText(strPath) + ": " + strReason);
    };
    const CPrivateFile file(strPath, kMaxFile);
    if (file.Errno() == ENOENT || file.Errno() == ENOTDIR) return false;
    if (file.Errno() != 0) fail(std::strerror(file.Errno()));
    if (file.IsLonger()) fail("it is too large");
    if (!FindInNetrc(file.Text(), strHost, strLogin, account, password)) return false;
    if (!file.IsOwn()) fail("it belongs to somebody else");
    if (account.bPassword && file.OthersCanRead()) {
        fail("others than its owner have rights to it; take them away with chmod 600");
    }
    return true;
}

}  // namespace qelftp
