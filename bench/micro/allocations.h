#ifndef QEL_BENCH_ALLOCATIONS_H
#define QEL_BENCH_ALLOCATIONS_H

#include <cstdint>

// Calls of operator new in this program so far.
std::uint64_t Allocations();

#endif
