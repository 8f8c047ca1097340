#include "tools/transferreport.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "tools/forwardingreport.h"
#include "tools/jsonreport.h"
#include "tools/progressdisplay.h"
#include "tools/progresslines.h"
#include "tools/ticker.h"

namespace qelftp {
namespace {

constexpr std::chrono::milliseconds kInterval{125};

class CNoReport : public CTransferReport {
public:
    void Planned(std::size_t, unsigned long long) override {}
    void Started(std::size_t, const STransfer&) override {}
    void Moved(std::size_t, unsigned long long, unsigned long long) override {}
    void Finished(std::size_t, const SFileOutcome&) override {}
    void Done() override {}
};

// Lets time pass for a report. Ends what it shows even if nobody called Done.
class CTickedReport : public CForwardingReport {
public:
    // pReport is the same as report.
    CTickedReport(CProgressReport* pReport, std::unique_ptr<CTransferReport> report)
        : CForwardingReport(std::move(report)),
          m_ticker(std::in_place, kInterval, [pReport] { pReport->Tick(); }) {}
    ~CTickedReport() override { CTickedReport::Done(); }

    void Done() override {
        m_ticker.reset();
        CForwardingReport::Done();
    }

private:
    std::optional<CTicker> m_ticker;
};

// A job of the shell that runs in the background keeps off the terminal.
bool IsInBackground() {
    const pid_t group = ::tcgetpgrp(STDERR_FILENO);
    return group >= 0 && group != ::getpgrp();  // negative: no terminal, or not this session's
}

// What cannot be shown is not worth an error.
void WriteMessage(const std::string& strText) {
    if (IsInBackground()) return;
    std::size_t nDone = 0;
    while (nDone < strText.size()) {
        const ssize_t nWritten =
            ::write(STDERR_FILENO, strText.data() + nDone, strText.size() - nDone);
        if (nWritten < 0 && errno == EINTR) continue;
        if (nWritten <= 0) return;
        nDone += static_cast<std::size_t>(nWritten);
    }
}

int WriteData(const std::string& strText) {
    const bool bWritten = std::fwrite(strText.data(), 1, strText.size(), stdout) == strText.size();
    return bWritten && std::fflush(stdout) == 0 ? 0 : errno;
}

SScreen Screen() {
    winsize size{};
    if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
        return {};
    }
    return {size.ws_col, size.ws_row};
}

bool IsSet(const char* pszVariable) {
    const char* const pszValue = std::getenv(pszVariable);
    return pszValue != nullptr && *pszValue != '\0';
}

// Whether standard error can be drawn on.
bool HasScreen() {
    const char* const pszTerminal = std::getenv("TERM");
    if (::isatty(STDERR_FILENO) != 1 || pszTerminal == nullptr) return false;
    const std::string_view terminal = pszTerminal;
    return !terminal.empty() && terminal != "dumb";
}

std::unique_ptr<CTransferReport> MakeDisplay(const SReportOptions& options) {
    if (options.bQuiet) return std::make_unique<CNoReport>();
    const FClock clock = std::chrono::steady_clock::now;
    std::unique_ptr<CProgressReport> report;
    if (!options.bVerbose && HasScreen()) {
        report =
            std::make_unique<CProgressDisplay>(clock, WriteMessage, Screen, !IsSet("NO_COLOR"));
    } else {
        report = std::make_unique<CProgressLines>(clock, WriteMessage, options.bVerbose);
    }
    CProgressReport* const pReport = report.get();
    return std::make_unique<CTickedReport>(pReport, std::move(report));
}

}  // namespace

std::unique_ptr<CTransferReport> MakeReport(const SReportOptions& options) {
    std::unique_ptr<CTransferReport> report = MakeDisplay(options);
    if (!options.bJson) return report;
    return std::make_unique<CJsonReport>(std::move(report), WriteData);
}

}  // namespace qelftp
