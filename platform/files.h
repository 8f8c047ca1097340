#ifndef QEL_PLATFORM_FILES_H
#define QEL_PLATFORM_FILES_H

#include <cstdio>

// Files by path in a named encoding, so that callers need not know the host's local one.

namespace ZELT_OS {

// Opens a file. utf8Path: zero-terminated path in `encoding`; mode: as of the C library ("rb",
// "wb"); encoding: name of the path's encoding, the library always passes "UTF-8".
// Returns the stream, which the caller closes with fclose, or null with errno set. A path that is
// not valid in its encoding is opened byte for byte.
FILE* fopen(const char* utf8Path, const char* mode, const char* encoding);

// Tests a path as access(2) does: mode 0 asks whether it exists. Returns 0 if so, else -1 with
// errno set.
int access(const char* path, int mode, const char* encoding);

}  // namespace ZELT_OS

#endif
