#include "tests/support/recordinglog.h"

#include <cerrno>
#include <mutex>
#include <set>
#include <utility>

#include "platform/logging.h"

namespace TestSupport {
namespace {

enum class ELevel { Error, Info, Affirm };

struct SLog {
    std::mutex lock;
    std::vector<std::pair<ELevel, SLogEntry>> entries;
    std::set<std::string> filtered;
};

// Made at first use and never destroyed: code of other threads may log while the process ends.
SLog& Log() {
    static SLog& log = *new SLog;
    return log;
}

void Record(ELevel eLevel, unsigned int uCode, const std::string& strText,
            const LocationInfo& where) {
    SLog& log = Log();
    const std::lock_guard<std::mutex> guard(log.lock);
    const bool bFiltered = log.filtered.count(strText) != 0;
    log.entries.emplace_back(
        eLevel, SLogEntry{uCode, strText, where.File(), where.Function(), where.Line(), bFiltered});
    errno = EDOM;  // a host's log leaves anything there
}

std::vector<SLogEntry> Of(ELevel eLevel) {
    SLog& log = Log();
    const std::lock_guard<std::mutex> guard(log.lock);
    std::vector<SLogEntry> found;
    for (const auto& [eOther, entry] : log.entries) {
        if (eOther == eLevel) found.push_back(entry);
    }
    return found;
}

std::vector<std::string> TextsOf(ELevel eLevel) {
    std::vector<std::string> texts;
    for (const SLogEntry& entry : Of(eLevel))
        texts.push_back(entry.strText);
    return texts;
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const SLogEntry& entry) {
    return stream << "code " << entry.uCode << " \"" << entry.strText << "\" at " << entry.strFile
                  << " " << entry.strFunction << " " << entry.nLine
                  << (entry.bFiltered ? "" : " (not filtered)");
}

std::vector<SLogEntry> RecordingLog::Errors() {
    return Of(ELevel::Error);
}

std::vector<SLogEntry> RecordingLog::Infos() {
    return Of(ELevel::Info);
}

std::vector<SLogEntry> RecordingLog::Affirms() {
    return Of(ELevel::Affirm);
}

std::vector<SLogEntry> RecordingLog::All() {
    SLog& log = Log();
    const std::lock_guard<std::mutex> guard(log.lock);
    std::vector<SLogEntry> all;
    for (const auto& levelAndEntry : log.entries)
        all.push_back(levelAndEntry.second);
    return all;
}

void RecordingLog::Clear() {
    SLog& log = Log();
    const std::lock_guard<std::mutex> guard(log.lock);
    log.entries.clear();
    log.filtered.clear();
}

std::vector<std::string> RecordingLog::ErrorTexts() {
    return TextsOf(ELevel::Error);
}

std::vector<std::string> RecordingLog::InfoTexts() {
    return TextsOf(ELevel::Info);
}

}  // namespace TestSupport

void LogProcess::Error(unsigned int code, const std::string& text, const LocationInfo& where) {
    TestSupport::Record(TestSupport::ELevel::Error, code, text, where);
}

void LogProcess::Info(const std::string& text, const LocationInfo& where) {
    TestSupport::Record(TestSupport::ELevel::Info, 0, text, where);
}

// The name is the host's own.
void _Log_Affirm(unsigned int code, const std::string& text, const LocationInfo& where) {
    TestSupport::Record(TestSupport::ELevel::Affirm, code, text, where);
}

std::string TQ_UTIL::CWBLogFilter::filter(const std::string& text) {
    TestSupport::SLog& log = TestSupport::Log();
    const std::lock_guard<std::mutex> guard(log.lock);
    log.filtered.insert(text);
    return text;
}
