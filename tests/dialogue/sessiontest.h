#ifndef QEL_TESTS_DIALOGUE_SESSIONTEST_H
#define QEL_TESTS_DIALOGUE_SESSIONTEST_H

#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include <atomic>
#include <cctype>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "src/ftp/ftpcommand.h"
#include "tests/support/onebyte.h"
#include "tests/support/recordinglog.h"
#include "tests/support/scriptedserver.h"

// The command object of one session and what its tests need, independent of the kind of test.
class CSession {
public:
    CSession() {
        TestSupport::RecordingLog::Clear();
        TestSupport::OneByte::ClearCounts();
        m_command.m_strUser = "bob";
        m_command.m_Password = TQ_UTIL::CcipheString("tea");
    }
    ~CSession() {
        m_command.m_DataSock.close();
        m_command.m_ListenSock.close();
        m_command.m_CtrlSock.close();
    }
    CSession(const CSession&) = delete;
    CSession& operator=(const CSession&) = delete;

    void SetServer(unsigned short usPort) {
        m_command.m_strServer = "127.0.0.1";
        m_command.m_nServerPort = usPort;
    }

    // Opens the control connection and nothing more: the script says no greeting.
    void Connect(const TestSupport::ScriptedServer& server) {
        SetServer(server.Port());
        RVN_FTP_CLIENT::FtpSockParam param;
        param.strHost = m_command.m_strServer;
        param.nPort = server.Port();
        ASSERT_EQ(m_command.Connect(param, 5), 0);
        m_fdControl = m_command.m_CtrlSock.get_handle();
        TestSupport::OneByte::ClearCounts();
    }

    void SetTimes(unsigned short usConnTimeout, unsigned short usRetryTimes,
                  unsigned short usRetryTimeout) {
        m_command.m_nConnTimeout = usConnTimeout;
        m_command.m_nRetryTimes = usRetryTimes;
        m_command.m_nRetryTimeout = usRetryTimeout;
    }

    // A step that waits until the client has received all that was said: what is said next then is
    // a piece of its own. Looks twice, for what was said may still be on its way at first.
    TestSupport::SStep Taken() {
        return TestSupport::Do([this] {
            int nTimesEmpty = 0;
            for (int i = 0; i < 1500 && nTimesEmpty < 2; ++i) {
                std::this_thread::sleep_for(TestSupport::Millis(10));
                int nWaiting = 1;
                const int fd = m_fdControl;
                const bool bEmpty =
                    fd != -1 && ::ioctl(fd, FIONREAD, &nWaiting) == 0 && nWaiting == 0;
                nTimesEmpty = bEmpty ? nTimesEmpty + 1 : 0;
            }
            if (nTimesEmpty < 2) throw std::runtime_error("the client does not read");
        });
    }

    RVN_FTP_CLIENT::CFtpComand m_command;

private:
    std::atomic<int> m_fdControl{-1};
};

// A text as part of a test's name: blanks and line ends become "_", other marks their number.
inline std::string NameOf(const std::string& strText) {
    std::string strName;
    for (const char c : strText) {
        const auto uByte = static_cast<unsigned char>(c);
        if (std::isalnum(uByte) != 0 || c == '_') {
            strName += c;
        } else if (std::isspace(uByte) == 0) {
            strName += "_" + std::to_string(uByte);
        } else if (strName.empty() || strName.back() != '_') {
            strName += '_';
        }
    }
    return strName;
}

// The texts of a log.
using Texts = std::vector<std::string>;

// The one error that was logged; a failure when there are more or none.
inline TestSupport::SLogEntry OnlyError() {
    const auto errors = TestSupport::RecordingLog::Errors();
    EXPECT_EQ(errors.size(), 1U) << testing::PrintToString(errors);
    return errors.empty() ? TestSupport::SLogEntry() : errors[0];
}

// The error text of the reply reader when nothing usable came.
inline std::string BlankLine(const std::string& strText = "") {
    return "[FTPCLIENT]GetRetCode error : get response is blank line:" + strText;
}

#endif
