#ifndef QEL_TESTS_SESSION_FIXTURE_H
#define QEL_TESTS_SESSION_FIXTURE_H

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>

#include "include/ftpclient.h"
#include "tests/session/descriptors.h"
#include "tests/session/steps.h"
#include "tests/support/onebyte.h"
#include "tests/support/recordinglog.h"
#include "tests/support/scriptedserver.h"

namespace SessionTest {

using namespace TestSupport;

class Stopwatch {
public:
    Millis Elapsed() const { return std::chrono::duration_cast<Millis>(Clock::now() - m_start); }

private:
    Clock::time_point m_start = Clock::now();
};

// Printed with the milliseconds when it fails.
#define EXPECT_BETWEEN(elapsed, least, most)     \
    do {                                         \
        const auto nElapsed = (elapsed).count(); \
        EXPECT_GE(nElapsed, (least));            \
        EXPECT_LE(nElapsed, (most));             \
    } while (false)

// What every test checks at its end: no descriptor is left open. For this each test's server and
// client are objects of the test's own body.
class CDialogue {
public:
    CDialogue() { RecordingLog::Clear(); }
    ~CDialogue() { EXPECT_EQ(OpenDescriptors(), m_before) << "descriptors are left open"; }
    CDialogue(const CDialogue&) = delete;
    CDialogue& operator=(const CDialogue&) = delete;

private:
    std::set<int> m_before = OpenDescriptors();
};

// A dialogue whose outcome depends on how replies are cut, or that takes its time.
class Dialogue : public testing::Test {
    CDialogue m_dialogue;
};

// A dialogue that is played twice: with replies as the server sends them, and byte by byte.
class EachArrival : public testing::TestWithParam<EArrival> {
    CDialogue m_dialogue;
    OneByte m_oneByte{GetParam() == EArrival::OneByte};
};

inline std::string NameOfArrival(const testing::TestParamInfo<EArrival>& param) {
    return param.param == EArrival::Whole ? "Whole" : "OneByte";
}

#define PLAY_IN_EACH_ARRIVAL(fixture)          \
    INSTANTIATE_TEST_SUITE_P(Replies, fixture, \
                             testing::Values(EArrival::Whole, EArrival::OneByte), NameOfArrival)

// The exported client for a scripted server. Waits are short, but leave a loaded machine room.
class CClient : public RVN_FTP_CLIENT::CFtpClient {
public:
    explicit CClient(unsigned short usPort)
        : CFtpClient("127.0.0.1", usPort, "bob", TQ_UTIL::CcipheString("tea")) {
        setParam(5, 1, 1);
    }
    explicit CClient(const ScriptedServer& server) : CClient(server.Port()) {}

    // Close for a session whose script ends with Quit(). A session that is out of step reads
    // another reply than the 221.
    void CloseInOrder() {
        EXPECT_EQ(Close(), 0U);
        for (const std::string& strText : RecordingLog::ErrorTexts())
            EXPECT_EQ(strText.find("Ftp_quit"), std::string::npos) << strText;
    }
};

// The codes and texts of all error records.
inline std::string ErrorLog() {
    std::string strLog;
    for (const SLogEntry& entry : RecordingLog::Errors()) {
        char szCode[16];
        std::snprintf(szCode, sizeof szCode, "%x ", entry.uCode);
        strLog += szCode + entry.strText + '\n';
    }
    return strLog;
}

}  // namespace SessionTest

#endif
