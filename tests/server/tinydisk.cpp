#include "tests/server/tinydisk.h"

#include <sched.h>
#include <sys/mount.h>

#include <cerrno>
#include <cstring>

namespace ServerTest {

CTinyDisk::CTinyDisk() {
    const std::string strOptions = "mode=0777,size=" + std::to_string(kSize);
    if (::unshare(CLONE_NEWNS) != 0 ||
        ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("tinydisk", Path().c_str(), "tmpfs", 0, strOptions.c_str()) != 0) {
        m_strRefusal = std::strerror(errno);
    }
}

CTinyDisk::~CTinyDisk() {
    if (m_strRefusal.empty()) ::umount2(Path().c_str(), MNT_DETACH);
}

}  // namespace ServerTest
