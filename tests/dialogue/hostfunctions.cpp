#include "tests/dialogue/hostfunctions.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <optional>

#include "platform/bounded.h"
#include "platform/cipher.h"
#include "platform/encoding.h"

namespace Host {
namespace {

struct SOrders {
    std::optional<std::string> formatLeft;
    int nCopyResult = 0;
    std::string strCopyLeft;
    std::string strFront;
    bool bFailToDecipher = false;
    std::vector<SFill> fills;
    std::vector<SBound> bounds;
};

SOrders g_orders;  // one thread: that of the test

template <typename T>
T Next(const char* pszName) {
    return reinterpret_cast<T>(::dlsym(RTLD_NEXT, pszName));
}

void Leave(char* pszDest, std::size_t nSize, const std::string& strText) {
    const std::size_t nLength = std::min(strText.size(), nSize - 1);
    strText.copy(pszDest, nLength);
    pszDest[nLength] = '\0';
}

}  // namespace

void Restore() {
    g_orders = SOrders();
}

void FailToFormat(const std::string& strLeft) {
    g_orders.formatLeft = strLeft;
}

void FailToCopyPaths(int nResult, const std::string& strLeft) {
    g_orders.nCopyResult = nResult;
    g_orders.strCopyLeft = strLeft;
}

void PutInFrontOfLocalText(const std::string& strFront) {
    g_orders.strFront = strFront;
}

void FailToDecipher() {
    g_orders.bFailToDecipher = true;
}

std::vector<SFill> Fills() {
    return g_orders.fills;
}

std::vector<SBound> Bounds() {
    return g_orders.bounds;
}

}  // namespace Host

extern "C" int snprintf_s(char* dest, std::size_t destSize, std::size_t count, const char* format,
                          ...) {
    if (Host::g_orders.formatLeft) {
        Host::Leave(dest, destSize, *Host::g_orders.formatLeft);
        return -1;
    }
    const std::size_t nRoom = std::min(destSize, count + 1);
    std::va_list arguments;
    va_start(arguments, format);
    const int nLength = std::vsnprintf(dest, nRoom, format, arguments);
    va_end(arguments);
    Host::g_orders.bounds.push_back({dest, destSize, count});
    return nLength < 0 || static_cast<std::size_t>(nLength) >= nRoom ? -1 : nLength;
}

extern "C" int strncpy_s(char* dest, std::size_t destSize, const char* src, std::size_t count) {
    static const auto next =
        Host::Next<int (*)(char*, std::size_t, const char*, std::size_t)>("strncpy_s");
    if (Host::g_orders.nCopyResult == 0 || *src != '/') {
        const int nResult = next(dest, destSize, src, count);
        Host::g_orders.bounds.push_back({dest, destSize, count});
        return nResult;
    }
    Host::Leave(dest, destSize, Host::g_orders.strCopyLeft);
    return Host::g_orders.nCopyResult;
}

extern "C" int memset_s(void* dest, std::size_t destSize, int c, std::size_t count) {
    static const auto next = Host::Next<int (*)(void*, std::size_t, int, std::size_t)>("memset_s");
    // Only the command buffers, all of whose bytes are known to be initialised.
    if (c == '*') {
        const std::string strBefore(static_cast<const char*>(dest), destSize);
        Host::g_orders.fills.push_back({strBefore, destSize, c, count});
    }
    return next(dest, destSize, c, count);
}

std::string ZeltGlobalUtils::UTF8TOLOC(const char* utf8) {
    static const auto next =
        Host::Next<std::string (*)(const char*)>("_ZN15ZeltGlobalUtils9UTF8TOLOCB5cxx11EPKc");
    return Host::g_orders.strFront + next(utf8);
}

int TQ_UTIL::CcipheString::GetOriginalStr(WBAutoPassword& plain) const {
    static const auto next = Host::Next<int (*)(const CcipheString*, WBAutoPassword&)>(
        "_ZNK7TQ_UTIL12CcipheString14GetOriginalStrERNS_14WBAutoPasswordE");
    return Host::g_orders.bFailToDecipher ? -1 : next(this, plain);
}
