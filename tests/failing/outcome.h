#ifndef QEL_TESTS_FAILING_OUTCOME_H
#define QEL_TESTS_FAILING_OUTCOME_H

#include <string>

#include "tests/failing/calls.h"

namespace FailingTest {

// How an operation ended.
enum class EEnd { Returned, BadAlloc, OtherException };

// What a case's process tells about it. Plain bytes, for they go through a pipe.
struct SOutcome {
    EEnd eEnd = EEnd::Returned;
    unsigned int uCode = 0;
    int nElapsedMs = 0;  // of the operation alone
    SCounts counts;
    char szProblem[480] = "";  // the first thing that is wrong whatever the operation may return

    void Problem(const std::string& strProblem) {
        if (szProblem[0] == '\0') strProblem.copy(szProblem, sizeof szProblem - 1);
    }
};

}  // namespace FailingTest

#endif
