#ifndef QEL_TESTS_SUPPORT_RECORDINGLOG_H
#define QEL_TESTS_SUPPORT_RECORDINGLOG_H

#include <ostream>
#include <string>
#include <vector>

// Takes the place of the host's log in a test program: LogProcess::Error, LogProcess::Info,
// _Log_Affirm and the log filter are defined here, and an executable's definitions win over those
// of libqelplatform.so. The filter changes nothing, so that tests see the library's own texts; it
// only remembers what has passed through it. An entry leaves another errno behind.
//
//     RecordingLog::Clear();
//     ... the work ...
//     ASSERT_EQ(RecordingLog::Errors().size(), 1U);
//     EXPECT_EQ(RecordingLog::Errors()[0].strText, "[FTPCLIENT]...");
//
// One log per process; any thread.

namespace TestSupport {

struct SLogEntry {
    unsigned int uCode = 0;  // 0 for Info
    std::string strText;
    std::string strFile;
    std::string strFunction;
    int nLine = 0;
    bool bFiltered = false;  // the text went through the log filter before
};

// For messages of failing checks.
std::ostream& operator<<(std::ostream& stream, const SLogEntry& entry);

class RecordingLog {
public:
    static std::vector<SLogEntry> Errors();
    static std::vector<SLogEntry> Infos();
    static std::vector<SLogEntry> Affirms();
    // All of the three, in the order written.
    static std::vector<SLogEntry> All();
    static void Clear();

    // The texts alone: what most checks are about.
    static std::vector<std::string> ErrorTexts();
    static std::vector<std::string> InfoTexts();
};

}  // namespace TestSupport

#endif
