#ifndef QEL_TESTS_LOAD_MEMORY_H
#define QEL_TESTS_LOAD_MEMORY_H

#include <cstddef>
#include <vector>

namespace LoadTest {

// What the process holds while none of its sessions exists.
struct SHeld {
    std::size_t uHeap = 0;      // bytes in use, by mallinfo2(); 0 under a sanitizer
    std::size_t uResident = 0;  // bytes, of /proc/self/statm
    std::size_t uDescriptors = 0;
};

// Gives back first what the allocator has set aside.
SHeld MeasureHeld();

// Prints the series and fails the test unless it is flat: in no measurement after the first
// - the heap is more than 64 KiB above the first one's: less than a byte a transfer in a long run,
// - the resident memory is more than 8 MiB above it: what allocators and thread stacks differ by,
// - there is one descriptor more or less.
// The resident memory is judged when the first measurement follows work enough for a high-water
// mark (bWarm). A sanitizer's allocator keeps what was freed; under it only the descriptors are
// judged, and leaks are its own to find.
void ExpectFlat(const std::vector<SHeld>& series, bool bWarm);

}  // namespace LoadTest

#endif
