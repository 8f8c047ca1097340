#ifndef QEL_TESTS_FAULT_TRIAL_H
#define QEL_TESTS_FAULT_TRIAL_H

#include <string>

#include "tests/fault/cell.h"
#include "tests/server/vsftpdserver.h"

namespace FaultTest {

// What all cells read; made once for a server.
struct SSharedFiles {
    explicit SSharedFiles(const ServerTest::CVsftpdServer& server);
    std::string strSmall;  // contents
    std::string strLarge;  // more than the buffers of a connection hold
};

// Runs one cell in this process, which should be a child of its own: everything the process has
// open or allocated afterwards counts against the cell. Returns what is wrong with it, empty if
// nothing is.
std::string Try(const SCell& cell, const ServerTest::CVsftpdServer& server,
                const SSharedFiles& files, const std::string& strOwnDir);

}  // namespace FaultTest

#endif
