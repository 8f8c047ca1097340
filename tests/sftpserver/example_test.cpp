// The program that docs/sftp.md shows, against a real server.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/sftpserver/hostsession.h"
#include "tests/sftpserver/opensshserver.h"
#include "tests/support/payload.h"

namespace {

using namespace TestSupport;
namespace fs = std::filesystem;

class Example : public testing::Test {
protected:
    void SetUp() override {
        WriteFile(m_server.File("report"), m_strBytes);
        GiveToUnprivileged(m_server.File("report"));
    }

    // The exit status; what it said is then in m_strSaid.
    int Fetch(const std::vector<std::string>& environment, const std::string& strHostKey,
              const std::string& strRemote = "report") {
        std::vector<std::string> arguments = {"/usr/bin/env", "QEL_LOG_LEVEL=off"};
        arguments.insert(arguments.end(), environment.begin(), environment.end());
        arguments.insert(arguments.end(),
                         {QEL_TEST_EXAMPLE, "127.0.0.1", std::to_string(m_server.Port()),
                          m_server.User(), strHostKey, m_server.File(strRemote), Local()});
        SChildOptions options;
        options.strOutputFile = m_temp.File("said");
        WriteFile(options.strOutputFile, "");
        const int nStatus = RunProgram(arguments, options);
        m_strSaid = ReadFile(options.strOutputFile);
        return nStatus;
    }

    std::string Password() const {
        return std::string("SFTPFETCH_PASSWORD=") + OpenSshServer::Password();
    }

    void ExpectFetched() {
        EXPECT_EQ(m_strSaid, "");
        ASSERT_TRUE(fs::exists(Local()));
        EXPECT_TRUE(SamePayload(m_strBytes, ReadFile(Local())));
    }

    void ExpectNothingButAnError(const std::string& strError) {
        EXPECT_EQ(m_strSaid, "sftpfetch: " + strError + "\n");
        EXPECT_FALSE(fs::exists(Local()));
        EXPECT_FALSE(fs::exists(Local() + ".part"));
    }

    std::string Local() const { return m_temp.File("copy"); }

    const std::string m_strBytes = Payload(500'000);
    OpenSshServer m_server;
    TempDir m_temp;
    std::string m_strSaid;
};

TEST_F(Example, FetchesWithThePassword) {
    EXPECT_EQ(Fetch({Password()}, m_server.HostKey()), 0);
    ExpectFetched();
}

TEST_F(Example, FetchesWithAKey) {
    const std::string strKey = m_server.AuthorizedKey("ed25519", "skimmed");
    EXPECT_EQ(
        Fetch({"SFTPFETCH_KEY=" + strKey, "SFTPFETCH_PASSPHRASE=skimmed"}, m_server.HostKey()), 0);
    ExpectFetched();
}

TEST_F(Example, StopsAtAnotherHostKeyBeforeItLogsIn) {
    const std::string strOther = OpenSshServer().HostKey();
    EXPECT_EQ(Fetch({Password()}, strOther), 1);
    ExpectNothingButAnError("the host key of 127.0.0.1 is not accepted: " + m_server.HostKey());
    EXPECT_PRED_FORMAT2(testing::IsNotSubstring, m_server.User(),
                        m_server.LogOfRefusedConnection());
}

TEST_F(Example, SaysThatThePasswordIsWrong) {
    EXPECT_EQ(Fetch({"SFTPFETCH_PASSWORD=coffee"}, m_server.HostKey()), 1);
    ExpectNothingButAnError("the server refuses to let " + m_server.User() + " in");
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "Failed password for " + m_server.User(),
                        m_server.LogOfRefusedConnection());
}

TEST_F(Example, SaysThatTheFileIsMissing) {
    EXPECT_EQ(Fetch({Password()}, m_server.HostKey(), "nothing"), 1);
    ExpectNothingButAnError("open " + m_server.File("nothing") + ": no such file or directory");
}

TEST_F(Example, SaysThatThereIsNoWrapper) {
    EXPECT_EQ(Fetch({Password(), "QEL_SERVER_PATH=" + m_temp.Path().string()}, m_server.HostKey()),
              1);
    ExpectNothingButAnError("no session could be set up");
}

// The one failure that leaves the open library in the record.
TEST_F(Example, SaysThatTheConfigurationIsUnusable) {
    const fs::path library = fs::path(kWrapper).lexically_relative(QEL_TEST_SERVER_PATH);
    fs::create_directories((m_temp.Path() / library).parent_path());
    fs::create_symlink(kWrapper, m_temp.Path() / library);
    // The library gives the session up, which nobody else can reach; all the rest is the program's.
    WriteFile(m_temp.File("leaks"), "leak:NewSession\n");
    EXPECT_EQ(Fetch({Password(), "QEL_SERVER_PATH=" + m_temp.Path().string(),
                     "LSAN_OPTIONS=print_suppressions=0:suppressions=" + m_temp.File("leaks")},
                    m_server.HostKey()),
              1);
    ExpectNothingButAnError("no session could be set up");
}

}  // namespace
