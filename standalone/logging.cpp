#include "platform/logging.h"

#include <fcntl.h>
#include <spdlog/logger.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

// Where and how much is written is read from the environment once, at the first line:
//   QEL_LOG_FILE   names the file, which is rotated; else lines go to standard error
//   QEL_LOG_LEVEL  off, error, info or trace; else error
// A program that runs with more rights than its caller does not open files of the caller's choice.

namespace {

namespace level = spdlog::level;

constexpr std::size_t kMaxFileSize = std::size_t{10} * 1024 * 1024;
constexpr std::size_t kOlderFiles = 4;
constexpr const char* kLinePattern = "%Y-%m-%d %H:%M:%S.%e %P/%t %l %v";

struct SLevelName {
    const char* pszName;
    level::level_enum eLevel;
};
constexpr SLevelName kLevelNames[] = {
    {"off", level::off},
    {"error", level::err},
    {"info", level::info},
    {"trace", level::trace},
};

const char* Setting(const char* pszName) {
    const char* const pszValue = secure_getenv(pszName);
    return pszValue == nullptr ? "" : pszValue;
}

std::string Filtered(const std::string& strText) {
    return TQ_UTIL::CWBLogFilter::getInstance()->filter(strText);
}

// What the program's user should know about the settings, one text for each line.
using Problems = std::vector<std::string>;

level::level_enum ChosenLevel(Problems& problems) {
    const std::string strChosen = Setting("QEL_LOG_LEVEL");
    if (strChosen.empty()) return level::err;
    for (const SLevelName& name : kLevelNames)
        if (strChosen == name.pszName) return name.eLevel;
    problems.push_back("QEL_LOG_LEVEL=" + Filtered(strChosen) +
                       " is none of off, error, info, trace: using error");
    return level::err;
}

spdlog::sink_ptr ChosenSink(Problems& problems) {
    const std::string strFile = Setting("QEL_LOG_FILE");
    if (!strFile.empty()) {
        try {
            spdlog::file_event_handlers handlers;
            handlers.after_open = [](const spdlog::filename_t&, std::FILE* pFile) {
                fcntl(fileno(pFile), F_SETFD, FD_CLOEXEC);
            };
            return std::make_shared<spdlog::sinks::rotating_file_sink_mt>(
                strFile, kMaxFileSize, kOlderFiles, false, handlers);
        } catch (const spdlog::spdlog_ex& error) {
            problems.push_back("QEL_LOG_FILE cannot be used (" + Filtered(error.what()) +
                               "): using standard error");
        }
    }
    return std::make_shared<spdlog::sinks::stderr_sink_mt>();
}

std::unique_ptr<spdlog::logger> MakeLogger() {
    constexpr const char* kName = "qel";
    Problems problems;
    const level::level_enum eLevel = ChosenLevel(problems);
    auto logger = eLevel == level::off
                      ? std::make_unique<spdlog::logger>(kName)
                      : std::make_unique<spdlog::logger>(kName, ChosenSink(problems));
    logger->set_pattern(kLinePattern);
    logger->set_level(eLevel);
    logger->flush_on(level::trace);  // a line counts most when the process dies right after it
    for (const std::string& strProblem : problems)
        logger->error("{}", strProblem);
    return logger;
}

// Never destroyed: other objects may still log while the process exits.
spdlog::logger& Logger() {
    static spdlog::logger& logger = *MakeLogger().release();
    return logger;
}

// The one way to the log. Nothing is formatted for a level that is off; errno is left alone.
template <typename... Arguments>
void Write(level::level_enum eLevel, spdlog::format_string_t<Arguments...> format,
           Arguments&&... arguments) noexcept {
    const int nErrno = errno;
    try {
        Logger().log(eLevel, format, std::forward<Arguments>(arguments)...);
    } catch (...) {
        // A line is lost, out of memory most likely; there is no one to tell but the log.
    }
    errno = nErrno;
}

void WriteError(unsigned int uCode, const std::string& strText, const LocationInfo& where) {
    Write(level::err, "0x{:08x} {} ({} {}:{})", uCode, strText, where.File(), where.Function(),
          where.Line());
}

}  // namespace

LocationInfo::LocationInfo(const char* file, const char* function, int line)
    : m_pszFile(file == nullptr ? "" : file),
      m_pszFunction(function == nullptr ? "" : function),
      m_nLine(line) {}

const char* LocationInfo::File() const {
    return m_pszFile;
}
const char* LocationInfo::Function() const {
    return m_pszFunction;
}
int LocationInfo::Line() const {
    return m_nLine;
}

void LogProcess::Error(unsigned int code, const std::string& text, const LocationInfo& where) {
    WriteError(code, text, where);
}

void LogProcess::Info(const std::string& text, const LocationInfo& where) {
    Write(level::info, "{} ({} {}:{})", text, where.File(), where.Function(), where.Line());
}

_TraceFunction::_TraceFunction(const LocationInfo& where) : m_where(where) {
    Write(level::trace, "enter ({} {}:{})", where.File(), where.Function(), where.Line());
}

_TraceFunction::~_TraceFunction() {
    Write(level::trace, "leave ({} {}:{})", m_where.File(), m_where.Function(), m_where.Line());
}

void _Log_Affirm(unsigned int code, const std::string& text, const LocationInfo& where) {
    WriteError(code, text, where);
}
