#include "tests/sftp/fakeserver.h"

#include <dlfcn.h>

#include <filesystem>
#include <mutex>

#include "platform/paths.h"
#include "src/sftp/sftpclientreadcfg.h"
#include "tests/sftp/fakewrapper.h"
#include "tests/support/recordinglog.h"

namespace fs = std::filesystem;

namespace TestSftp {
namespace {

constexpr const char* kLibrary = "libkavo_sftp_wrapper.so";

struct SAnnounced {
    std::mutex lock;
    std::string strPath;
    std::string strArguments;
};

SAnnounced& Announced() {
    static SAnnounced& announced = *new SAnnounced;
    return announced;
}

void ForgetEverything() {
    RVN_FTP_CLIENT::CSftpClientConfManager::Release();
    CFake::Instance().Reset();
    TestSupport::RecordingLog::Clear();
}

}  // namespace

const char* const kGoodConfig =
    "Cipher=aes;ctr;\naes=1\nctr=2\n"
    "Mac=sha;\nsha=3\n"
    "KeyExchange=curve;group;\ncurve=4\ngroup=5\n"
    "HostKey=ed;\ned=6\n"
    "AuthType=word;key;\nword=7\nkey=8\n"
    "Compression=zlib;\nzlib=9\n";

CFakeServer::CFakeServer(const std::string& strWithout) {
    fs::create_directories(fs::path(LibraryPath()).parent_path());
    fs::create_directories(fs::path(ConfigPath()).parent_path());
    fs::copy_file(fs::path(QEL_FAKE_WRAPPERS) / ("without_" + strWithout) / kLibrary,
                  LibraryPath());
    WriteConfig(kGoodConfig);
    AnnouncePath(Path());
    ForgetEverything();
}

CFakeServer::~CFakeServer() {
    ForgetEverything();
}

std::string CFakeServer::LibraryPath() const {
    return m_dir.File("vesk/Zelt_3rdTools/lib/libkavo_sftp_wrapper.so");
}

std::string CFakeServer::ConfigPath() const {
    return m_dir.File("vesk/PRWWBFrame/prw/qel/conf/sftpAlgorithm.cfg");
}

bool CFakeServer::Loaded() const {
    void* pHandle = dlopen(LibraryPath().c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (pHandle == nullptr) {
        dlerror();
        return false;
    }
    dlclose(pHandle);
    return true;
}

void CFakeServer::RemoveLibrary() {
    fs::remove(LibraryPath());
}

void CFakeServer::WriteConfig(const std::string& strText) {
    TestSupport::WriteFile(ConfigPath(), strText);
}

void CFakeServer::RemoveConfig() {
    fs::remove(ConfigPath());
}

void CFakeServer::AnnouncePath(const std::string& strPath) {
    SAnnounced& announced = Announced();
    const std::lock_guard<std::mutex> guard(announced.lock);
    announced.strPath = strPath;
}

std::string ServerPathArguments() {
    SAnnounced& announced = Announced();
    const std::lock_guard<std::mutex> guard(announced.lock);
    return announced.strArguments;
}

}  // namespace TestSftp

int TQ_UTIL::SovGetServerPath_WB(std::string& path) {
    auto& announced = TestSftp::Announced();
    const std::lock_guard<std::mutex> guard(announced.lock);
    path = announced.strPath;
    return 1;
}

int tq_zeltsdk_wrap::SovGetServerPath(std::string& out, const std::string& component,
                                      const std::string& instance) {
    auto& announced = TestSftp::Announced();
    const std::lock_guard<std::mutex> guard(announced.lock);
    out = announced.strPath;
    announced.strArguments = component + "," + instance;
    return 0;
}
