#include "tools/knownhosts.h"

#include <openssl/evp.h>
#include <openssl/hmac.h>

#include <algorithm>
#include <array>
#include <sstream>
#include <string_view>

#include "tools/base64.h"

namespace qelftp {
namespace {

constexpr unsigned int kDefaultPort = 22;
constexpr std::string_view kHashed = "|1|";

struct STypeName {
    const char* pszType;
    const char* pszShort;  // of "ssh-keygen -l"
};

constexpr STypeName kTypeNames[] = {
    {"ssh-ed25519", "ED25519"},       {"ssh-rsa", "RSA"},
    {"ecdsa-sha2-nistp256", "ECDSA"}, {"ecdsa-sha2-nistp384", "ECDSA"},
    {"ecdsa-sha2-nistp521", "ECDSA"}, {"ssh-dss", "DSA"},
};

// Without the locale: host names are ASCII.
std::string Lower(std::string strText) {
    for (char& c : strText) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return strText;
}

bool Matches(std::string_view strPattern, std::string_view strName) {
    std::size_t nPattern = 0;
    std::size_t nName = 0;
    std::size_t nStar = std::string_view::npos;  // the last "*" seen
    std::size_t nResume = 0;                     // what it does not cover yet
    while (nName < strName.size()) {
        const bool bMore = nPattern < strPattern.size();
        if (bMore && strPattern[nPattern] == '*') {
            nStar = nPattern++;
            nResume = nName;
        } else if (bMore &&
                   (strPattern[nPattern] == '?' || strPattern[nPattern] == strName[nName])) {
            ++nPattern;
            ++nName;
        } else if (nStar != std::string_view::npos) {
            nPattern = nStar + 1;
            nName = ++nResume;
        } else {
            return false;
        }
    }
    return strPattern.find_first_not_of('*', nPattern) == std::string_view::npos;
}

bool MatchesHash(std::string_view strHashed, const std::string& strName) {
    const std::size_t nSalt = kHashed.size();
    const std::size_t nBar = strHashed.find('|', nSalt);
    if (nBar == std::string_view::npos) return false;
    const auto salt = FromBase64(strHashed.substr(nSalt, nBar - nSalt));
    const auto hash = FromBase64(strHashed.substr(nBar + 1));
    if (!salt || !hash) return false;
    std::array<unsigned char, EVP_MAX_MD_SIZE> computed{};
    unsigned int uSize = 0;
    const unsigned char* const pDone =
        HMAC(EVP_sha1(), salt->data(), static_cast<int>(salt->size()),
             reinterpret_cast<const unsigned char*>(strName.data()), strName.size(),
             computed.data(), &uSize);
    return pDone != nullptr && std::equal(computed.begin(), computed.begin() + uSize, hash->begin(),
                                          hash->end(), [](unsigned char uLeft, char cRight) {
                                              return uLeft == static_cast<unsigned char>(cRight);
                                          });
}

// The type once more, at the beginning of the blob (RFC 4253, section 6.6): a line that was cut or
// mixed up is not taken for a key.
bool IsKeyOfType(const std::string& strBlob, const std::string& strType) {
    const auto bytes = FromBase64(strBlob);
    constexpr std::size_t kLength = 4;
    return bytes && bytes->size() > kLength + strType.size() && strType.size() < 256 &&
           static_cast<unsigned char>((*bytes)[kLength - 1]) == strType.size() &&
           bytes->compare(kLength, strType.size(), strType) == 0;
}

}  // namespace

SPublicKey ParsePublicKey(const std::string& strText) {
    std::istringstream fields(strText);
    SPublicKey key;
    fields >> key.strType >> key.strBlob;
    return IsKeyOfType(key.strBlob, key.strType) ? key : SPublicKey();
}

std::string KeyFingerprint(const SPublicKey& key) {
    const auto* const pRow =
        std::find_if(std::begin(kTypeNames), std::end(kTypeNames),
                     [&](const STypeName& row) { return key.strType == row.pszType; });
    const std::string strName = pRow == std::end(kTypeNames) ? key.strType : pRow->pszShort;
    const std::string strBytes = FromBase64(key.strBlob).value_or("");
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int uSize = 0;
    EVP_Digest(strBytes.data(), strBytes.size(), digest.data(), &uSize, EVP_sha256(), nullptr);
    std::string strHash = ToBase64({reinterpret_cast<const char*>(digest.data()), uSize});
    strHash.erase(strHash.find_last_not_of('=') + 1);
    return strName + " SHA256:" + strHash;
}

std::string KnownHostName(const std::string& strHost, unsigned int uPort) {
    const std::string strName = Lower(strHost);
    return uPort == kDefaultPort ? strName : "[" + strName + "]:" + std::to_string(uPort);
}

bool CoversHost(const std::string& strHosts, const std::string& strName) {
    if (strHosts.rfind(kHashed, 0) == 0) return MatchesHash(strHosts, strName);
    bool bCovered = false;
    std::istringstream patterns(Lower(strHosts));
    for (std::string strPattern; std::getline(patterns, strPattern, ',');) {
        const bool bNot = !strPattern.empty() && strPattern.front() == '!';
        if (strPattern.size() == (bNot ? 1U : 0U)) continue;
        if (!Matches(std::string_view(strPattern).substr(bNot ? 1 : 0), strName)) continue;
        if (bNot) return false;
        bCovered = true;
    }
    return bCovered;
}

CKnownHosts::CKnownHosts(const std::string& strText) {
    std::istringstream lines(strText);
    std::size_t nLine = 0;
    for (std::string strLine; std::getline(lines, strLine);)
        AddLine(strLine, ++nLine);
}

void CKnownHosts::AddLine(const std::string& strLine, std::size_t nLine) {
    std::istringstream fields(strLine);
    std::string strHosts;
    fields >> strHosts;
    EMark eMark = EMark::None;
    if (!strHosts.empty() && strHosts.front() == '@') {
        if (strHosts != "@revoked") return;
        eMark = EMark::Revoked;
        strHosts.clear();
        fields >> strHosts;
    }
    if (strHosts.empty() || strHosts.front() == '#') return;
    std::string strKey;
    std::getline(fields, strKey);
    SPublicKey key = ParsePublicKey(strKey);
    if (key.strType.empty()) return;
    m_lines.push_back({eMark, std::move(strHosts), {std::move(key), nLine}});
}

std::vector<SKnownKey> CKnownHosts::KeysOf(const std::string& strName, EMark eMark) const {
    std::vector<SKnownKey> keys;
    for (const SLine& line : m_lines) {
        if (line.eMark == eMark && CoversHost(line.strHosts, strName)) keys.push_back(line.known);
    }
    return keys;
}

SHostKeyVerdict CKnownHosts::Judge(const std::string& strHost, unsigned int uPort,
                                   const SPublicKey& key) const {
    const std::string strName = KnownHostName(strHost, uPort);
    const std::string strBareName = KnownHostName(strHost, kDefaultPort);
    const auto same = [&key](const SKnownKey& known) { return known.key == key; };

    for (const std::string& strEither : {strName, strBareName}) {
        const std::vector<SKnownKey> revoked = KeysOf(strEither, EMark::Revoked);
        const auto found = std::find_if(revoked.begin(), revoked.end(), same);
        if (found != revoked.end()) return {EHostKey::Revoked, {*found}};
    }
    for (const std::string& strEither : {strName, strBareName}) {
        const std::vector<SKnownKey> keys = KeysOf(strEither, EMark::None);
        const auto found = std::find_if(keys.begin(), keys.end(), same);
        if (found != keys.end()) return {EHostKey::Known, {*found}};
    }
    const std::vector<SKnownKey> others = KeysOf(strName, EMark::None);
    if (others.empty()) return {EHostKey::Unknown, {}};
    std::vector<SKnownKey> ofType;
    std::copy_if(others.begin(), others.end(), std::back_inserter(ofType),
                 [&key](const SKnownKey& known) { return known.key.strType == key.strType; });
    return {EHostKey::Changed, ofType.empty() ? others : ofType};
}

std::vector<std::string> CKnownHosts::TypesOf(const std::string& strHost,
                                              unsigned int uPort) const {
    std::vector<SKnownKey> keys = KeysOf(KnownHostName(strHost, uPort), EMark::None);
    if (keys.empty()) keys = KeysOf(KnownHostName(strHost, kDefaultPort), EMark::None);
    std::vector<std::string> types;
    for (const SKnownKey& known : keys) {
        if (std::find(types.begin(), types.end(), known.key.strType) == types.end())
            types.push_back(known.key.strType);
    }
    return types;
}

}  // namespace qelftp
