#ifndef QEL_TESTS_DIALOGUE_TRANSPORTTEST_H
#define QEL_TESTS_DIALOGUE_TRANSPORTTEST_H

#include <gtest/gtest.h>

#include <string>

#include "src/ftp/ftpclientcom.h"
#include "tests/dialogue/hooks.h"
#include "tests/support/recordinglog.h"
#include "tests/support/scriptedserver.h"

// The sockets of a session by themselves.
class TransportTest : public testing::Test {
protected:
    TransportTest() {
        TestSupport::RecordingLog::Clear();
        Hooks::ClearSleeps();
    }
    ~TransportTest() override {
        m_com.m_DataSock.close();
        m_com.m_ListenSock.close();
        m_com.m_CtrlSock.close();
    }

    static RVN_FTP_CLIENT::FtpSockParam Param(unsigned short usPort, int bPasv = 1) {
        RVN_FTP_CLIENT::FtpSockParam param;
        param.strHost = "127.0.0.1";
        param.nPort = usPort;
        param.bPasv = bPasv;
        return param;
    }

    void Connect(const TestSupport::ScriptedServer& server, int bPasv = 1) {
        ASSERT_EQ(m_com.Connect(Param(server.Port(), bPasv), 5), 0);
    }

    RVN_FTP_CLIENT::CFtpClientCom m_com;
};

#endif
