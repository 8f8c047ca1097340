#ifndef QEL_PLATFORM_LOGGING_H
#define QEL_PLATFORM_LOGGING_H

#include <string>

// Logging, as the library expects it of its host.
//
// Every operation may be called from any thread at any time, also before main() and while the
// process exits; none may throw or block for long, for the library logs inside network dialogues.
// A program may replace any single one of them by defining it.

// Where a log line comes from. The texts are borrowed: they must outlive the object, which string
// literals do.
class LocationInfo {
public:
    // file: source name without suffix ("ftpcommand"); function: the operation; line: from 1.
    LocationInfo(const char* file, const char* function, int line);

    const char* File() const;
    const char* Function() const;
    int Line() const;

private:
    const char* m_pszFile;
    const char* m_pszFunction;
    int m_nLine;
};

// The host's log. The library hands over texts that already went through TQ_UTIL::CWBLogFilter.
class LogProcess {
public:
    // code: a library result code, an errno, or 0xFFFFFFFF where the failure has no number.
    static void Error(unsigned int code, const std::string& text, const LocationInfo& where);

    static void Info(const std::string& text, const LocationInfo& where);
};

// Marks one run of a notable operation: entered when constructed, left when destroyed. Lives on
// the stack of the operation it traces.
class _TraceFunction {  // the host's own spelling, underscore included
public:
    explicit _TraceFunction(const LocationInfo& where);
    ~_TraceFunction();

    _TraceFunction(const _TraceFunction&) = delete;
    _TraceFunction& operator=(const _TraceFunction&) = delete;

private:
    LocationInfo m_where;
};

// Reports a broken assumption inside the library (a null pointer). Returns: the caller goes on.
void _Log_Affirm(unsigned int code, const std::string& text, const LocationInfo& where);

namespace TQ_UTIL {

// Makes a text safe to be one line of the host's log: whatever a server sent, it can neither start
// a line of its own nor drive a terminal, and secrets it may hold are masked.
class CWBLogFilter {
public:
    // The process's filter; never null, never destroyed by the caller.
    static CWBLogFilter* getInstance();

    // text: any bytes, control bytes and NUL included. Returns the text to write.
    std::string filter(const std::string& text);
};

}  // namespace TQ_UTIL

#endif
