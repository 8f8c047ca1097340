#include "tests/matrix/privateserver.h"
#include "tests/support/tempdir.h"

namespace MatrixTest {
namespace {

class CProftpd : public CPrivateServer {
protected:
    CProftpd() : CPrivateServer("proftpd") {
        Add("wrappers");
        Write("passwd", PasswdLine());
    }

    SStart Configure(unsigned short usPort) override {
        // clang-format off
        Write("conf",
              "ServerType standalone\n"
              "DefaultServer on\n"
              "DefaultAddress 127.0.0.1\n"
              "SocketBindTight on\n"
              "Port " + std::to_string(usPort) + "\n"
              "UseIPv6 off\n"
              "UseReverseDNS off\n"
              "WtmpLog off\n"
              "TransferLog none\n"
              "DelayEngine off\n"
              "ControlsEngine off\n"
              "RequireValidShell off\n"
              "AuthOrder mod_auth_file.c\n"
              "AuthUserFile " + Home("passwd") + "\n"
              "PidFile " + Home("pid") + "\n"
              "ScoreboardFile " + Home("scoreboard") + "\n"
              "AllowOverwrite on\n"
              "Umask 022\n" + m_strMoreLines);
        // clang-format on
        return {{Home("proftpd"), "--nodaemon", "--config", Home("conf"), "--debug", "5"},
                PretendedRoot()};
    }

    std::string m_strMoreLines;
};

class CProftpdFtp : public CProftpd {
public:
    explicit CProftpdFtp(const std::string& strMoreLines) {
        m_strMoreLines = strMoreLines;
        Start("220");
    }
};

class CProftpdSftp : public CProftpd {
public:
    CProftpdSftp() {
        TestSupport::RunProgram(
            {"/usr/bin/ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", Home("hostkey")});
        TestSupport::GiveToUnprivileged(Home("hostkey"));
        // clang-format off
        m_strMoreLines =
            "ModulePath " + Home("") + "\n"
            "LoadModule mod_sftp.c\n"
            "SFTPEngine on\n"
            "SFTPAuthMethods password\n"
            "SFTPHostKey " + Home("hostkey") + "\n"
            "SFTPLog " + Home("log") + "\n";
        // clang-format on
        Start("SSH-");
    }

    // The type and the key, without the comment.
    std::string HostKey() const override {
        const std::string strLine = TestSupport::ReadFile(Home("hostkey.pub"));
        return strLine.substr(0, strLine.find(' ', strLine.find(' ') + 1));
    }
};

}  // namespace

std::unique_ptr<CServer> MakeProftpd() {
    return std::make_unique<CProftpdFtp>("");
}

std::unique_ptr<CServer> MakeProftpdDos() {
    return std::make_unique<CProftpdFtp>("ListStyle Windows\n");
}

std::unique_ptr<CServer> MakeProftpdSftp() {
    return std::make_unique<CProftpdSftp>();
}

}  // namespace MatrixTest
