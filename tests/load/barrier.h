#ifndef QEL_TESTS_LOAD_BARRIER_H
#define QEL_TESTS_LOAD_BARRIER_H

#include <condition_variable>
#include <functional>
#include <mutex>
#include <utility>

namespace LoadTest {

// Where a number of threads wait for each other, again and again. The last one to come calls a
// function while all others wait.
class CBarrier {
public:
    // whenAll: gets the number of meetings before this one.
    CBarrier(int nThreads, std::function<void(int nMeeting)> whenAll)
        : m_nExpected(nThreads), m_whenAll(std::move(whenAll)) {}

    void Meet() {
        std::unique_lock<std::mutex> lock(m_mutex);
        const int nMeeting = m_nMeeting;
        ++m_nWaiting;
        if (IsComplete()) return;
        m_next.wait(lock, [&] { return m_nMeeting != nMeeting; });
    }

    // For a thread that will not come any more.
    void Leave() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        --m_nExpected;
        if (m_nWaiting > 0) IsComplete();
    }

private:
    bool IsComplete() {
        if (m_nWaiting < m_nExpected) return false;
        m_whenAll(m_nMeeting++);
        m_nWaiting = 0;
        m_next.notify_all();
        return true;
    }

    std::mutex m_mutex;
    std::condition_variable m_next;
    int m_nExpected;
    int m_nWaiting = 0;
    int m_nMeeting = 0;
    std::function<void(int)> m_whenAll;
};

// At most so many threads at a time in a part of their work.
class CSlots {
public:
    explicit CSlots(int nSlots) : m_nFree(nSlots) {}

    template <class Function>
    auto Run(Function function) {
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            m_freed.wait(lock, [this] { return m_nFree > 0; });
            --m_nFree;
        }
        auto result = function();
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            ++m_nFree;
        }
        m_freed.notify_one();
        return result;
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_freed;
    int m_nFree;
};

}  // namespace LoadTest

#endif
