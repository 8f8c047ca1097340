#ifndef QEL_STANDALONE_SFTP_DEADLINE_H
#define QEL_STANDALONE_SFTP_DEADLINE_H

#include <algorithm>
#include <chrono>

namespace sftpwrapper {

// A point in time that several waits share.
class CDeadline {
public:
    explicit CDeadline(std::chrono::milliseconds timeout)
        : m_end(std::chrono::steady_clock::now() + timeout) {}

    // Milliseconds left, rounded up; 0 when it is over.
    int RemainingMs() const {
        const auto left = m_end - std::chrono::steady_clock::now();
        const auto nMs = std::chrono::ceil<std::chrono::milliseconds>(left).count();
        return static_cast<int>(std::max<decltype(nMs)>(nMs, 0));
    }

    bool IsOver() const { return RemainingMs() == 0; }

private:
    std::chrono::steady_clock::time_point m_end;
};

}  // namespace sftpwrapper

#endif
