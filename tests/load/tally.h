#ifndef QEL_TESTS_LOAD_TALLY_H
#define QEL_TESTS_LOAD_TALLY_H

#include <cstddef>
#include <map>
#include <string>

#include "tests/support/sockets.h"

namespace LoadTest {

// What a session has done. Each has its own; they are added up when all rest.
struct STally {
    unsigned long long ullLogins = 0;
    unsigned long long ullWhole = 0;    // verified transfers that succeeded; compared
    unsigned long long ullClassic = 0;  // others that succeeded
    unsigned long long ullBroken = 0;   // of these, how many are but the beginning of the file
    unsigned long long ullBytes = 0;    // of both
    unsigned long long ullAlone = 0;    // failures that neither a time-out nor the end of the
                                        // whole server explains
    std::map<std::string, unsigned long long> failures;  // "get: no usable reply"
    std::map<std::string, long long> longestMs;          // by operation, whatever its result

    void Add(const STally& other);

    std::string Line() const;
    std::string Details() const;  // a line each
};

// One kind of operation.
struct SOperation {
    const char* pszName;
    TestSupport::Millis bound;    // what the session's parameters allow it, and time for the bytes
    TestSupport::Millis timeOut;  // the shortest of its waits: a failure before has another reason
};

// Notes an operation that has ended, and fails the test when it took longer than its bound.
// uResult: 0 for success. bServerStood: since the session logged in.
void Note(STally& tally, const SOperation& operation, TestSupport::Clock::time_point start,
          unsigned int uResult, const char* pszResult, bool bServerStood);

}  // namespace LoadTest

#endif
