#ifndef QEL_FUZZ_REQUIRE_H
#define QEL_FUZZ_REQUIRE_H

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>

namespace QelFuzz {

// What every target of this folder defines. The bytes are borrowed.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize);

inline std::string_view TextOf(const std::uint8_t* pData, std::size_t nSize) {
    return {reinterpret_cast<const char*>(pData), nSize};
}

// A broken rule ends the program, which makes the input a finding.
inline void Require(bool bHolds, std::string_view strRule) {
    if (bHolds) return;
    std::cerr << "Broken rule: " << strRule << std::endl;
    std::abort();
}

template <typename Value>
void RequireEqual(const Value& expected, const Value& actual, std::string_view strRule) {
    if (expected == actual) return;
    std::cerr << "Broken rule: " << strRule << "\nexpected: " << expected
              << "\nactual:   " << actual << std::endl;
    std::abort();
}

// Takes the text up to a separator, and the separator, off the front; all of it without one.
inline std::string_view TakeUntil(std::string_view& strRest, char cSeparator) {
    const std::size_t nEnd = strRest.find(cSeparator);
    const std::string_view strTaken = strRest.substr(0, nEnd);
    strRest.remove_prefix(nEnd == std::string_view::npos ? strRest.size() : nEnd + 1);
    return strTaken;
}

}  // namespace QelFuzz

#endif
