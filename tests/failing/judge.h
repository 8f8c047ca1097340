#ifndef QEL_TESTS_FAILING_JUDGE_H
#define QEL_TESTS_FAILING_JUDGE_H

#include <functional>
#include <string>
#include <vector>

#include "tests/failing/allowed.h"
#include "tests/failing/cases.h"

namespace FailingTest {

// Checks every result, and prints each that is wrong with the n that repeats it.
// strCommand: what to run for that. nMaxMs: of an operation, with all its time-outs.
void ExpectAllowed(const std::vector<SResult>& results, const std::string& strCommand, int nMaxMs,
                   const std::function<SAllowed(const SFailure&)>& allowed);

}  // namespace FailingTest

#endif
