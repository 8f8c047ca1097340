#ifndef QEL_TESTS_LOAD_STANDING_H
#define QEL_TESTS_LOAD_STANDING_H

#include <atomic>
#include <mutex>
#include <shared_mutex>

namespace LoadTest {

// The server that stands at present, as the sessions' threads know it. Account: what a session
// needs to log in.
template <class Account>
class CStanding {
public:
    // By the thread that kills and starts servers.
    void Falls() { ++m_uEpoch; }
    void Stands(const Account& account) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_account = account;
        ++m_uEpoch;
    }

    Account Get() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_account;
    }

    // Whether one server has stood all the time since the epoch was read.
    unsigned int Epoch() const { return m_uEpoch; }
    bool HasStoodSince(unsigned int uEpoch) const { return uEpoch % 2 == 1 && uEpoch == m_uEpoch; }

    // The files that it serves: shared for who looks at some, unique while a new server adopts all.
    std::shared_mutex& Files() const { return m_files; }

private:
    std::atomic<unsigned int> m_uEpoch{0};  // odd: it stands
    mutable std::mutex m_mutex;
    mutable std::shared_mutex m_files;
    Account m_account;
};

}  // namespace LoadTest

#endif
