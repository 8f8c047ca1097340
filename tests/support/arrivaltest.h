#ifndef QEL_TESTS_SUPPORT_ARRIVALTEST_H
#define QEL_TESTS_SUPPORT_ARRIVALTEST_H

#include <gtest/gtest.h>

#include <string>

#include "tests/support/onebyte.h"
#include "tests/support/recordinglog.h"

namespace TestSupport {

inline std::string ArrivalName(EArrival eArrival) {
    return eArrival == EArrival::Whole ? "Whole" : "OneByte";
}

// A dialogue test that runs twice: with replies received as the server sent them, and with each of
// their bytes received by itself. Begins with an empty log and cleared counts.
//
//     class LoginTest : public ArrivalTest { ... };
//     QEL_BOTH_ARRIVALS(LoginTest);
//     TEST_P(LoginTest, Name) { ... }
class ArrivalTest : public testing::TestWithParam<EArrival> {
protected:
    ArrivalTest() : m_oneByte(GetParam() == EArrival::OneByte) {
        RecordingLog::Clear();
        OneByte::ClearCounts();
    }

    bool IsOneByte() const { return GetParam() == EArrival::OneByte; }

private:
    OneByte m_oneByte;
};

#define QEL_BOTH_ARRIVALS(suite)                                                       \
    INSTANTIATE_TEST_SUITE_P(                                                          \
        Arrival, suite,                                                                \
        testing::Values(TestSupport::EArrival::Whole, TestSupport::EArrival::OneByte), \
        [](const testing::TestParamInfo<TestSupport::EArrival>& tested) {              \
            return TestSupport::ArrivalName(tested.param);                             \
        })

}  // namespace TestSupport

#endif
