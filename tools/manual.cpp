#include "tools/manual.h"

#include <cctype>
#include <sstream>

#include "tools/commandtable.h"
#include "tools/optiontext.h"

namespace qelftp {
namespace {

constexpr const char* kHead =
    ".TH QELFTP 1 \"\" \"qelftp " QELFTP_VERSION
    "\" \"User Commands\"\n"
    ".SH NAME\n"
    "qelftp \\- move files to and from FTP and SFTP servers\n"
    ".SH SYNOPSIS\n"
    ".B qelftp\n"
    ".I COMMAND\n"
    ".RI [ OPTIONS ]\n"
    ".IR ARGUMENTS ...\n"
    ".SH DESCRIPTION\n"
    "Lists, fetches, sends and removes files and directories that URLs name:\n"
    ".PP\n"
    ".nf\n"
    ".RS\n"
    "ftp://user@host:port/path\n"
    "sftp://user@host:port/path\n"
    ".RE\n"
    ".fi\n"
    ".PP\n"
    "The path is below the directory of the login; \"..\" does not lead out of it.\n"
    "All that follows the host is path, \"?\" and \"#\" included.\n"
    "The port, 21 or 22, and the user can be left out: then it is the one that\n"
    ".I ~/.netrc\n"
    "has for the host, else \"anonymous\" for ftp and who runs the program for sftp.\n"
    "Blanks and the like can be written as they are or as \"%20\".\n"
    "A password in a URL is refused, since others can see the command line.\n"
    ".PP\n"
    "Data goes to standard output, messages and progress go to standard error.\n";

constexpr const char* kPasswords =
    ".SH PASSWORDS\n"
    "The first of these that there is: the file of\n"
    ".BR \\-\\-password\\-file ,\n"
    "the variable\n"
    ".BR QELFTP_PASSWORD ,\n"
    "the entry of the host in\n"
    ".IR ~/.netrc ,\n"
    "an answer on the terminal.\n"
    "The user \"anonymous\" needs none.\n"
    "Files with passwords must not be readable by others.\n";

struct SEntry {
    const char* pszName;
    const char* pszText;
};

constexpr SEntry kEnvironment[] = {
    {"QELFTP_PASSWORD", "the password"},
    {"QELFTP_PASSPHRASE", "the passphrase of the private key"},
    {"NETRC", "the file to use instead of ~/.netrc"},
    {"NO_COLOR", "if set, nothing is coloured"},
    {"QEL_LOG_LEVEL",
     "the library's log: \"off\" (qelftp's default), \"error\", \"info\", \"trace\""},
    {"QEL_LOG_FILE", "where the log goes instead of standard error"},
    {"LC_ALL, LC_CTYPE, LANG", "encoding of arguments, local names and output"},
};

constexpr SEntry kFiles[] = {
    {"~/.netrc", "user names and passwords of hosts"},
    {"~/.ssh/known_hosts", "host keys of SFTP servers"},
};

constexpr SEntry kExitCodes[] = {
    {"0", "done"},
    {"1",
     "the operation failed, for one file at least; for \"exists\" also: it does not exist; for "
     "\"check\" also: the server does not work with the library"},
    {"2", "the command line, or the password, is not usable; nothing was sent"},
    {"130", "interrupted by Ctrl-C; after other signals 128 and their number"},
};

// A line of text for troff: no backslash, no hyphen that wraps or turns typographic, and no leading
// control character.
std::string Escaped(const std::string& strLine) {
    std::string strEscaped;
    for (const char c : strLine) {
        if (c == '\\') {
            strEscaped += "\\e";
        } else if (c == '-') {
            strEscaped += "\\-";
        } else if (c == '~') {
            strEscaped += "\\(ti";
        } else if (c == '^') {
            strEscaped += "\\(ha";
        } else if (c == '\'') {
            strEscaped += "\\(aq";
        } else {
            strEscaped += c;
        }
    }
    const bool bControl = !strEscaped.empty() && strEscaped.front() == '.';
    return bControl ? "\\&" + strEscaped : strEscaped;
}

// A summary, which begins with a small letter and has no full stop.
std::string Sentence(std::string strText) {
    strText.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(strText.front())));
    return Escaped(strText) + ".\n";
}

// Lines as they stand, an empty one as a new paragraph.
std::string Paragraphs(const std::string& strText) {
    std::string strParagraphs;
    std::istringstream lines(strText);
    std::string strLine;
    while (std::getline(lines, strLine))
        strParagraphs += strLine.empty() ? ".PP\n" : Escaped(strLine) + "\n";
    return strParagraphs;
}

std::string Literal(const std::string& strText) {
    std::string strLines;
    std::istringstream lines(strText);
    std::string strLine;
    while (std::getline(lines, strLine))
        strLines += Escaped(strLine) + "\n";
    return ".PP\n.nf\n.RS\n" + strLines + ".RE\n.fi\n";
}

std::string Option(const SOptionText& option) {
    std::string strNames;
    for (const std::string& strName : option.names)
        strNames += (strNames.empty() ? "\\fB" : ", \\fB") + Escaped(strName) + "\\fR";
    const std::string strValue =
        option.strValue.empty() ? "" : " \\fI" + Escaped(option.strValue) + "\\fR";
    return ".TP\n" + strNames + strValue + "\n" + Escaped(option.strMeaning) + "\n";
}

bool IsAmong(const SOptionText& option, const std::vector<SOptionText>& others) {
    for (const SOptionText& other : others) {
        if (other.names == option.names) return true;
    }
    return false;
}

std::string Command(const SCommand& command, const std::vector<SOptionText>& common) {
    std::string strText = std::string(".SS \"qelftp ") + command.pszName + " [OPTIONS] " +
                          command.pszArguments + "\"\n" + Sentence(command.pszSummary) + ".PP\n" +
                          Paragraphs(command.pszDetails);
    for (const SOptionText& option : OptionsOf(&command)) {
        if (!IsAmong(option, common)) strText += Option(option);
    }
    return strText + ".PP\nExamples:\n" + Literal(command.pszExamples);
}

template <std::size_t nCount>
std::string Section(const char* pszTitle, const SEntry (&entries)[nCount]) {
    std::string strText = std::string(".SH ") + pszTitle + "\n";
    for (const SEntry& entry : entries) {
        strText += ".TP\n.B " + Escaped(entry.pszName) + "\n" + Escaped(entry.pszText) + "\n";
    }
    return strText;
}

}  // namespace

std::string ManualPage() {
    const std::vector<SOptionText> common = OptionsOf(nullptr);
    std::string strPage = kHead;
    strPage += ".SH COMMANDS\n";
    for (const SCommand& command : Commands())
        strPage += Command(command, common);
    strPage += ".SH OPTIONS\nFor every command, before or after its name:\n";
    for (const SOptionText& option : common)
        strPage += Option(option);
    strPage += kPasswords;
    strPage += Section("ENVIRONMENT", kEnvironment);
    strPage += Section("FILES", kFiles);
    strPage += Section("EXIT STATUS", kExitCodes);
    return strPage;
}

}  // namespace qelftp
