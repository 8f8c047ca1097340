#include "tools/ratemeter.h"

#include <algorithm>
#include <cmath>

namespace qelftp {
namespace {

constexpr std::chrono::milliseconds kSlot{100};
constexpr std::chrono::hours kLongest{100};

}  // namespace

void CRateMeter::Add(TimePoint now, unsigned long long ullBytes) {
    if (m_slots.empty() || now - m_slots.back().start >= kSlot) m_slots.push_back({now, 0});
    m_slots.back().ullBytes += ullBytes;
    while (m_slots.front().start <= now - kWindow)
        m_slots.pop_front();
}

double CRateMeter::BytesPerSecond(TimePoint now) const {
    const std::chrono::duration<double> length =
        std::min<TimePoint::duration>(now - m_start, kWindow);
    if (length.count() <= 0) return 0;
    double dBytes = 0;
    for (const SSlot& slot : m_slots) {
        if (slot.start > now - kWindow) dBytes += static_cast<double>(slot.ullBytes);
    }
    return dBytes / length.count();
}

std::optional<std::chrono::seconds> TimeLeft(unsigned long long ullBytes, double dBytesPerSecond) {
    if (dBytesPerSecond <= 0) return std::nullopt;
    const double dSeconds = std::ceil(static_cast<double>(ullBytes) / dBytesPerSecond);
    const std::chrono::duration<double> longest = kLongest;
    if (dSeconds >= longest.count()) return std::nullopt;
    return std::chrono::seconds(static_cast<long long>(dSeconds));
}

}  // namespace qelftp
