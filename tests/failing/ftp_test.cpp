// The operations of the FTP client with each of their calls failing in turn.
//
// QEL_FAIL and QEL_FAIL_N in the environment choose one failure and one n, see cases.h.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/failing/cases.h"
#include "tests/failing/ftpoperations.h"
#include "tests/failing/judge.h"

using namespace FailingTest;

namespace {

// The data connection may be silent for five seconds, and each of the replies for one and one more.
constexpr int kMaxMs = 10000;

struct SParameter {
    const SFtpOperation* pOperation;
    bool bVerify;
};

std::string NameOf(const SParameter& parameter) {
    return std::string(parameter.pOperation->pszName) + (parameter.bVerify ? "_verified" : "");
}

std::ostream& operator<<(std::ostream& stream, const SParameter& parameter) {
    return stream << NameOf(parameter);
}

class FtpOperation : public testing::TestWithParam<SParameter> {};

TEST_P(FtpOperation, EndsWellWhateverCallFails) {
    const SFtpOperation& operation = *GetParam().pOperation;
    const bool bVerify = GetParam().bVerify;
    // Once before: what is made at first use belongs to the process.
    ASSERT_EQ(RunFtp(operation, bVerify, nullptr, 0).uCode, 0U);
    const SOutcome whole = RunFtp(operation, bVerify, nullptr, 0);
    ASSERT_STREQ(whole.szProblem, "");
    ASSERT_EQ(whole.uCode, 0U);
    ExpectAllowed(
        RunInProcesses(CasesOf(whole.counts),
                       [&](const SCase& which) {
                           return RunFtp(operation, bVerify, which.pFailure, which.nAt);
                       }),
        "failing_ftp_test --gtest_filter=*/" + NameOf(GetParam()), kMaxMs,
        [&](const SFailure& failure) { return AllowedEnds(operation.pszName, bVerify, failure); });
}

// What is made at first use, with its allocations failing: the next use makes it.
TEST(FtpFirstUse, EndsWellWhateverCallFails) {
    const SFtpOperation& login = kFtpOperations.front();
    const std::vector<SResult> counted = RunInProcesses(
        {{nullptr, 0}}, [&](const SCase&) { return RunFtp(login, false, nullptr, 0); });
    ASSERT_EQ(counted[0].strEnd, "");
    ExpectAllowed(RunInProcesses(
                      CasesOf(counted[0].outcome.counts),
                      [&](const SCase& which) {
                          SOutcome outcome = RunFtp(login, false, which.pFailure, which.nAt);
                          // Blocks are no leak here.
                          if (std::string(outcome.szProblem).find("not freed") != std::string::npos)
                              outcome.szProblem[0] = '\0';
                          return outcome;
                      }),
                  "failing_ftp_test --gtest_filter=FtpFirstUse.*", kMaxMs,
                  [&](const SFailure& failure) { return AllowedEnds("login", false, failure); });
}

std::vector<SParameter> All() {
    std::vector<SParameter> all;
    for (const SFtpOperation& operation : kFtpOperations)
        for (const bool bVerify : {false, true})
            all.push_back({&operation, bVerify});
    return all;
}

INSTANTIATE_TEST_SUITE_P(Each, FtpOperation, testing::ValuesIn(All()),
                         [](const testing::TestParamInfo<SParameter>& parameter) {
                             return NameOf(parameter.param);
                         });

}  // namespace
