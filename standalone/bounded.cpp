#include "platform/bounded.h"

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace {

// A larger size is a negative number in disguise: nothing is written then, not even zeroes
// (ISO C11, K.3.2).
constexpr std::size_t kMaxSize = SIZE_MAX / 2;

bool IsWritable(const void* dest, std::size_t destSize) {
    return dest != nullptr && destSize > 0 && destSize <= kMaxSize;
}

bool Overlap(const void* pFirst, std::size_t nFirst, const void* pSecond, std::size_t nSecond) {
    const auto uFirst = reinterpret_cast<std::uintptr_t>(pFirst);
    const auto uSecond = reinterpret_cast<std::uintptr_t>(pSecond);
    return uFirst < uSecond + nSecond && uSecond < uFirst + nFirst;
}

int FailZeroed(void* dest, std::size_t destSize, int nError) {
    if (IsWritable(dest, destSize)) std::memset(dest, 0, destSize);
    return nError;
}

int FailEmpty(char* dest, std::size_t destSize, int nError) {
    if (IsWritable(dest, destSize)) dest[0] = '\0';
    return nError;
}

}  // namespace

int memcpy_s(void* dest, std::size_t destSize, const void* src, std::size_t count) {
    if (dest == nullptr || src == nullptr) return FailZeroed(dest, destSize, EINVAL);
    if (destSize > kMaxSize || count > destSize) return FailZeroed(dest, destSize, ERANGE);
    if (Overlap(dest, count, src, count)) return FailZeroed(dest, destSize, EINVAL);
    std::memcpy(dest, src, count);
    return 0;
}

int memset_s(void* dest, std::size_t destSize, int c, std::size_t count) {
    if (dest == nullptr) return EINVAL;
    if (destSize > kMaxSize || count > destSize) return FailZeroed(dest, destSize, ERANGE);
    std::memset(dest, c, count);
    // The compiler must assume that someone reads the bytes, also when it optimises whole programs.
    __asm__ __volatile__("" : : "r"(dest) : "memory");
    return 0;
}

int strncpy_s(char* dest, std::size_t destSize, const char* src, std::size_t count) {
    if (dest == nullptr || src == nullptr) return FailEmpty(dest, destSize, EINVAL);
    if (destSize > kMaxSize || count > kMaxSize) return FailEmpty(dest, destSize, ERANGE);
    const std::size_t nLength = strnlen(src, count < destSize ? count : destSize);
    if (nLength >= destSize) return FailEmpty(dest, destSize, ERANGE);
    if (Overlap(dest, nLength + 1, src, nLength)) return FailEmpty(dest, destSize, EINVAL);
    std::memcpy(dest, src, nLength);
    dest[nLength] = '\0';
    return 0;
}

int snprintf_s(char* dest, std::size_t destSize, std::size_t count, const char* format, ...) {
    if (!IsWritable(dest, destSize) || format == nullptr) return FailEmpty(dest, destSize, -1);
    std::va_list arguments;
    va_start(arguments, format);
    const int nLength = std::vsnprintf(dest, destSize, format, arguments);
    va_end(arguments);
    const auto uLength = static_cast<std::size_t>(nLength);
    if (nLength < 0 || uLength >= destSize || uLength > count) return FailEmpty(dest, destSize, -1);
    return nLength;
}
