#ifndef QEL_TESTS_PLATFORM_CHILDPROCESS_H
#define QEL_TESTS_PLATFORM_CHILDPROCESS_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace PlatformTest {

// Variables to set, or, without a value, to remove.
using Environment = std::vector<std::pair<std::string, std::optional<std::string>>>;

struct SChildResult {
    int nExit = -1;        // exit code; -1: killed by a signal, or by us after a minute
    std::string strError;  // what it wrote to standard error
};

// Runs a program with this process's environment, changed as given, and waits for its end.
SChildResult RunChild(const std::string& strProgram, const std::string& strArgument,
                      const Environment& changes);

}  // namespace PlatformTest

#endif
