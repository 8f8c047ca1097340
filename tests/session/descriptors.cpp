#include "tests/session/descriptors.h"

#include <dirent.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdlib>
#include <stdexcept>

namespace SessionTest {

std::set<int> OpenDescriptors() {
    DIR* pDirectory = ::opendir("/proc/self/fd");
    if (pDirectory == nullptr) throw std::runtime_error("no /proc/self/fd here");
    std::set<int> open;
    while (const dirent* pEntry = ::readdir(pDirectory)) {
        if (pEntry->d_name[0] != '.') open.insert(std::atoi(pEntry->d_name));
    }
    open.erase(::dirfd(pDirectory));
    ::closedir(pDirectory);
    return open;
}

int DescriptorConnectedTo(unsigned short usPort) {
    for (const int fd : OpenDescriptors()) {
        sockaddr_in peer{};
        socklen_t nSize = sizeof peer;
        if (::getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &nSize) == 0 &&
            peer.sin_family == AF_INET && ntohs(peer.sin_port) == usPort) {
            return fd;
        }
    }
    return -1;
}

}  // namespace SessionTest
