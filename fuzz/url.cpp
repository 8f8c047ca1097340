// Input: a command line argument. A byte 0x01 stands for a password that must not come back.

#include "tools/url.h"

#include <cstdio>
#include <string>

#include "fuzz/require.h"
#include "tools/failure.h"
#include "tools/remotepath.h"
#include "tools/schemes.h"

namespace QelFuzz {
namespace {

using namespace qelftp;

constexpr const char* kSecret = "Kj9!q~Zx";  // no scheme and no word of an error text

std::string WithSecret(std::string_view strText) {
    std::string strWith;
    for (const char c : strText) {
        if (c == '\x01') {
            strWith += kSecret;
        } else {
            strWith += c;
        }
    }
    return strWith;
}

std::string Encoded(const std::string& strText, bool bPath) {
    std::string strEncoded;
    for (const char c : strText) {
        if (bPath && c == '/') {
            strEncoded += c;
            continue;
        }
        char code[4];
        std::snprintf(code, sizeof(code), "%%%02X", static_cast<unsigned int>(c) & 0xFFU);
        strEncoded += code;
    }
    return strEncoded;
}

void RequireSound(const SUrl& url) {
    Require(FindScheme(url.strScheme) != nullptr, "a parsed URL has a supported scheme");
    Require(!url.strHost.empty() && url.usPort != 0, "a parsed URL has a host and a port");
    for (const std::string& strText : {url.strUser, url.strHost, url.strPath})
        Require(FitsOnCommandLine(strText), "no part of a URL breaks a line");
    RequireEqual(NormalPath(url.strPath), url.strPath, "the path is normal");
    RequireEqual('/', url.strPath.at(0), "first byte of the path");
    Require(url.strPath != "/" || url.bDirectory, "the root is a directory");
}

void RequireSame(const SUrl& url) {
    const std::string strAgain = url.strScheme + "://" + Encoded(url.strUser, false) + "@" +
                                 url.strHost + ":" + std::to_string(url.usPort) +
                                 Encoded(url.strPath, true) +
                                 (url.bDirectory && url.strPath != "/" ? "/" : "");
    const SUrl again = ParseUrl(strAgain);
    RequireEqual(url.strScheme, again.strScheme, "scheme, written and read again");
    RequireEqual(url.strUser, again.strUser, "user, written and read again");
    RequireEqual(url.strHost, again.strHost, "host, written and read again");
    RequireEqual(url.usPort, again.usPort, "port, written and read again");
    RequireEqual(url.strPath, again.strPath, "path, written and read again");
    RequireEqual(url.bDirectory, again.bDirectory, "directory, written and read again");
}

void RequireMasked(const std::string& strText) {
    // Between "user:" and "@": there it is a password, whatever it looks like.
    const std::string strHolding = "get ftp://u:" + strText + kSecret + strText + "@host/a";
    Require(WithoutPasswords(strHolding).find(kSecret) == std::string::npos,
            "passwords of URLs are masked");
}

constexpr SScheme kSchemes[] = {
    {"ftp", 21, [] { return std::string("anonymous"); }, false, nullptr},
    {"sftp", 22, [] { return std::string("somebody"); }, true, nullptr},
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    const std::string strText = WithSecret(TextOf(pData, nSize));
    RequireMasked(strText);
    try {
        const SUrl url = ParseUrl(strText);
        RequireSound(url);
        RequireSame(url);
    } catch (const CUsageError& error) {
        const std::string strError = error.what();
        Require(strError.find(kSecret) == std::string::npos, "errors do not repeat the password");
        Require(!strError.empty(), "errors say something");
    }
    return 0;
}

}  // namespace QelFuzz

// The program's table leads to its sessions, which no target needs.

const qelftp::SScheme* qelftp::FindScheme(const std::string& strName) {
    for (const SScheme& scheme : QelFuzz::kSchemes)
        if (strName == scheme.pszName) return &scheme;
    return nullptr;
}

std::string qelftp::SupportedSchemes() {
    return "ftp://, sftp://";
}
