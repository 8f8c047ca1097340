#include "tools/check.h"

#include <fmt/format.h>

#include <chrono>

#include "tools/checkreport.h"
#include "tools/failure.h"
#include "tools/ftpcheck.h"
#include "tools/logincredentials.h"
#include "tools/printdata.h"
#include "tools/sessionfactory.h"
#include "tools/transferplan.h"

namespace qelftp {
namespace {

class CStopWatch {
public:
    double Millis() const {
        return std::chrono::duration<double, std::milli>(Clock::now() - m_start).count();
    }

private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point m_start = Clock::now();
};

// Adds how the work went; its text is what the work returns. Returns false when it threw.
template <typename FWork>
bool Try(CheckSteps& steps, const char* pszName, FWork work) {
    const CStopWatch time;
    try {
        const std::string strText = work();
        steps.push_back({pszName, EFinding::Good, time.Millis(), strText});
        return true;
    } catch (const COperationError& error) {
        const SFailure& failure = error.Failures().front();
        std::string strText = failure.strMeaning;
        if (!failure.strAdvice.empty()) strText += "; " + failure.strAdvice;
        steps.push_back({pszName, EFinding::Bad, time.Millis(), strText});
        return false;
    }
}

// What can be seen of a server whose protocol shows no text.
CheckSteps CheckSession(const CSessionFactory& factory) {
    CheckSteps steps;
    std::unique_ptr<CSession> session;
    const bool bLoggedIn = Try(steps, "login", [&] {
        session = factory.Open();
        return "as " + factory.Connection().strUser;
    });
    if (!bLoggedIn) return steps;
    Try(steps, "listing", [&] {
        const std::size_t nEntries = session->List("/").size();
        return fmt::format("{} {} in the login directory", nEntries,
                           nEntries == 1 ? "entry" : "entries");
    });
    Try(steps, "close", [&] {
        session->Close();
        return std::string("in order");
    });
    return steps;
}

}  // namespace

void RunCheck(const SInvocation& invocation) {
    const SUrl url = UrlArgument(invocation.arguments.front());
    const CSessionFactory factory(url, invocation);
    const CheckSteps steps = url.strScheme == "ftp"
                                 ? CheckFtpServer(factory.Connection(), invocation.report.bVerbose)
                                 : CheckSession(factory);
    const std::string strServer = url.strHost + ":" + std::to_string(url.usPort);
    PrintData(invocation.report.bJson ? CheckJson(steps) : CheckTable(steps));
    if (!AllGood(steps)) {
        throw COperationError(
            SFailure{"check", strServer, "does not work with the library", {}, "see FAIL above"});
    }
    if (!invocation.report.bJson) PrintData(strServer + " works with the library\n");
}

}  // namespace qelftp
