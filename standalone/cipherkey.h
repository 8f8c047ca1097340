#ifndef QEL_STANDALONE_CIPHERKEY_H
#define QEL_STANDALONE_CIPHERKEY_H

#include <cstddef>

namespace qel_standalone {

constexpr std::size_t kCipherKeySize = 32;  // AES-256

// The key of this process: random, made on first use, the same until the process ends, never
// stored anywhere else. kCipherKeySize bytes, or null when the machine gives no randomness or
// memory. Any thread at any time.
[[gnu::visibility("hidden")]] const unsigned char* ProcessCipherKey();

}  // namespace qel_standalone

#endif
