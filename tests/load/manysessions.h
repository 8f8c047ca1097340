#ifndef QEL_TESTS_LOAD_MANYSESSIONS_H
#define QEL_TESTS_LOAD_MANYSESSIONS_H

#include <cstddef>
#include <string>
#include <vector>

#include "tests/load/barrier.h"
#include "tests/server/servertest.h"

namespace LoadTest {

// Sessions that are all open at the same time, each in a thread of its own: log in, list, retrieve
// and store a file of their own, log out. All of them are in the middle of their retrieve, and
// later of their store, when the open descriptors are counted: control connection, data connection
// and local file of each.
class CManySessions : public ServerTest::CServerTest {
protected:
    // Fails when fewer descriptors than that were open, in the retrieve or in the store.
    void Run(int nSessions, std::size_t uDescriptors);

private:
    void Serve(int nSessions);
    void Work(int nSession);

    CBarrier* m_pBarrier = nullptr;
    CSlots m_logins{16};  // the server's queue of connections that it has not accepted holds 32
    std::vector<std::string> m_contents;
};

}  // namespace LoadTest

#endif
