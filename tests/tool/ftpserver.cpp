#include "tests/tool/ftpserver.h"

#include <filesystem>
#include <sstream>
#include <stdexcept>

using namespace TestSupport;

namespace ToolTest {
namespace {

constexpr const char* kPython = "/usr/bin/python3";

unsigned short PortFrom(ChildProcess& process) {
    try {
        return static_cast<unsigned short>(std::stoi(process.ReadLine()));
    } catch (const std::exception& error) {
        throw std::runtime_error(
            std::string("The FTP server of this test did not start. It needs the Debian package "
                        "python3-pyftpdlib.\n") +
            error.what());
    }
}

}  // namespace

FtpServer::FtpServer(int nRate)
    : m_process({kPython, QELFTP_TEST_SERVER, m_root.Path().string(), m_logs.File("log"),
                 std::to_string(nRate)}),
      m_usPort(PortFrom(m_process)) {}

std::string FtpServer::Url(const std::string& strPath) const {
    return "ftp://bob@" + HostAndPort() + strPath;
}

bool FtpServer::Has(const std::string& strPath) const {
    return std::filesystem::exists(File(strPath));
}

std::string FtpServer::Log() const {
    const std::string strLog = m_logs.File("log");
    return std::filesystem::exists(strLog) ? ReadFile(strLog) : "";
}

int FtpServer::Count(const std::string& strLine) const {
    std::istringstream lines(Log());
    std::string strFound;
    int nCount = 0;
    while (std::getline(lines, strFound))
        nCount += strFound == strLine ? 1 : 0;
    return nCount;
}

SRun RunWithPassword(Arguments arguments, SSurroundings surroundings) {
    arguments.insert(arguments.begin(), {"--connect-timeout", "1", "--connect-retries", "0",
                                         "--connect-retry-timeout", "0"});
    surroundings.environment.emplace("QELFTP_PASSWORD", kPassword);
    return RunTool(arguments, surroundings);
}

}  // namespace ToolTest
