#include "tests/tool/sftptool.h"

#include <sys/stat.h>

#include <filesystem>

using namespace TestSupport;

namespace ToolTest {

SftpTool::SftpTool(const std::vector<std::string>& hostKeyTypes, const std::string& strMoreConfig) {
    ::chmod(m_login.Path().c_str(), 0755);
    GiveToUnprivileged(m_login.Path().string());
    m_pServer = std::make_unique<OpenSshServer>(
        hostKeyTypes,
        "ForceCommand internal-sftp -d " + m_login.Path().string() + "\n" + strMoreConfig);
}

std::string SftpTool::HostAndPort() const {
    return "127.0.0.1:" + std::to_string(m_pServer->Port());
}

std::string SftpTool::Url(const std::string& strPath, unsigned short usPort) const {
    const unsigned short usShown = usPort != 0 ? usPort : m_pServer->Port();
    return "sftp://" + m_pServer->User() + "@127.0.0.1:" + std::to_string(usShown) + strPath;
}

void SftpTool::Make(const std::string& strPath, const std::string& strBytes) const {
    WriteFile(File(strPath), strBytes);
    GiveToUnprivileged(File(strPath));
}

void SftpTool::MakeDirectory(const std::string& strPath) const {
    std::filesystem::create_directory(File(strPath));
    GiveToUnprivileged(File(strPath));
}

void SftpTool::WriteKnownHosts(const std::string& strText) const {
    std::filesystem::create_directories(m_home.File(".ssh"));
    WriteFile(KnownHosts(), strText);
}

std::string SftpTool::HostLine(const std::string& strType) const {
    return "[127.0.0.1]:" + std::to_string(m_pServer->Port()) + " " + m_pServer->HostKey(strType) +
           "\n";
}

int SftpTool::CountInLog(const std::string& strText) const {
    const std::string strLog = m_pServer->Log();
    int nCount = 0;
    for (std::size_t n = strLog.find(strText); n != std::string::npos;
         n = strLog.find(strText, n + 1))
        ++nCount;
    return nCount;
}

SSurroundings SftpTool::Home() const {
    return {{{"HOME", m_home.Path().string()}}, "", "", ""};
}

SSurroundings SftpTool::WithPassword() const {
    SSurroundings surroundings = Home();
    surroundings.environment["QELFTP_PASSWORD"] = OpenSshServer::Password();
    return surroundings;
}

Arguments SftpTool::Command(Arguments arguments) const {
    arguments.insert(arguments.begin(), {"--connect-timeout", "10", "--connect-retries", "0"});
    return ToolCommand(arguments);
}

SRun SftpTool::Run(const Arguments& arguments, const SSurroundings& surroundings) const {
    return ChildProcess(Command(arguments), surroundings).Wait();
}

SRun SftpTool::RunWithPassword(const Arguments& arguments) const {
    return Run(arguments, WithPassword());
}

}  // namespace ToolTest
