#include "standalone/cipherkey.h"

#include <openssl/rand.h>
#include <sys/mman.h>

namespace qel_standalone {
namespace {

const unsigned char* MakeKey() {
    // Pages of its own: no stray read of the heap finds the key, and the two calls below act on
    // whole pages. They are best effort, a small limit of locked memory must not cost the service.
    void* pPage =
        mmap(nullptr, kCipherKeySize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pPage == MAP_FAILED) return nullptr;
    mlock(pPage, kCipherKeySize);                   // not into the swap space
    madvise(pPage, kCipherKeySize, MADV_DONTDUMP);  // not into a core file
    auto* const pKey = static_cast<unsigned char*>(pPage);
    if (RAND_priv_bytes(pKey, static_cast<int>(kCipherKeySize)) != 1) {
        munmap(pPage, kCipherKeySize);
        return nullptr;
    }
    mprotect(pPage, kCipherKeySize, PROT_READ);
    return pKey;
}

}  // namespace

const unsigned char* ProcessCipherKey() {
    static const unsigned char* const pKey = MakeKey();
    return pKey;
}

}  // namespace qel_standalone
