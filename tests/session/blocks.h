#ifndef QEL_TESTS_SESSION_BLOCKS_H
#define QEL_TESTS_SESSION_BLOCKS_H

#include <cstddef>
#include <vector>

// Stands between a test program and read(), recv(), write() and send(), to see the sizes that the
// library asks for. All are passed on.

namespace SessionTest {

struct SRequests {
    std::vector<std::size_t> received;  // sizes asked for, whatever came
    std::vector<std::size_t> sent;
};

// While it lives it records the calling thread's requests on sockets, without those of the control
// connection, which is the one to a port given.
class CRequestRecord {
public:
    explicit CRequestRecord(unsigned short usControlPort);
    ~CRequestRecord();
    CRequestRecord(const CRequestRecord&) = delete;
    CRequestRecord& operator=(const CRequestRecord&) = delete;

    const SRequests& Requests() const { return m_requests; }

    // For the system calls.
    void Note(int fd, std::size_t nSize, std::vector<std::size_t> SRequests::*pList);

private:
    const unsigned short m_usControlPort;
    SRequests m_requests;
};

}  // namespace SessionTest

#endif
