#ifndef QEL_TESTS_SESSION_TRANSFERFIXTURE_H
#define QEL_TESTS_SESSION_TRANSFERFIXTURE_H

#include <string>
#include <vector>

#include "src/ftp/ftpcommand.h"
#include "tests/session/fixture.h"

namespace SessionTest {

// The command layer of one session, connected and greeted, not logged in: transfers need no more.
class CCommand : public RVN_FTP_CLIENT::CFtpComand {
public:
    explicit CCommand(const ScriptedServer& server, unsigned short usConnTimeout = 5,
                      unsigned short usRetryTimes = 1, unsigned short usRetryTimeout = 1) {
        m_strServer = server.Host();
        m_nServerPort = server.Port();
        m_nConnTimeout = usConnTimeout;
        m_nRetryTimes = usRetryTimes;
        m_nRetryTimeout = usRetryTimeout;
        EXPECT_EQ(Ftp_connect(), 0U);
    }

    // The session's end, before which it must be in step: its last reply is that to PWD, and no
    // earlier one. The script ends with InStep().
    void EndInStep() {
        std::string strPath;
        EXPECT_EQ(FTP_pwd(strPath), 0U);
        EXPECT_EQ(strPath, "/in/step");
        EXPECT_EQ(RecordingLog::InfoTexts().back(),
                  "[FTPCLIENT]GetRetCode msg begin:257 \"/in/step\"\r\n :end by using 0 times\n");
        EXPECT_EQ(CloseAll(), 0U);
    }
};

inline SStep Greet() {
    return Say("220 ready\r\n");
}

inline SStep InStep() {
    return Sequence({On("PWD", "257 \"/in/step\""), ExpectClose()});
}

// Greeting, the steps, and the check that the session is in step.
inline std::vector<SStep> Transfer(std::vector<SStep> steps) {
    steps.insert(steps.begin(), Greet());
    steps.push_back(InStep());
    return steps;
}

}  // namespace SessionTest

#endif
