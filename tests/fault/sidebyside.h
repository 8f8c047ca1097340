#ifndef QEL_TESTS_FAULT_SIDEBYSIDE_H
#define QEL_TESTS_FAULT_SIDEBYSIDE_H

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace FaultTest {

struct SJob {
    std::string strName;
    std::function<std::string()> work;  // in a child process: what is wrong, empty if nothing is
    std::chrono::seconds waits{0};      // how long it is asleep
};

struct SOutcome {
    std::string strName;
    std::string strWrong;  // what the work returned, or how its process ended
};

// Runs each job in a child process of its own, many side by side: most of the time they wait. The
// caller must have no other threads. Returns the jobs that something is wrong with.
std::vector<SOutcome> RunSideBySide(std::vector<SJob> jobs);

}  // namespace FaultTest

#endif
