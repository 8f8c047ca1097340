#ifndef QEL_TESTS_SFTP_MEMORY_H
#define QEL_TESTS_SFTP_MEMORY_H

#include <string>

namespace TestSftp {

// Looks into every block that operator delete frees, in the program and in all libraries it loads.
// A program that links memory.cpp has its operators new and delete replaced.

// Blocks of operator new that are not freed yet.
long LiveBlocks();

// From here on counts freed blocks that hold one of the two texts. Texts are at least 16 bytes,
// so that they are on the heap.
void WatchFreed(const std::string& strPlain, const std::string& strWiped);

struct SFreed {
    int nPlain = 0;
    int nWiped = 0;
};
SFreed StopWatching();

}  // namespace TestSftp

#endif
