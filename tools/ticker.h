#ifndef QEL_TOOLS_TICKER_H
#define QEL_TOOLS_TICKER_H

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace qelftp {

// Calls a function at intervals, in a thread of its own that no signal comes to, until it goes.
class CTicker {
public:
    CTicker(std::chrono::milliseconds interval, std::function<void()> tick);
    ~CTicker();
    CTicker(const CTicker&) = delete;
    CTicker& operator=(const CTicker&) = delete;

private:
    void Run(std::chrono::milliseconds interval);

    std::function<void()> m_tick;
    std::mutex m_mutex;
    std::condition_variable m_ended;
    bool m_bEnd = false;
    std::thread m_thread;
};

}  // namespace qelftp

#endif
