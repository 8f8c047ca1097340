#include "tools/arguments.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tools/failure.h"
#include "tools/url.h"
#include "tools/visible.h"

namespace qelftp {
namespace {

constexpr int kColumnWidth = 32;
constexpr int kMaxValue = 65535;

constexpr const char* kProgramDetails =
    "Moves files to and from FTP servers. URL: ftp://user@host:port/path, the path below\n"
    "the directory of the login. Port 21 and user \"anonymous\" can be left out. Blanks and\n"
    "the like can be written as they are or as \"%20\".";

constexpr const char* kProgramFooter =
    "'qelftp COMMAND --help' tells more, with examples.\n"
    "\n"
    "The password comes from QELFTP_PASSWORD, else it is asked for on the terminal.\n"
    "QEL_LOG_LEVEL (off, error, info, trace) makes the library's log appear on standard\n"
    "error or in the file QEL_LOG_FILE.\n"
    "\n"
    "Exit code: 0 done, 1 the operation failed, 2 the command line is wrong.";

// What the table says comes from the table, not from the shape of CLI11's options.
class CHelpFormatter : public CLI::Formatter {
public:
    CHelpFormatter(std::string strUsage, std::string strDescription)
        : m_strUsage(std::move(strUsage)), m_strDescription(std::move(strDescription)) {
        column_width(kColumnWidth);
    }

    std::string make_description(const CLI::App*) const override { return m_strDescription + "\n"; }
    std::string make_positionals(const CLI::App*) const override { return ""; }
    std::string make_usage(const CLI::App*, std::string) const override {
        return "\nUsage: qelftp " + m_strUsage + "\n";
    }

private:
    std::string m_strUsage;
    std::string m_strDescription;
};

std::string Indented(const std::string& strLines) {
    return CLI::detail::find_and_replace("  " + strLines, "\n", "\n  ");
}

// Before the command and after it: both places are natural.
void AddConnectOptions(CLI::App& app, SConnectOptions& options) {
    const auto add = [&app](const char* pszName, unsigned short& usValue, const char* pszHelp) {
        app.add_option(pszName, usValue, pszHelp)
            ->check(CLI::Range(0, kMaxValue))
            ->option_text(fmt::format("N ({})", usValue));
    };
    add("--connect-timeout", options.usTimeout,
        "seconds for the first attempt to connect, and for each reply");
    add("--connect-retries", options.usRetries, "further attempts to connect");
    add("--connect-retry-timeout", options.usRetryTimeout, "seconds for each of these");
}

void AddCommand(CLI::App& app, const SCommand& command, SInvocation& invocation) {
    CLI::App* const pSub = app.add_subcommand(command.pszName, command.pszSummary);
    pSub->group("Commands");
    pSub->formatter(std::make_shared<CHelpFormatter>(
        std::string(command.pszName) + " [OPTIONS] " + command.pszArguments,
        std::string("qelftp ") + command.pszName + ": " + command.pszSummary + "\n\n" +
            command.pszDetails));
    pSub->footer("Examples:\n" + Indented(command.pszExamples));
    pSub->add_option("arguments", invocation.arguments);  // counted by CheckCount
    AddConnectOptions(*pSub, invocation.connect);
}

const SCommand* Chosen(const CLI::App& app) {
    for (const SCommand& command : Commands()) {
        if (app.got_subcommand(command.pszName)) return &command;
    }
    return nullptr;
}

std::string CommandNames() {
    std::string strNames;
    for (const SCommand& command : Commands())
        strNames += (strNames.empty() ? "" : ", ") + std::string(command.pszName);
    return strNames;
}

void CheckCount(const SCommand& command, const SInvocation& invocation) {
    const std::size_t nCount = invocation.arguments.size();
    if (nCount >= command.nMinArguments && nCount <= command.nMaxArguments) return;
    throw CUsageError(std::string("expected: qelftp ") + command.pszName + " " +
                      command.pszArguments);
}

// What CLI11 takes: the last argument first.
std::vector<std::string> Reversed(const char* const* ppszFirst, const char* const* ppszEnd) {
    std::vector<std::string> reversed;
    while (ppszEnd != ppszFirst) {
        const std::string strArgument = *--ppszEnd;
        // An argument in brackets would become a list; with "./" it names the same local file.
        const bool bBracket = !strArgument.empty() && strArgument.front() == '[';
        reversed.push_back(bBracket ? "./" + strArgument : strArgument);
    }
    return reversed;
}

// Without a value, which may be a password: "--name" of "--name=value", "-n" of "-nvalue".
std::string OptionName(const std::string& strArgument) {
    return strArgument.rfind("--", 0) == 0 ? strArgument.substr(0, strArgument.find('='))
                                           : strArgument.substr(0, 2);
}

std::string MessageOf(const CLI::App& app, const CLI::ParseError& error, bool bCommandKnown) {
    constexpr bool kOfCommandsToo = true;
    const std::vector<std::string> extra = app.remaining(kOfCommandsToo);
    if (extra.empty()) return error.what();
    if (!bCommandKnown && extra.front().rfind('-', 0) != 0) {
        return "there is no command \"" + VisibleText(extra.front()) +
               "\"; there are: " + CommandNames();
    }
    return "there is no option \"" + VisibleText(OptionName(extra.front())) + "\"";
}

}  // namespace

bool ParseArguments(int nArguments, const char* const* ppszArguments, SRequest& request) {
    CLI::App app("", "qelftp");
    app.formatter(
        std::make_shared<CHelpFormatter>("COMMAND [OPTIONS] ARGUMENTS...", kProgramDetails));
    app.footer(kProgramFooter);
    app.set_help_flag("-h,--help", "print this help and exit");
    app.set_version_flag("--version", "qelftp " QELFTP_VERSION, "print the version and exit");
    app.require_subcommand(0, 1);
    AddConnectOptions(app, request.invocation.connect);
    for (const SCommand& command : Commands())
        AddCommand(app, command, request.invocation);

    // CLI11 would leave the command at "--", and take what follows for the program's own.
    const char* const* const ppszEnd = ppszArguments + nArguments;
    const char* const* const ppszMark =
        std::find(ppszArguments + 1, ppszEnd, std::string_view("--"));
    try {
        app.parse(Reversed(ppszArguments + 1, ppszMark));
    } catch (const CLI::Success& help) {
        app.exit(help, std::cout, std::cerr);
        return false;
    } catch (const CLI::ParseError& error) {
        request.pCommand = Chosen(app);
        throw CUsageError(WithoutPasswords(MessageOf(app, error, request.pCommand != nullptr)));
    }
    request.pCommand = Chosen(app);
    if (request.pCommand == nullptr) throw CUsageError("a command is needed: " + CommandNames());
    if (ppszMark != ppszEnd) {
        request.invocation.arguments.insert(request.invocation.arguments.end(), ppszMark + 1,
                                            ppszEnd);
    }
    CheckCount(*request.pCommand, request.invocation);
    return true;
}

}  // namespace qelftp
