// Input: a netrc file.

#include "tools/netrc.h"

#include <cctype>
#include <string>

#include "fuzz/require.h"

namespace QelFuzz {
namespace {

using namespace qelftp;

constexpr const char* kHost = "h.example";
constexpr const char* kSecret = "Kj9!q~Zx";

struct SFound {
    bool bFits = false;
    SNetrcAccount account;
    std::string strPassword;
};

SFound Find(std::string_view strText, const std::string& strHost, const std::string& strLogin) {
    SFound found;
    CPlainText password;
    found.bFits = FindInNetrc(strText, strHost, strLogin, found.account, password);
    found.strPassword = password.Get();
    return found;
}

std::string Lower(std::string strText) {
    for (char& c : strText)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return strText;
}

void RequireSound(const std::string& strText, const std::string& strLogin) {
    const SFound found = Find(strText, kHost, strLogin);
    if (!found.bFits) return;
    // A backslash can write a host in another way.
    const bool bNamed = Lower(strText).find(kHost) != std::string::npos ||
                        strText.find("default") != std::string::npos ||
                        strText.find('\\') != std::string::npos;
    Require(bNamed, "only the entry of the host, or of all hosts, fits");
    Require(strLogin.empty() || found.account.strLogin == strLogin, "the login asked for");
    Require(found.account.bPassword || found.strPassword.empty(), "no password but the entry's");
    Require(found.strPassword.size() <= strText.size(), "a password comes from the file");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    const std::string strText(TextOf(pData, nSize));
    for (const char* pszLogin : {"", "u"})
        RequireSound(strText, pszLogin);

    // What follows an entry does not change it.
    const std::string strEntry =
        std::string("machine ") + kHost + " login u password " + kSecret + "\nmachine other ";
    const SFound first = Find(strEntry + strText, kHost, "u");
    Require(first.bFits && first.account.bPassword, "the first entry that fits counts");
    RequireEqual(std::string(kSecret), first.strPassword, "password of the first entry");
    // And an entry of another account is not given away.
    RequireEqual(std::string::npos, Find(strEntry, kHost, "v").strPassword.find(kSecret),
                 "password of another login");
    return 0;
}

}  // namespace QelFuzz
