#include "platform/files.h"

#include <unistd.h>

#include <cerrno>
#include <string>

#include "standalone/charset.h"

namespace {

// The path as the file system has it. Leaves errno alone.
std::string LocalPath(const char* path, const char* encoding) {
    const int nErrno = errno;
    std::string strLocal =
        qel_standalone::ConvertText(path, encoding, qel_standalone::LocaleCharset());
    errno = nErrno;
    return strLocal;
}

}  // namespace

FILE* ZELT_OS::fopen(const char* utf8Path, const char* mode, const char* encoding) {
    if (utf8Path == nullptr || mode == nullptr || *mode == '\0' || encoding == nullptr) {
        errno = EINVAL;
        return nullptr;
    }
    // Close-on-exec, so that no program started by the host inherits the file. The letter goes to
    // the front: a mode may end in ",ccs=...".
    std::string strMode = mode;
    strMode.insert(1, 1, 'e');
    return ::fopen(LocalPath(utf8Path, encoding).c_str(), strMode.c_str());
}

int ZELT_OS::access(const char* path, int mode, const char* encoding) {
    if (path == nullptr || encoding == nullptr) {
        errno = EINVAL;
        return -1;
    }
    return ::access(LocalPath(path, encoding).c_str(), mode);
}
