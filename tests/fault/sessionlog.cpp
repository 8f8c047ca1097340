#include "tests/fault/sessionlog.h"

#include <mutex>
#include <utility>

#include "platform/logging.h"

namespace FaultTest {
namespace {

struct SLog {
    std::mutex lock;
    std::string strErrors;
    std::function<void()> onPieceRead;
};

SLog& Log() {
    static SLog& log = *new SLog;  // outlives whoever still logs while the process ends
    return log;
}

}  // namespace

void CallOnPieceRead(std::function<void()> called) {
    SLog& log = Log();
    const std::lock_guard<std::mutex> guard(log.lock);
    log.onPieceRead = std::move(called);
}

std::string LoggedErrors() {
    SLog& log = Log();
    const std::lock_guard<std::mutex> guard(log.lock);
    return log.strErrors;
}

}  // namespace FaultTest

void LogProcess::Error(unsigned int, const std::string& text, const LocationInfo&) {
    FaultTest::SLog& log = FaultTest::Log();
    const std::lock_guard<std::mutex> guard(log.lock);
    log.strErrors += text;
    if (text.empty() || text.back() != '\n') log.strErrors += '\n';
}

void LogProcess::Info(const std::string& text, const LocationInfo&) {
    if (text.find("GetRetCode msg begin:") == std::string::npos) return;
    std::function<void()> called;
    {
        FaultTest::SLog& log = FaultTest::Log();
        const std::lock_guard<std::mutex> guard(log.lock);
        called = log.onPieceRead;
    }
    if (called) called();
}
