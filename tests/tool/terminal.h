#ifndef QEL_TESTS_TOOL_TERMINAL_H
#define QEL_TESTS_TOOL_TERMINAL_H

#include <string>

#include "tests/support/sockets.h"

namespace ToolTest {

// A pseudo-terminal and the user in front of it.
class Terminal {
public:
    Terminal();  // throws std::runtime_error

    // For SSurroundings::strTerminal.
    const std::string& Name() const { return m_strName; }

    void Type(const std::string& strKeys);

    // Reads what is shown until the text appears; returns all that was shown since the last call.
    // Throws when it does not come within 10 seconds.
    std::string ReadUntil(const std::string& strText);

    // Whether what is typed is shown.
    bool Echoes() const;

private:
    TestSupport::CHandle m_master;
    TestSupport::CHandle m_slave;  // kept, so that the terminal outlives its programs
    std::string m_strName;
};

}  // namespace ToolTest

#endif
