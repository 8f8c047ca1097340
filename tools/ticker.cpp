#include "tools/ticker.h"

#include "tools/interrupt.h"

namespace qelftp {

CTicker::CTicker(std::chrono::milliseconds interval, std::function<void()> tick)
    : m_tick(std::move(tick)) {
    const CSignalsKeptOut keptOut;
    m_thread = std::thread([this, interval] { Run(interval); });
}

CTicker::~CTicker() {
    {
        const std::lock_guard lock(m_mutex);
        m_bEnd = true;
    }
    m_ended.notify_one();
    m_thread.join();
}

void CTicker::Run(std::chrono::milliseconds interval) {
    std::unique_lock lock(m_mutex);
    while (!m_ended.wait_for(lock, interval, [this] { return m_bEnd; })) {
        lock.unlock();
        m_tick();
        lock.lock();
    }
}

}  // namespace qelftp
