#include "tools/reopening.h"

#include <algorithm>
#include <thread>

#include "tools/failure.h"

namespace qelftp {
namespace {

constexpr std::chrono::milliseconds kLongestPause{2000};
constexpr std::chrono::milliseconds kSlice{50};

bool IsLasting(const COperationError& error) {
    const auto& failures = error.Failures();
    return std::any_of(failures.begin(), failures.end(),
                       [](const SFailure& failure) { return failure.bLasting; });
}

}  // namespace

void PauseBefore(unsigned int uAttempt, const SPatience& patience,
                 const FInterrupted& interrupted) {
    if (uAttempt <= 1) return;
    std::chrono::milliseconds pause = patience.pause;
    for (unsigned int u = 2; u < uAttempt && pause < kLongestPause; ++u)
        pause *= 2;
    const auto end = std::chrono::steady_clock::now() + std::min(pause, kLongestPause);
    while (!interrupted() && std::chrono::steady_clock::now() < end)
        std::this_thread::sleep_for(std::min(kSlice, patience.pause));
}

void CReopeningSession::Do(const std::function<void(CSession&)>& work) {
    for (unsigned int uAttempt = 1;; ++uAttempt) {
        try {
            PauseBefore(uAttempt, m_patience, m_interrupted);
            if (!m_session) m_session = m_open();
            return work(*m_session);
        } catch (const COperationError& error) {
            // Refused is not broken, but the protocol's sessions are cheaper than a wrong answer.
            m_session.reset();
            if (uAttempt > m_patience.uRetries || m_interrupted() || IsLasting(error)) throw;
        }
    }
}

}  // namespace qelftp
