#ifndef QEL_TOOLS_PROGRESSSTATE_H
#define QEL_TOOLS_PROGRESSSTATE_H

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "tools/progresstext.h"
#include "tools/ratemeter.h"

namespace qelftp {

// What is known of a run of transfers at a time. One thread at a time.
class CProgressState {
public:
    // A first report of more is where the file is continued, not what was moved.
    static constexpr unsigned long long kLargestFirstBlock = 1024ULL * 1024;

    explicit CProgressState(TimePoint start) : m_meter(start) {}

    void Planned(TimePoint now, std::size_t nFiles, unsigned long long ullBytes);
    void Started(TimePoint now, std::size_t nJob, const std::string& strName);
    // A smaller ullDone than before: the file is moved anew.
    void Moved(TimePoint now, std::size_t nJob, unsigned long long ullDone,
               unsigned long long ullTotal);
    void Finished(TimePoint now, std::size_t nJob, unsigned long long ullBytes);

    std::size_t Files() const { return m_nFiles; }
    // The files on their way, by job.
    std::vector<SProgress> Running(TimePoint now) const;
    // All together; its name says how many files there are.
    SProgress Total(TimePoint now) const;

private:
    struct SFile {
        SProgress progress;
        CRateMeter meter;
        bool bMoved = false;
    };

    std::map<std::size_t, SFile> m_running;
    std::size_t m_nFiles = 0;
    std::size_t m_nFinished = 0;
    unsigned long long m_ullPlanned = 0;
    unsigned long long m_ullFinished = 0;  // bytes of finished files
    CRateMeter m_meter;
};

}  // namespace qelftp

#endif
