// A program takes the place of single platform functions by defining them; all others stay the
// platform's.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <vector>

#include "include/ftpclient.h"
#include "platform/files.h"
#include "platform/logging.h"
#include "platform/paths.h"
#include "platform/resources.h"

namespace {

std::vector<std::string> g_errors;
std::vector<std::string> g_opened;

// A port of this machine that refuses connections as long as the object lives.
class CDeadPort {
public:
    CDeadPort() : m_nSocket(socket(AF_INET, SOCK_STREAM, 0)) {
        m_address.sin_family = AF_INET;
        m_address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t nSize = sizeof(m_address);
        auto* const pAddress = reinterpret_cast<sockaddr*>(&m_address);
        EXPECT_EQ(bind(m_nSocket, pAddress, nSize), 0);
        EXPECT_EQ(getsockname(m_nSocket, pAddress, &nSize), 0);
    }
    ~CDeadPort() { close(m_nSocket); }
    CDeadPort(const CDeadPort&) = delete;
    CDeadPort& operator=(const CDeadPort&) = delete;

    unsigned short Port() const { return ntohs(m_address.sin_port); }

private:
    int m_nSocket;
    sockaddr_in m_address{};
};

template <typename Function>
std::string FileOf(Function* pFunction) {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(pFunction), &info) == 0) return "nowhere";
    const std::string strPath = info.dli_fname;
    return strPath.substr(strPath.rfind('/') + 1);
}

}  // namespace

void LogProcess::Error(unsigned int /*code*/, const std::string& text, const LocationInfo& where) {
    g_errors.push_back(std::string(where.File()) + ": " + text);
}

FILE* ZELT_OS::fopen(const char* utf8Path, const char* /*mode*/, const char* /*encoding*/) {
    g_opened.push_back(utf8Path);
    errno = ENOENT;
    return nullptr;
}

int TQ_UTIL::SovGetServerPath_WB(std::string& path) {
    path = "/of/the/program";
    return 1;
}

TEST(ReplacedFunction, IsCalledByTheFtpLibrary) {
    const CDeadPort port;
    RVN_FTP_CLIENT::CFtpClient client("127.0.0.1", port.Port(), "bob",
                                      TQ_UTIL::CcipheString("tea"));
    client.setParam(1, 0, 1);
    EXPECT_NE(client.Login(), 0U);
    ASSERT_FALSE(g_errors.empty());
    EXPECT_NE(g_errors[0].find(": [FTPCLIENT]"), std::string::npos) << g_errors[0];
}

TEST(ReplacedFunction, IsCalledByThePlatformItself) {
    EXPECT_EQ(ZeltAddResFileWithAbsolute("/some/file"), 0);
    EXPECT_EQ(g_opened, std::vector<std::string>{"/some/file"});

    std::string strPath;
    EXPECT_EQ(tq_zeltsdk_wrap::SovGetServerPath(strPath, "", ""), 1);
    EXPECT_EQ(strPath, "/of/the/program");
}

TEST(ReplacedFunction, LeavesItsNeighboursInThePlatform) {
    EXPECT_EQ(FileOf(&LogProcess::Info).find("libqelplatform.so"), 0U) << FileOf(&LogProcess::Info);
    EXPECT_EQ(FileOf(&ZELT_OS::access).find("libqelplatform.so"), 0U) << FileOf(&ZELT_OS::access);
    EXPECT_EQ(FileOf(&_Log_Affirm).find("libqelplatform.so"), 0U) << FileOf(&_Log_Affirm);
    EXPECT_EQ(ZELT_OS::access("/", 0, "UTF-8"), 0);
}
