#include "tools/base64.h"

#include <openssl/evp.h>

#include <limits>

namespace qelftp {
namespace {

// OpenSSL counts in int; nothing near that is a key.
constexpr std::size_t kMaxSize = std::numeric_limits<int>::max() / 2;

const unsigned char* Bytes(std::string_view strText) {
    return reinterpret_cast<const unsigned char*>(strText.data());
}

unsigned char* Bytes(std::string& strText) {
    return reinterpret_cast<unsigned char*>(strText.data());
}

}  // namespace

std::optional<std::string> FromBase64(std::string_view strText) {
    const std::size_t nPadding = strText.size() - 1 - strText.find_last_not_of('=');
    const bool bWhole = !strText.empty() && strText.size() % 4 == 0 && strText.size() <= kMaxSize &&
                        nPadding <= 2 && strText.find('=') >= strText.size() - nPadding &&
                        strText.find_first_of(" \t\r\n") == std::string_view::npos;
    if (!bWhole) return {};
    std::string strBytes(strText.size() / 4 * 3, '\0');
    const int nSize =
        EVP_DecodeBlock(Bytes(strBytes), Bytes(strText), static_cast<int>(strText.size()));
    if (nSize < 0) return {};
    // The filling decodes to zero bytes, which OpenSSL counts.
    strBytes.resize(static_cast<std::size_t>(nSize) - nPadding);
    return strBytes;
}

std::string ToBase64(std::string_view strBytes) {
    std::string strText(strBytes.size() / 3 * 4 + 5, '\0');  // with OpenSSL's zero byte
    const int nSize =
        EVP_EncodeBlock(Bytes(strText), Bytes(strBytes), static_cast<int>(strBytes.size()));
    strText.resize(static_cast<std::size_t>(nSize));
    return strText;
}

}  // namespace qelftp
