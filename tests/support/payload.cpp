#include "tests/support/payload.h"

#include <algorithm>

namespace TestSupport {
namespace {

// The output function of SplitMix64 over the position.
std::uint64_t Mix(std::uint64_t uValue) {
    uValue = (uValue ^ (uValue >> 30)) * 0xbf58476d1ce4e5b9U;
    uValue = (uValue ^ (uValue >> 27)) * 0x94d049bb133111ebU;
    return uValue ^ (uValue >> 31);
}

int ByteAt(const std::string& strBytes, std::size_t nAt) {
    return nAt < strBytes.size() ? static_cast<unsigned char>(strBytes[nAt]) : -1;
}

}  // namespace

std::string Payload(std::size_t nSize, std::uint64_t uSeed) {
    constexpr std::size_t kWord = sizeof(std::uint64_t);
    std::string strBytes(nSize, '\0');
    std::uint64_t uWord = 0;
    for (std::size_t i = 0; i < nSize; ++i) {
        if (i % kWord == 0) uWord = Mix((i / kWord + 1) * 0x9e3779b97f4a7c15U + uSeed);
        strBytes[i] = static_cast<char>(uWord & 0xFF);
        uWord >>= 8;
    }
    return strBytes;
}

testing::AssertionResult SamePayload(const std::string& strExpected, const std::string& strActual) {
    if (strExpected == strActual) return testing::AssertionSuccess();
    const std::size_t nCommon = std::min(strExpected.size(), strActual.size());
    const auto differs = std::mismatch(strExpected.begin(),
                                       strExpected.begin() + static_cast<std::ptrdiff_t>(nCommon),
                                       strActual.begin());
    const auto nAt = static_cast<std::size_t>(differs.first - strExpected.begin());
    return testing::AssertionFailure()
           << "expected " << strExpected.size() << " bytes, got " << strActual.size()
           << "; first difference at offset " << nAt << ": expected " << ByteAt(strExpected, nAt)
           << ", got " << ByteAt(strActual, nAt) << " (-1: no byte there)";
}

}  // namespace TestSupport
