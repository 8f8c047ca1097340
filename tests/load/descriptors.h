#ifndef QEL_TESTS_LOAD_DESCRIPTORS_H
#define QEL_TESTS_LOAD_DESCRIPTORS_H

#include <cstddef>
#include <vector>

#include "tests/support/sockets.h"

namespace LoadTest {

// Lets the process open that many descriptors. Throws std::runtime_error, with what the machine
// allows, where it cannot.
void AllowDescriptors(std::size_t uWanted);

std::size_t OpenDescriptors();

// The highest descriptor that anything in the process has handed to poll() so far.
int HighestPolled();

// Takes the low descriptors away: while it lives, every new one is FD_SETSIZE or more.
class CLowDescriptorsTaken {
public:
    CLowDescriptorsTaken();

private:
    std::vector<TestSupport::CHandle> m_taken;
};

}  // namespace LoadTest

#endif
