#ifndef QEL_TESTS_FAULT_SESSIONLOG_H
#define QEL_TESTS_FAULT_SESSIONLOG_H

#include <functional>
#include <string>

// Takes the place of the host's log in this test program. The library logs every piece of a reply
// when it has read it and before it does anything about it, in the thread that works.

namespace FaultTest {

// Called for each such piece; an empty one ends that. Any thread.
void CallOnPieceRead(std::function<void()> called);

// The errors that the library logged, one a line.
std::string LoggedErrors();

}  // namespace FaultTest

#endif
