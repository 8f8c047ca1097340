#ifndef QEL_TESTS_DIALOGUE_HOSTFUNCTIONS_H
#define QEL_TESTS_DIALOGUE_HOSTFUNCTIONS_H

#include <cstddef>
#include <string>
#include <vector>

// Functions of another host than the stand-alone one, which this test program defines in its place:
// snprintf_s leaves the truncated text when it does not fit, and the others do as they are told
// here. memset_s, strncpy_s, UTF8TOLOC and GetOriginalStr pass on what they are not told about.

namespace Host {

void Restore();  // all that follows undone

// snprintf_s fails each time and leaves this text.
void FailToFormat(const std::string& strLeft);

// strncpy_s returns this result for texts that begin with a slash, leaving what stands in strLeft.
void FailToCopyPaths(int nResult, const std::string& strLeft);

// UTF8TOLOC puts this in front of a text.
void PutInFrontOfLocalText(const std::string& strFront);

// GetOriginalStr fails.
void FailToDecipher();

// One call of memset_s.
struct SFill {
    std::string strBefore;  // what stood there
    std::size_t nSize = 0;
    int nByte = 0;
    std::size_t nCount = 0;
};
std::vector<SFill> Fills();

// How each text was bounded that snprintf_s or strncpy_s wrote.
struct SBound {
    std::string strText;
    std::size_t nSize = 0;   // of the buffer
    std::size_t nCount = 0;  // of the text at most
};
std::vector<SBound> Bounds();

}  // namespace Host

#endif
