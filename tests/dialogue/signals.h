#ifndef QEL_TESTS_DIALOGUE_SIGNALS_H
#define QEL_TESTS_DIALOGUE_SIGNALS_H

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

// While it lives, the thread that made it gets a signal every 20 ms, whose handler does nothing but
// interrupt system calls.
class CSignals {
public:
    CSignals() {
        struct sigaction action = {};
        action.sa_handler = [](int) {};  // without SA_RESTART
        EXPECT_EQ(::sigaction(SIGUSR1, &action, &m_before), 0);
        m_thread = std::thread([this, target = ::pthread_self()] {
            while (!m_bStop) {
                std::this_thread::sleep_for(std::chrono::milliseconds(20));
                ::pthread_kill(target, SIGUSR1);
                ++m_nSent;
            }
        });
    }
    ~CSignals() {
        m_bStop = true;
        m_thread.join();
        ::sigaction(SIGUSR1, &m_before, nullptr);
        EXPECT_GT(m_nSent, 0) << "nothing was interrupted";
    }
    CSignals(const CSignals&) = delete;
    CSignals& operator=(const CSignals&) = delete;

private:
    std::atomic<bool> m_bStop{false};
    std::atomic<int> m_nSent{0};
    struct sigaction m_before = {};
    std::thread m_thread;
};

#endif
