// qelftp check on sftp://.

#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "tests/tool/sftptool.h"

using namespace ToolTest;

namespace {

std::string WithoutTimes(const std::string& strTable) {
    return std::regex_replace(strTable, std::regex(" +(ok|note|FAIL) +[0-9]+\\.[0-9] ms"), " $1 T");
}

class SftpCheck : public testing::Test {
protected:
    SftpTool m_tool;
};

TEST_F(SftpCheck, AServerThatWorksIsSaidToWork) {
    m_tool.WriteKnownHosts(m_tool.HostLine());
    m_tool.Make("a.txt", "a");
    const SRun run = m_tool.RunWithPassword({"check", m_tool.Url("/")});
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_EQ(run.strErr, "");
    const std::string strUser = m_tool.Url("/").substr(7, m_tool.Url("/").find('@') - 7);
    EXPECT_EQ(WithoutTimes(run.strOut), "login ok T  as " + strUser +
                                            "\n"
                                            "listing ok T  1 entry in the login directory\n"
                                            "close ok T  in order\n" +
                                            m_tool.HostAndPort() + " works with the library\n");
}

TEST_F(SftpCheck, AHostThatIsNotKnownIsAFailureWithItsFingerprint) {
    const SRun run = m_tool.RunWithPassword({"check", m_tool.Url("/")});
    EXPECT_EQ(run.nExit, 1);
    EXPECT_EQ(WithoutTimes(run.strOut).rfind("login FAIL T  ", 0), 0U) << run.strOut;
    EXPECT_NE(run.strOut.find("SHA256:"), std::string::npos) << run.strOut;
    EXPECT_EQ(run.strOut.find("listing"), std::string::npos) << run.strOut;
    EXPECT_EQ(run.strErr, "qelftp: check " + m_tool.HostAndPort() +
                              ": does not work with the library; see FAIL above\n");
}

}  // namespace
