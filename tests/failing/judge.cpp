#include "tests/failing/judge.h"

#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

namespace FailingTest {
namespace {

std::string Hex(unsigned int uCode) {
    std::ostringstream text;
    text << "0x" << std::hex << uCode;
    return text.str();
}

std::string EndOf(const SOutcome& outcome) {
    if (outcome.eEnd == EEnd::BadAlloc) return "std::bad_alloc";
    return outcome.eEnd == EEnd::OtherException ? "another exception" : Hex(outcome.uCode);
}

// A case whose call was not made this time (what comes in one piece or in two is a matter of time)
// is one of success.
bool IsAllowed(const SOutcome& outcome, const SAllowed& allowed) {
    if (outcome.eEnd == EEnd::BadAlloc) return allowed.bBadAlloc && outcome.counts.nFailed > 0;
    if (outcome.eEnd != EEnd::Returned) return false;
    return outcome.counts.nFailed == 0 ? outcome.uCode == 0
                                       : allowed.codes.count(outcome.uCode) != 0;
}

std::string Expected(const SAllowed& allowed) {
    std::string strText = allowed.bBadAlloc ? "std::bad_alloc " : "";
    for (const unsigned int uCode : allowed.codes)
        strText += Hex(uCode) + " ";
    return strText.empty() ? "(no such call)" : strText;
}

}  // namespace

void ExpectAllowed(const std::vector<SResult>& results, const std::string& strCommand, int nMaxMs,
                   const std::function<SAllowed(const SFailure&)>& allowed) {
    long nReached = 0;
    for (const SResult& result : results) {
        const SOutcome& outcome = result.outcome;
        const SFailure& failure = *result.which.pFailure;
        const std::string strCase =
            result.which.Name() + "\nto repeat: QEL_FAIL=" + failure.pszName +
            " QEL_FAIL_N=" + std::to_string(result.which.nAt) + " " + strCommand;
        nReached += outcome.counts.nFailed > 0 ? 1 : 0;
        if (!result.strEnd.empty()) {
            ADD_FAILURE() << "its process " << result.strEnd << ": " << strCase;
            continue;
        }
        if (!IsAllowed(outcome, allowed(failure)))
            ADD_FAILURE() << "ends with " << EndOf(outcome) << " instead of "
                          << Expected(allowed(failure)) << ": " << strCase;
        if (outcome.szProblem[0] != '\0')
            ADD_FAILURE() << outcome.szProblem << ", after " << EndOf(outcome) << ": " << strCase;
        EXPECT_LE(outcome.nElapsedMs, nMaxMs) << strCase;
    }
    EXPECT_GT(nReached, 0) << "nothing failed";
    std::cout << results.size() << " cases, " << nReached << " failed as told\n";
}

}  // namespace FailingTest
