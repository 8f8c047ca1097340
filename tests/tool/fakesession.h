#ifndef QEL_TESTS_TOOL_FAKESESSION_H
#define QEL_TESTS_TOOL_FAKESESSION_H

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tools/failure.h"
#include "tools/reopening.h"
#include "tools/session.h"
#include "tools/transferreport.h"

namespace ToolTest {

inline qelftp::SFailure Trouble(const std::string& strMeaning, bool bLasting = false) {
    return {"test", "it", strMeaning, std::nullopt, "", bLasting};
}

inline qelftp::SEntry Entry(const std::string& strName, qelftp::EEntryType eType,
                            unsigned long long ullSize = 0, std::int64_t llModified = 1000,
                            unsigned int uPrecision = 1) {
    qelftp::SEntry entry;
    entry.eType = eType;
    entry.strName = strName;
    entry.strSize = std::to_string(ullSize);
    entry.ullSize = ullSize;
    entry.llModified = llModified;
    entry.uTimePrecision = uPrecision;
    return entry;
}

// A server that does what the test says. Any thread.
class FakeServer {
public:
    // What a transfer does in place of success; called with the number of the session, from 1.
    using Move =
        std::function<void(int nSession, const qelftp::STransfer&, const qelftp::FProgress&)>;

    Move get;
    Move put;
    std::function<void(int nSession)> open;  // may throw
    std::map<std::string, std::vector<qelftp::SEntry>> directories;
    bool bPutIsWhole = false;

    qelftp::FOpenSession Opener();

    // "open 1", "get 1 /a", "close 1", ... in the order they came.
    std::vector<std::string> Log() const;
    int Count(const std::string& strLine) const;
    void Note(const std::string& strLine);

private:
    mutable std::mutex m_mutex;
    std::vector<std::string> m_log;
    int m_nSessions = 0;
};

// Remembers what it is told.
class FakeReport : public qelftp::CTransferReport {
public:
    void Planned(std::size_t, unsigned long long) override {}
    void Started(std::size_t nJob, const qelftp::STransfer& transfer) override;
    void Moved(std::size_t, unsigned long long, unsigned long long) override {}
    void Finished(std::size_t nJob, const qelftp::SFileOutcome& outcome) override;
    void Done() override {}

    // "0 start /a", "0 end /a", ...
    std::vector<std::string> lines;

private:
    std::mutex m_mutex;
};

}  // namespace ToolTest

#endif
