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
#include "tools/optiontext.h"
#include "tools/url.h"
#include "tools/visible.h"

namespace qelftp {
namespace {

constexpr int kColumnWidth = 32;
constexpr int kMaxValue = 65535;

constexpr std::size_t kMaxJobs = 64;

constexpr const char* kProgramDetails =
    "Moves files to and from FTP and SFTP servers. URL: ftp://user@host:port/path, or with\n"
    "sftp://, the path below the directory of the login. Port and user can be left out.\n"
    "Blanks and the like can be written as they are or as \"%20\".";

constexpr const char* kProgramFooter =
    "'qelftp COMMAND --help' tells more, with examples.\n"
    "\n"
    "The password comes from --password-file, QELFTP_PASSWORD or ~/.netrc, else it is asked\n"
    "for on the terminal; the passphrase of a key from QELFTP_PASSPHRASE or the terminal.\n"
    "QEL_LOG_LEVEL (off, error, info, trace) makes the library's log appear on standard\n"
    "error or in the file QEL_LOG_FILE.\n"
    "\n"
    "Exit code: 0 done, 1 the operation failed, 2 the command line is wrong,\n"
    "130 interrupted by Ctrl-C.";

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

void AddSshOptions(CLI::App& app, SSshOptions& options) {
    app.add_option("--identity", options.strIdentity, "sftp: private key to log in with")
        ->option_text("FILE");
    app.add_option("--known-hosts", options.strKnownHosts, "sftp: host keys to trust")
        ->option_text("FILE (~/.ssh/known_hosts)");
    app.add_flag("--accept-new-host-key", options.bAcceptNewHostKey,
                 "sftp: trust an unknown host, and record its key");
}

// These, too, before the command and after it.
void AddCommonOptions(CLI::App& app, SInvocation& invocation) {
    AddConnectOptions(app, invocation.connect);
    AddSshOptions(app, invocation.ssh);
    app.add_option("--password-file", invocation.strPasswordFile,
                   "file whose first line is the password")
        ->option_text("FILE");
    app.add_flag("-q,--quiet", invocation.report.bQuiet, "tell failures only");
    app.add_flag("-v,--verbose", invocation.report.bVerbose,
                 "show the dialogue with the server, secrets masked");
}

void AddTransferOptions(CLI::App& app, SInvocation& invocation) {
    STransferOptions& transfer = invocation.transfer;
    app.add_flag("-c,--continue", transfer.bContinue, "add to half files; not with ftp://");
    app.add_option("-j,--jobs", invocation.report.nJobs, "sessions that move files side by side")
        ->check(CLI::Range(std::size_t{1}, kMaxJobs))
        ->option_text(fmt::format("N ({})", invocation.report.nJobs));
    app.add_option("--retries", transfer.uRetries, "further attempts for each file")
        ->check(CLI::Range(0, kMaxValue))
        ->option_text(fmt::format("N ({})", transfer.uRetries));
    app.add_flag("-n,--dry-run", transfer.bDryRun, "print what would be done, and do nothing");
}

void AddGroups(CLI::App& app, unsigned int uGroups, SInvocation& invocation) {
    STransferOptions& transfer = invocation.transfer;
    if ((uGroups & kTreeOptions) != 0) {
        app.add_flag("-r,--recursive", transfer.bRecursive, "directories with all that is in them");
        app.add_flag("-f,--force", transfer.bForce, "with -r: also what is there already");
    }
    if ((uGroups & kDeleteOptions) != 0) {
        app.add_flag("--delete", transfer.bDelete, "remove from TARGET what SOURCE has not");
        app.add_flag("-y,--yes", transfer.bYes, "with --delete: without asking");
    }
    if ((uGroups & kTransferOptions) != 0) AddTransferOptions(app, invocation);
    if ((uGroups & kJsonOption) != 0) {
        app.add_flag("--json", invocation.report.bJson, "one JSON object a line");
    }
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
    AddGroups(*pSub, command.uOptions, invocation);
    AddCommonOptions(*pSub, invocation);
}

void Prepare(CLI::App& app, SInvocation& invocation) {
    app.formatter(
        std::make_shared<CHelpFormatter>("COMMAND [OPTIONS] ARGUMENTS...", kProgramDetails));
    app.footer(kProgramFooter);
    app.set_help_flag("-h,--help", "print this help and exit");
    app.set_version_flag("--version", "qelftp " QELFTP_VERSION, "print the version and exit");
    app.require_subcommand(0, 1);
    AddCommonOptions(app, invocation);
    for (const SCommand& command : Commands())
        AddCommand(app, command, invocation);
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

SOptionText TextOf(const CLI::Option& option) {
    SOptionText text;
    for (const std::string& strName : option.get_snames())
        text.names.push_back("-" + strName);
    for (const std::string& strName : option.get_lnames())
        text.names.push_back("--" + strName);
    text.strValue = option.get_option_text();
    text.strMeaning = option.get_description();
    return text;
}

}  // namespace

std::vector<SOptionText> OptionsOf(const SCommand* pCommand) {
    CLI::App app("", "qelftp");
    SInvocation invocation;
    Prepare(app, invocation);
    const CLI::App& shown = pCommand == nullptr ? app : *app.get_subcommand(pCommand->pszName);
    std::vector<SOptionText> options;
    for (const CLI::Option* pOption : shown.get_options()) {
        if (!pOption->get_positional()) options.push_back(TextOf(*pOption));
    }
    return options;
}

bool ParseArguments(int nArguments, const char* const* ppszArguments, SRequest& request) {
    CLI::App app("", "qelftp");
    Prepare(app, request.invocation);

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
