// A program that logs. The tests run it, since the log reads its settings once in a process. Its
// argument names what to do; the exit code is 0 when the program itself found nothing wrong.

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "platform/logging.h"
#include "tests/platform/logchild.h"

namespace {

using namespace PlatformTest;

// Every operation once. The text looks like a format, which it must not be taken for.
int WriteEach() {
    const LocationInfo where("ftpcommand", "Ftp_cwd", 12);
    const _TraceFunction trace(where);
    LogProcess::Error(0x3bb0000e, "{} an error %s", where);
    LogProcess::Info("{} an info %s", where);
    _Log_Affirm(0xFFFFFFFF, "{} a null pointer %s", where);
    return 0;
}

int WriteWithoutLocation() {
    LogProcess::Error(0, "text", LocationInfo(nullptr, nullptr, 0));
    return 0;
}

// Objects of the program's whole life, which log when the test asks for it.
bool LogsAt(const char* pszMoment) {
    const char* const pszMoments = std::getenv("QEL_TEST_MOMENTS");
    return pszMoments != nullptr && std::strstr(pszMoments, pszMoment) != nullptr;
}

struct SLogsBeforeMain {
    SLogsBeforeMain() {
        if (LogsAt("start")) LogProcess::Error(1, "before main", LocationInfo("child", "life", 1));
    }
};
const SLogsBeforeMain logsBeforeMain;

struct SLogsAfterMain {
    ~SLogsAfterMain() {
        if (LogsAt("end")) LogProcess::Error(3, "after main", LocationInfo("child", "life", 3));
    }
};
const SLogsAfterMain logsAfterMain;

int LogInMain() {
    LogProcess::Error(2, "in main", LocationInfo("child", "life", 2));
    return 0;
}

int LogAndDie() {
    LogProcess::Error(0, "last words", LocationInfo("child", "death", 1));
    _exit(0);
}

int KeepErrno() {
    for (int i = 0; i < 3; ++i) {
        errno = EXDEV;
        WriteEach();
        if (errno != EXDEV) return 1;
    }
    return 0;
}

int WriteFromThreads() {
    std::vector<std::thread> threads;
    for (int nThread = 0; nThread < kLogThreads; ++nThread)
        threads.emplace_back([nThread] {
            const std::string strThread = "thread " + std::to_string(nThread) + " line ";
            for (int nLine = 0; nLine < kLogLines; ++nLine) {
                const LocationInfo where("logchild", "threads", nLine);
                const _TraceFunction trace(where);
                LogProcess::Info(strThread + std::to_string(nLine), where);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    return 0;
}

int WriteMoreThanAFileTakes() {
    const std::string strFilling(1000, '.');
    for (int nLine = 0; nLine < kRotatedLines; ++nLine)
        LogProcess::Error(0, std::to_string(nLine) + strFilling, LocationInfo("a", "b", 1));
    return 0;
}

int WriteMuchThatIsOff() {
    const std::clock_t start = std::clock();  // of the processor, which others may be busy on
    const LocationInfo where("ftpcommand", "Ftp_cwd", 12);
    const std::string strText(1000, 'x');
    for (int i = 0; i < 1000000; ++i) {
        const _TraceFunction trace(where);
        LogProcess::Info(strText, where);
    }
    const double dSeconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    std::fprintf(stderr, "%.3f s\n", dSeconds);
    // Formatting and writing three million lines takes many times as long.
    return dSeconds < 2.0 ? 0 : 1;
}

// Every open descriptor of the log file must be closed when the process starts another program.
int CheckCloseOnExec() {
    LogProcess::Error(0, "text", LocationInfo("a", "b", 1));
    const char* const pszFile = std::getenv("QEL_LOG_FILE");
    int nFound = 0;
    for (int fd = 3; fd < 64; ++fd) {
        char target[PATH_MAX] = "";
        const std::string strLink = "/proc/self/fd/" + std::to_string(fd);
        if (readlink(strLink.c_str(), target, sizeof(target) - 1) < 0) continue;
        if (std::strcmp(target, pszFile) != 0) continue;
        ++nFound;
        if ((fcntl(fd, F_GETFD) & FD_CLOEXEC) == 0) return 1;
    }
    return nFound == 1 ? 0 : 2;
}

int WriteToClosedStandardError() {
    close(STDERR_FILENO);
    return WriteEach();
}

// Memory runs out in the midst of logging: a line may be lost, nothing may be thrown.
bool g_bNoMemory = false;

int LogWithoutMemory() {
    const LocationInfo where("ftpcommand", "Ftp_cwd", 12);
    const std::string strText(100000, 'x');  // more than any buffer that is not allocated
    g_bNoMemory = true;
    {
        const _TraceFunction trace(where);
        LogProcess::Error(1, strText, where);
        LogProcess::Info(strText, where);
        _Log_Affirm(1, strText, where);
        if (!TQ_UTIL::CWBLogFilter::getInstance()->filter(strText).empty()) return 1;
    }
    g_bNoMemory = false;
    LogProcess::Error(1, "memory is back", where);
    return 0;
}

struct SAction {
    const char* pszName;
    int (*run)();
};
const SAction kActions[] = {
    {"each", WriteEach},
    {"nowhere", WriteWithoutLocation},
    {"life", LogInMain},
    {"die", LogAndDie},
    {"errno", KeepErrno},
    {"threads", WriteFromThreads},
    {"rotate", WriteMoreThanAFileTakes},
    {"off", WriteMuchThatIsOff},
    {"closeonexec", CheckCloseOnExec},
    {"closed", WriteToClosedStandardError},
    {"nomemory", LogWithoutMemory},
};

}  // namespace

void* operator new(std::size_t nSize) {
    void* const pBlock = g_bNoMemory ? nullptr : std::malloc(nSize == 0 ? 1 : nSize);
    if (pBlock == nullptr) throw std::bad_alloc();
    return pBlock;
}
void operator delete(void* pBlock) noexcept {
    std::free(pBlock);
}
void operator delete(void* pBlock, std::size_t) noexcept {
    std::free(pBlock);
}

int main(int nArguments, char** arguments) {
    const std::string strWanted = nArguments == 2 ? arguments[1] : "";
    for (const SAction& action : kActions)
        if (strWanted == action.pszName) return action.run();
    return 99;
}
