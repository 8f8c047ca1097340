#ifndef QEL_TESTS_FAILING_ALLOWED_H
#define QEL_TESTS_FAILING_ALLOWED_H

#include <set>
#include <string>

#include "tests/failing/calls.h"

namespace FailingTest {

// How an operation of the FTP client may end when one of its calls fails.
struct SAllowed {
    std::set<unsigned int> codes;
    bool bBadAlloc = false;
};

// No codes: the operation has no such calls.
SAllowed AllowedEnds(const std::string& strOperation, bool bVerify, const SFailure& failure);

}  // namespace FailingTest

#endif
