#ifndef QEL_TESTS_DIALOGUE_DESCRIPTORS_H
#define QEL_TESTS_DIALOGUE_DESCRIPTORS_H

#include <fcntl.h>

#include <cstddef>
#include <filesystem>
#include <iterator>

// How many descriptors the process has open (with the one that counting takes).
inline std::size_t OpenDescriptors() {
    using Iterator = std::filesystem::directory_iterator;
    return static_cast<std::size_t>(std::distance(Iterator("/proc/self/fd"), Iterator()));
}

inline bool IsNonBlocking(int fd) {
    return (::fcntl(fd, F_GETFL) & O_NONBLOCK) != 0;
}

inline bool IsCloseOnExec(int fd) {
    return (::fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0;
}

#endif
