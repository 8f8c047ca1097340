#ifndef QEL_TESTS_DIALOGUE_HOOKS_H
#define QEL_TESTS_DIALOGUE_HOOKS_H

#include <ctime>
#include <functional>
#include <vector>

// System calls that these test programs define themselves, to make rare things happen and to see
// what cannot be seen from outside. All pass on to the C library unless told otherwise, and all
// look at the calling thread only, so that the servers of the tests are not touched.

namespace Hooks {

// The next connect() of this thread fails with this errno; 0: none does.
void FailNextConnect(int nErrno);

// From now on this thread finds the host of this name at this address. Null: no longer.
void NameHost(const char* pszName, const char* pszAddress);

// The next listen() of this thread fails with this errno; 0: none does.
void FailNextListen(int nErrno);

// The next send() of this thread fails with this errno; 0: none does.
void FailNextSend(int nErrno);

// Called with the port after each successful listen() of this thread; empty: nothing is called.
void OnListen(std::function<void(unsigned short)> code);

// Called before this thread closes the descriptor, once.
void OnClose(int fd, std::function<void()> code);

// The times that this thread asked nanosleep() for, since the last ClearSleeps(). A sleep that is
// taken up again after a signal is an entry of its own.
std::vector<timespec> Sleeps();
void ClearSleeps();

}  // namespace Hooks

#endif
