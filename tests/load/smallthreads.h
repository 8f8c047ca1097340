#ifndef QEL_TESTS_LOAD_SMALLTHREADS_H
#define QEL_TESTS_LOAD_SMALLTHREADS_H

#include <pthread.h>

#include <functional>
#include <vector>

namespace LoadTest {

// Many threads that run the same function, each with a number of its own and a stack of 256 KiB.
class CSmallThreads {
public:
    CSmallThreads(int nThreads, std::function<void(int nThread)> work);
    ~CSmallThreads() { Join(); }

    CSmallThreads(const CSmallThreads&) = delete;
    CSmallThreads& operator=(const CSmallThreads&) = delete;

    // Ends the process when one of them still runs after 150 s.
    void Join();

private:
    struct SStart {
        const CSmallThreads* pAll;
        int nThread;
    };
    static void* Run(void* pStart);

    std::function<void(int)> m_work;
    std::vector<SStart> m_starts;
    std::vector<pthread_t> m_threads;
};

}  // namespace LoadTest

#endif
