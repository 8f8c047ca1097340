#ifndef QEL_TOOLS_RATEMETER_H
#define QEL_TOOLS_RATEMETER_H

#include <chrono>
#include <deque>
#include <optional>

namespace qelftp {

using TimePoint = std::chrono::steady_clock::time_point;

// How fast bytes move: the mean of the last five seconds, or of the time since the start when that
// is shorter. So it is steady, and falls to nothing when nothing moves.
class CRateMeter {
public:
    static constexpr std::chrono::seconds kWindow{5};

    explicit CRateMeter(TimePoint start) : m_start(start) {}

    // Times must not go back.
    void Add(TimePoint now, unsigned long long ullBytes);
    double BytesPerSecond(TimePoint now) const;

private:
    struct SSlot {
        TimePoint start;
        unsigned long long ullBytes;
    };

    TimePoint m_start;
    std::deque<SSlot> m_slots;  // bytes that came close together; the oldest first
};

// Rounded up to seconds; empty when it cannot be said, or is longer than anyone would wait for.
std::optional<std::chrono::seconds> TimeLeft(unsigned long long ullBytes, double dBytesPerSecond);

}  // namespace qelftp

#endif
