// A whole platform in one file, for a host whose texts are all UTF-8. Built as a shared library, or
// into the program, it stands in for the stand-alone platform.

#include <sys/random.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <mutex>
#include <set>

#include "platform/bounded.h"
#include "platform/cipher.h"
#include "platform/encoding.h"
#include "platform/files.h"
#include "platform/logging.h"
#include "platform/paths.h"
#include "platform/resources.h"
#include "platform/sftpwrapper.h"

// --- platform/logging.h: one line each on standard error. One call a line, so that lines of
// several threads do not mix.

LocationInfo::LocationInfo(const char* file, const char* function, int line)
    : m_pszFile(file), m_pszFunction(function), m_nLine(line) {}
const char* LocationInfo::File() const {
    return m_pszFile;
}
const char* LocationInfo::Function() const {
    return m_pszFunction;
}
int LocationInfo::Line() const {
    return m_nLine;
}

void LogProcess::Error(unsigned int code, const std::string& text, const LocationInfo& where) {
    std::fprintf(stderr, "host: error 0x%08x at %s: %s\n", code, where.Function(), text.c_str());
}
void LogProcess::Info(const std::string& /*text*/, const LocationInfo& /*where*/) {}
void _Log_Affirm(unsigned int code, const std::string& text, const LocationInfo& where) {
    LogProcess::Error(code, text, where);
}

_TraceFunction::_TraceFunction(const LocationInfo& where) : m_where(where) {}
_TraceFunction::~_TraceFunction() {}

TQ_UTIL::CWBLogFilter* TQ_UTIL::CWBLogFilter::getInstance() {
    static CWBLogFilter filter;
    return &filter;
}
std::string TQ_UTIL::CWBLogFilter::filter(const std::string& text) {
    const std::size_t nPassword = text.find("PASS ");
    std::string strLine = nPassword == std::string::npos ? text : text.substr(0, nPassword + 4);
    for (char& ch : strLine)
        if (static_cast<unsigned char>(ch) < ' ' || ch == '\x7f') ch = '?';
    return strLine;
}

// --- platform/cipher.h: the text under a random pad that stands beside it. This keeps secrets out
// of sight and no more; a host has a key store.

TQ_UTIL::CcipheString::CcipheString() = default;

TQ_UTIL::CcipheString::CcipheString(const std::string& plain)
    : m_strEnciphered(2 * plain.size(), '\0') {
    std::size_t nPad = 0;
    while (nPad < plain.size()) {
        const ssize_t nGot = getrandom(&m_strEnciphered[nPad], plain.size() - nPad, 0);
        if (nGot > 0) nPad += static_cast<std::size_t>(nGot);
    }
    for (std::size_t i = 0; i < plain.size(); ++i)
        m_strEnciphered[plain.size() + i] = static_cast<char>(plain[i] ^ m_strEnciphered[i]);
}

int TQ_UTIL::CcipheString::GetOriginalStr(WBAutoPassword& plain) const {
    const std::size_t nSize = m_strEnciphered.size() / 2;
    std::string strPlain(nSize, '\0');
    for (std::size_t i = 0; i < nSize; ++i)
        strPlain[i] = static_cast<char>(m_strEnciphered[i] ^ m_strEnciphered[nSize + i]);
    plain.SetPassword(strPlain.data(), static_cast<unsigned int>(nSize));
    memset_s(&strPlain[0], nSize, 0, nSize);
    return 0;
}

namespace {

class CAdapter : public TQ_UTIL::ISovAdapter {
public:
    int Reserved01() override { return -1; }
    int Reserved02() override { return -1; }
    int Reserved03() override { return -1; }
    int Reserved04() override { return -1; }
    int Reserved05() override { return -1; }
    int Reserved06() override { return -1; }
    int Reserved07() override { return -1; }
    int Decipher(const TQ_UTIL::CcipheString* secret, TQ_UTIL::WBAutoPassword* plain) override {
        return secret->GetOriginalStr(*plain);
    }
};

}  // namespace

TQ_UTIL::ISovAdapter* TQ_UTIL::CWBSovAdapterFactory::getSovInterface() {
    static CAdapter adapter;
    return &adapter;
}

// --- platform/encoding.h and platform/files.h: names are UTF-8 on this host as they are.

std::string ZeltGlobalUtils::UTF8TOLOC(const char* utf8) {
    return utf8 != nullptr ? utf8 : "";
}
std::string ZeltGlobalUtils::LOCTOUTF8(const char* text) {
    return text != nullptr ? text : "";
}

FILE* ZELT_OS::fopen(const char* utf8Path, const char* mode, const char* /*encoding*/) {
    return ::fopen(utf8Path, mode);
}
int ZELT_OS::access(const char* path, int mode, const char* /*encoding*/) {
    return ::access(path, mode);
}

// --- platform/paths.h: below it are the SFTP wrapper and its configuration.

int TQ_UTIL::SovGetServerPath_WB(std::string& path) {
    const char* pszPath = std::getenv("HOST_SERVER_PATH");
    path = pszPath != nullptr ? pszPath : "/opt/host/server";
    return 1;
}
int tq_zeltsdk_wrap::SovGetServerPath(std::string& out, const std::string& /*component*/,
                                      const std::string& /*instance*/) {
    return TQ_UTIL::SovGetServerPath_WB(out);
}
void TQ_UTIL::AppendDirSeparator(std::string& path) {
    if (path.empty() || path.back() != '/') path += '/';
}

// --- platform/resources.h: "key=value" lines.

namespace {

struct SResources {
    std::mutex mutex;
    std::set<std::string> texts;  // never erased: what was handed out stays valid
    std::map<std::string, const char*> byKey;
};

SResources& Resources() {
    static auto* const pResources = new SResources;  // outlives threads that run at exit
    return *pResources;
}

}  // namespace

int ZeltAddResFileWithAbsolute(const std::string& absolutePath) {
    std::ifstream file(absolutePath);
    if (!file) return 0;
    SResources& resources = Resources();
    const std::lock_guard<std::mutex> guard(resources.mutex);
    for (std::string strLine; std::getline(file, strLine);) {
        const std::size_t nEquals = strLine.find('=');
        if (strLine[0] == '#' || nEquals == std::string::npos) continue;
        const auto text = resources.texts.insert(strLine.substr(nEquals + 1)).first;
        resources.byKey[strLine.substr(0, nEquals)] = text->c_str();
    }
    return 1;
}
const char* ZeltGetResString(const std::string& key) {
    SResources& resources = Resources();
    const std::lock_guard<std::mutex> guard(resources.mutex);
    const auto found = resources.byKey.find(key);
    return found != resources.byKey.end() ? found->second : nullptr;
}

// --- platform/bounded.h

int memcpy_s(void* dest, std::size_t destSize, const void* src, std::size_t count) {
    if (dest == nullptr) return EINVAL;
    if (src == nullptr || count > destSize) {
        std::memset(dest, 0, destSize);
        return ERANGE;
    }
    std::memcpy(dest, src, count);
    return 0;
}
int memset_s(void* dest, std::size_t destSize, int c, std::size_t count) {
    if (dest == nullptr || count > destSize) return ERANGE;
    // Through a volatile pointer: the compiler drops other stores to memory that is freed next.
    volatile unsigned char* pByte = static_cast<unsigned char*>(dest);
    for (std::size_t i = 0; i < count; ++i)
        pByte[i] = static_cast<unsigned char>(c);
    return 0;
}
int strncpy_s(char* dest, std::size_t destSize, const char* src, std::size_t count) {
    if (dest == nullptr || destSize == 0) return EINVAL;
    dest[0] = '\0';
    const std::size_t nLength = src != nullptr ? strnlen(src, count) : destSize;
    if (nLength >= destSize) return ERANGE;
    std::memcpy(dest, src, nLength);
    dest[nLength] = '\0';
    return 0;
}
int snprintf_s(char* dest, std::size_t destSize, std::size_t count, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int nLength = std::vsnprintf(dest, destSize, format, arguments);
    va_end(arguments);
    const auto uLength = static_cast<std::size_t>(nLength);
    if (nLength >= 0 && uLength < destSize && uLength <= count) return nLength;
    if (destSize > 0) dest[0] = '\0';
    return -1;
}

// --- platform/sftpwrapper.h: what the library and the SFTP wrapper share.

int kavo_sftp_malloc(void** out, std::size_t size) {
    *out = std::malloc(size);
    return *out != nullptr ? 0 : -1;
}
void kavo_sftp_free(void* block) {
    std::free(block);
}
