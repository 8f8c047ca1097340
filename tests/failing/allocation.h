#ifndef QEL_TESTS_FAILING_ALLOCATION_H
#define QEL_TESTS_FAILING_ALLOCATION_H

#include <cstddef>

// The allocator of a program that links allocation.cpp: the C library's (or a sanitizer's), with a
// list of the blocks that one thread has and with calls that fail when they are told to.

namespace FailingTest {

struct SBlocks {
    long nBlocks = 0;
    std::size_t nBytes = 0;
};

// Lists what the thread that made it allocates, until its end; who frees the blocks does not
// matter. One at a time in the process.
class CBlockList {
public:
    CBlockList();
    ~CBlockList();
    CBlockList(const CBlockList&) = delete;
    CBlockList& operator=(const CBlockList&) = delete;

    // What is not freed yet.
    SBlocks Live() const;
};

}  // namespace FailingTest

#endif
