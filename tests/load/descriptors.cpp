#include "tests/load/descriptors.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/select.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <string>

namespace LoadTest {

void AllowDescriptors(std::size_t uWanted) {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) throw std::runtime_error("getrlimit failed");
    if (limit.rlim_cur >= uWanted) return;
    const rlim_t uHard = limit.rlim_max;
    limit.rlim_cur = uWanted;
    if (uHard < uWanted) limit.rlim_max = uWanted;  // what only root may do
    if (::setrlimit(RLIMIT_NOFILE, &limit) == 0) return;
    throw std::runtime_error("This test needs " + std::to_string(uWanted) +
                             " descriptors; the hard limit is " + std::to_string(uHard) +
                             " and cannot be raised (" + std::strerror(errno) +
                             "). Raise it with ulimit -Hn as root.");
}

std::size_t OpenDescriptors() {
    const std::filesystem::directory_iterator open("/proc/self/fd");
    const auto nSeen = std::distance(std::filesystem::begin(open), std::filesystem::end(open));
    return static_cast<std::size_t>(nSeen) - 1;  // the directory itself
}

CLowDescriptorsTaken::CLowDescriptorsTaken() {
    for (int fd = 0; fd < FD_SETSIZE;) {
        fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        if (fd == -1) throw std::runtime_error(std::string("/dev/null: ") + std::strerror(errno));
        m_taken.emplace_back(fd);
    }
    m_taken.pop_back();  // the first that is high enough
}

}  // namespace LoadTest
