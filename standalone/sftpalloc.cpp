#include <cstdlib>

#include "platform/sftpwrapper.h"

int kavo_sftp_malloc(void** out, std::size_t size) {
    *out = std::malloc(size);
    return *out == nullptr ? -1 : 0;
}

void kavo_sftp_free(void* block) {
    std::free(block);
}
