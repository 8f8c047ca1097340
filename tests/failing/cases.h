#ifndef QEL_TESTS_FAILING_CASES_H
#define QEL_TESTS_FAILING_CASES_H

#include <functional>
#include <string>
#include <vector>

#include "tests/failing/calls.h"
#include "tests/failing/outcome.h"

namespace FailingTest {

struct SCase {
    const SFailure* pFailure;
    long nAt;

    // "malloc_ENOMEM, n = 17"
    std::string Name() const;
};

struct SResult {
    SCase which;
    SOutcome outcome;
    std::string strEnd;  // how its process ended, if not in order
};

// Runs each case in a process of its own, several at a time; one that takes too long is ended and
// says so in strEnd. The calling process must have no other thread.
std::vector<SResult> RunInProcesses(const std::vector<SCase>& cases,
                                    const std::function<SOutcome(const SCase&)>& run);

// All the ways to fail.
extern const std::vector<SFailure> kFailures;

// The failures of all calls that an operation makes, one case for each n of each. Under a sanitizer
// every eighth allocation only, which the dev build has all of. With QEL_FAIL_N=n in the
// environment only the n-th calls, all of them; QEL_FAIL=malloc_ENOMEM only that failure.
std::vector<SCase> CasesOf(const SCounts& counts);

}  // namespace FailingTest

#endif
