#ifndef QEL_TESTS_FAILING_CALLS_H
#define QEL_TESTS_FAILING_CALLS_H

#include <cstddef>

// Stands between the library and the calls of the system, each of which can be made to fail. Test
// programs that link calls.cpp and allocation.cpp define these functions themselves, for all
// libraries that they load, and pass every call on unless it is the one that is to fail.

namespace FailingTest {

enum class ECall {
    Socket,
    Connect,
    Poll,
    Receive,  // read() too, which is what ACE receives with
    Send,     // write() too
    Open,     // of a file: fopen()
    Read,     // fread()
    Write,    // fwrite()
    Close,    // fclose()
    Rename,
    Allocate,  // malloc(), calloc(), realloc(), so that operator new throws
    Load,      // dlopen()
    Symbol,    // ACE_DLL::symbol(), which is dlsym() to the library
    Count,
};

// One way for a call to fail: nTimes times in a row, then it succeeds.
struct SFailure {
    const char* pszName;
    ECall eCall;
    int nErrno;
    int nTimes;
};

struct SCounts {
    long made[static_cast<std::size_t>(ECall::Count)] = {};
    long nFailed = 0;
};

// Counts the calls of the thread that made it, and makes the n-th of a kind fail. Calls of other
// threads, the tests' servers among them, are none of its business. One at a time.
class CWatch {
public:
    CWatch() : CWatch(nullptr, 0) {}
    // pFailure may be null: all calls succeed. nAt counts from 1.
    CWatch(const SFailure* pFailure, long nAt);
    ~CWatch();
    CWatch(const CWatch&) = delete;
    CWatch& operator=(const CWatch&) = delete;

    // Until now; also after End().
    const SCounts& Counts() const;
    // From here on calls are neither counted nor fail.
    void End();
};

// While it lives, the calls of the thread that made it pass unseen.
class CUncounted {
public:
    CUncounted();
    ~CUncounted();
    CUncounted(const CUncounted&) = delete;
    CUncounted& operator=(const CUncounted&) = delete;

private:
    bool m_bWatched;
};

// For the functions that stand in between: counts the call and tells whether it is to fail, with
// errno set.
bool FailsNow(ECall eCall);

}  // namespace FailingTest

#endif
