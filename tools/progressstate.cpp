#include "tools/progressstate.h"

#include <fmt/format.h>

#include <algorithm>

namespace qelftp {

void CProgressState::Planned(TimePoint now, std::size_t nFiles, unsigned long long ullBytes) {
    m_nFiles = nFiles;
    m_ullPlanned = ullBytes;
    m_meter = CRateMeter(now);
}

void CProgressState::Started(TimePoint now, std::size_t nJob, const std::string& strName) {
    SFile file{SProgress{}, CRateMeter(now)};
    file.progress.strName = strName;
    m_running.insert_or_assign(nJob, std::move(file));
}

void CProgressState::Moved(TimePoint now, std::size_t nJob, unsigned long long ullDone,
                           unsigned long long ullTotal) {
    const auto found = m_running.find(nJob);
    if (found == m_running.end()) return;
    SFile& file = found->second;
    if (ullDone < file.progress.ullDone) {
        file.progress.ullDone = 0;
        file.meter = CRateMeter(now);
        file.bMoved = false;
    }
    const unsigned long long ullNew = ullDone - file.progress.ullDone;
    if (file.bMoved || ullNew <= kLargestFirstBlock) {
        file.meter.Add(now, ullNew);
        m_meter.Add(now, ullNew);
    }
    file.bMoved = true;
    file.progress.ullDone = ullDone;
    file.progress.ullTotal = ullTotal;
}

void CProgressState::Finished(TimePoint now, std::size_t nJob, unsigned long long ullBytes) {
    const auto found = m_running.find(nJob);
    if (found == m_running.end()) return;
    if (ullBytes > found->second.progress.ullDone) Moved(now, nJob, ullBytes, ullBytes);
    m_ullFinished += ullBytes;
    ++m_nFinished;
    m_running.erase(found);
}

std::vector<SProgress> CProgressState::Running(TimePoint now) const {
    std::vector<SProgress> running;
    for (const auto& [nJob, file] : m_running) {
        running.push_back(file.progress);
        running.back().dBytesPerSecond = file.meter.BytesPerSecond(now);
    }
    return running;
}

SProgress CProgressState::Total(TimePoint now) const {
    SProgress total;
    // A file may be moved again after it finished.
    total.strName = fmt::format("{} of {} files", std::min(m_nFinished, m_nFiles), m_nFiles);
    total.ullDone = m_ullFinished;
    for (const auto& [nJob, file] : m_running)
        total.ullDone += file.progress.ullDone;
    total.ullTotal = m_ullPlanned;
    total.dBytesPerSecond = m_meter.BytesPerSecond(now);
    return total;
}

}  // namespace qelftp
