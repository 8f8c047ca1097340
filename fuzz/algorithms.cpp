// Input: a resource file, one key=value a line. The store that the host brings is the target's
// own and as simple as can be; what is tried is the reading of the lists.

#include <cctype>
#include <cstdint>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "fuzz/require.h"
#include "platform/files.h"
#include "platform/paths.h"
#include "platform/resources.h"
#include "src/sftp/sftpclientreadcfg.h"

namespace QelFuzz {
namespace {

using RVN_FTP_CLIENT::CSftpClientConfManager;

std::map<std::string, std::string>& Store() {
    static std::map<std::string, std::string> store;
    return store;
}

void Fill(std::string_view strFile) {
    Store().clear();
    while (!strFile.empty()) {
        std::string_view strLine = TakeUntil(strFile, '\n');
        const std::string strKey(TakeUntil(strLine, '='));
        // As C text: what the store hands out is zero-terminated.
        Store()[strKey] = std::string(strLine).c_str();
    }
}

std::string ValueOf(const std::string& strKey) {
    const auto entry = Store().find(strKey);
    return entry == Store().end() ? "" : entry->second;
}

// False for numbers that do not fit into a long, which the C library limits.
bool HexNumber(const std::string& strText, int& nNumber) {
    std::size_t n = 0;
    while (n < strText.size() && std::isspace(static_cast<unsigned char>(strText[n])) != 0)
        ++n;
    const bool bNegative = n < strText.size() && strText[n] == '-';
    if (n < strText.size() && (strText[n] == '-' || strText[n] == '+')) ++n;
    const auto isHex = [&](std::size_t nAt) {
        return nAt < strText.size() && std::isxdigit(static_cast<unsigned char>(strText[nAt])) != 0;
    };
    if (n + 1 < strText.size() && strText[n] == '0' && (strText[n + 1] | 0x20) == 'x' &&
        isHex(n + 2))
        n += 2;
    std::uint64_t uValue = 0;
    std::size_t nDigits = 0;
    for (; isHex(n); ++n) {
        uValue =
            uValue * 16 + static_cast<std::uint64_t>(std::stoi(strText.substr(n, 1), nullptr, 16));
        if (uValue != 0) ++nDigits;
    }
    const auto uLow = static_cast<std::uint32_t>(bNegative ? 0 - uValue : uValue);
    nNumber = static_cast<int>(uLow);
    return nDigits <= 15;
}

std::vector<std::string> EntriesOf(const std::string& strKey) {
    std::vector<std::string> entries;
    std::string strEntry;
    for (const char c : ValueOf(strKey)) {
        if (c == ';') entries.push_back(strEntry);
        strEntry = c == ';' ? "" : strEntry + c;
    }
    return entries;
}

void RequireList(const std::string& strKey, const std::vector<int>& actual) {
    std::size_t n = 0;
    for (const std::string& strEntry : EntriesOf(strKey)) {
        if (ValueOf(strEntry).empty()) continue;
        Require(n < actual.size(), strKey + " has an identifier for each entry");
        int nExpected = 0;
        if (HexNumber(ValueOf(strEntry), nExpected)) RequireEqual(nExpected, actual[n], strKey);
        ++n;
    }
    RequireEqual(n, actual.size(), "number of identifiers of " + strKey);
}

void RequireCompression(int nActual) {
    std::string strLast;
    for (const std::string& strEntry : EntriesOf("Compression"))
        if (!ValueOf(strEntry).empty()) strLast = ValueOf(strEntry);
    int nExpected = 0;
    if (strLast.empty() || HexNumber(strLast, nExpected))
        RequireEqual(nExpected, nActual, "Compression");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    Fill(TextOf(pData, nSize));
    const CSftpClientConfManager* const pRead = CSftpClientConfManager::Instance();
    RequireList("Cipher", pRead->getCipherList());
    RequireList("Mac", pRead->getMacList());
    RequireList("KeyExchange", pRead->getKeyExchangeList());
    RequireList("HostKey", pRead->getHostKeyList());
    RequireList("AuthType", pRead->getAuthTypeList());
    RequireCompression(pRead->getCompression());
    const bool bAll = !pRead->getCipherList().empty() && !pRead->getMacList().empty() &&
                      !pRead->getKeyExchangeList().empty() && !pRead->getHostKeyList().empty() &&
                      !pRead->getAuthTypeList().empty();
    RequireEqual(bAll, pRead->isConfigValid(), "isConfigValid");
    CSftpClientConfManager::Release();
    return 0;
}

}  // namespace QelFuzz

// The host of this target.

int TQ_UTIL::SovGetServerPath_WB(std::string& path) {
    path = "/nowhere";
    return 1;
}

int ZELT_OS::access(const char* /*path*/, int /*mode*/, const char* /*encoding*/) {
    return 0;
}

int ZeltAddResFileWithAbsolute(const std::string& /*absolutePath*/) {
    return 1;
}

const char* ZeltGetResString(const std::string& key) {
    const auto entry = QelFuzz::Store().find(key);
    return entry == QelFuzz::Store().end() ? nullptr : entry->second.c_str();
}
