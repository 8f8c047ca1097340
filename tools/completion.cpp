#include "tools/completion.h"

#include <algorithm>
#include <string>
#include <vector>

#include "tools/commandtable.h"
#include "tools/optiontext.h"

namespace qelftp {
namespace {

std::string Joined(const std::vector<std::string>& words, const char* pszBetween) {
    std::string strAll;
    for (const std::string& strWord : words)
        strAll += (strAll.empty() ? "" : pszBetween) + strWord;
    return strAll;
}

std::vector<std::string> Names(const std::vector<SOptionText>& options) {
    std::vector<std::string> names;
    for (const SOptionText& option : options)
        names.insert(names.end(), option.names.begin(), option.names.end());
    return names;
}

bool TakesFile(const SOptionText& option) {
    return option.strValue.rfind("FILE", 0) == 0;
}

// Whether one of the arguments can be a local path.
bool TakesLocal(const SCommand& command) {
    const std::string strArguments = command.pszArguments;
    return strArguments.find("LOCAL") != std::string::npos ||
           strArguments.find("SOURCE") != std::string::npos;
}

// The names of all options for which the rule holds, of any command, each once.
template <typename FRule>
std::vector<std::string> NamesWhere(FRule rule) {
    std::vector<SOptionText> options = OptionsOf(nullptr);
    for (const SCommand& command : Commands()) {
        for (const SOptionText& option : OptionsOf(&command))
            options.push_back(option);
    }
    std::vector<SOptionText> chosen;
    std::copy_if(options.begin(), options.end(), std::back_inserter(chosen), rule);
    std::vector<std::string> names = Names(chosen);
    std::sort(names.begin(), names.end());
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}

std::vector<std::string> CommandNames() {
    std::vector<std::string> names;
    for (const SCommand& command : Commands())
        names.emplace_back(command.pszName);
    return names;
}

// A row of a shell's case statement; none when there is no pattern.
std::string CaseRow(const char* pszIndentation, const std::vector<std::string>& patterns,
                    const std::string& strThen) {
    return patterns.empty() ? ""
                            : pszIndentation + Joined(patterns, "|") + ") " + strThen + " ;;\n";
}

// Within single quotes of a shell.
std::string Quoted(const std::string& strText) {
    std::string strQuoted = "'";
    for (const char c : strText)
        strQuoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return strQuoted + "'";
}

// A text inside what _arguments or _describe of zsh take.
std::string Escaped(const std::string& strText) {
    std::string strEscaped;
    for (const char c : strText) {
        if (c == ':' || c == '[' || c == ']' || c == '\\') strEscaped += '\\';
        strEscaped += c;
    }
    return strEscaped;
}

// '(-j --jobs)'{-j,--jobs}'[sessions ...]:N (1):'
std::string ZshOption(const SOptionText& option) {
    std::string strRest = "[" + Escaped(option.strMeaning) + "]";
    if (!option.strValue.empty()) {
        strRest += ":" + Escaped(option.strValue) + ":" + (TakesFile(option) ? "_files" : "");
    }
    if (option.names.size() == 1) return Quoted(option.names.front() + strRest);
    return Quoted("(" + Joined(option.names, " ") + ")") + "{" + Joined(option.names, ",") + "}" +
           Quoted(strRest);
}

std::string ZshOptions(const SCommand* pCommand, const std::string& strIndentation) {
    std::string strAll;
    for (const SOptionText& option : OptionsOf(pCommand))
        strAll += " \\\n" + strIndentation + ZshOption(option);
    return strAll;
}

std::string ZshCommand(const SCommand& command) {
    const std::string strWhat = Escaped(command.pszArguments);
    return std::string("        ") + command.pszName + ")\n            _arguments" +
           ZshOptions(&command, "                ") + " \\\n                " +
           Quoted("*:" + strWhat + ":" + (TakesLocal(command) ? "_files" : "")) + "\n" +
           "            ;;\n";
}

}  // namespace

std::string BashCompletion() {
    const auto takesValue = [](const SOptionText& option) { return !option.strValue.empty(); };
    const auto takesOther = [](const SOptionText& option) {
        return !option.strValue.empty() && !TakesFile(option);
    };
    constexpr const char* k2 = "        ";
    constexpr const char* k3 = "            ";
    const auto words = [](const std::vector<std::string>& all) {
        return "words=" + Quoted(Joined(all, " "));
    };
    std::vector<std::string> local;
    std::string strOptions = CaseRow(k3, {"''"}, words(Names(OptionsOf(nullptr))));
    for (const SCommand& command : Commands()) {
        if (TakesLocal(command)) local.emplace_back(command.pszName);
        strOptions += CaseRow(k3, {command.pszName}, words(Names(OptionsOf(&command))));
    }
    return "# Completion of qelftp's command line for bash.\n"
           "\n"
           "_qelftp_files() {\n"
           "    compopt -o filenames 2>/dev/null\n"
           "    mapfile -t COMPREPLY < <(compgen -f -- \"$1\")\n"
           "}\n"
           "\n"
           "_qelftp() {\n"
           "    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}\n"
           "    local command= words= i\n"
           "    COMPREPLY=()\n"
           "\n"
           "    # Bash takes \"--name=value\" for three words.\n"
           "    if [[ $previous == = ]]; then\n"
           "        previous=${COMP_WORDS[COMP_CWORD - 2]}\n"
           "    elif [[ $current == = ]]; then\n"
           "        current=\n"
           "    fi\n"
           "    case $previous in\n" +
           CaseRow(k2, NamesWhere(TakesFile), "_qelftp_files \"$current\"; return") +
           CaseRow(k2, NamesWhere(takesOther), "return") +
           "    esac\n"
           "\n"
           "    for ((i = 1; i < COMP_CWORD; ++i)); do\n"
           "        case ${COMP_WORDS[i]} in\n" +
           CaseRow(k3, NamesWhere(takesValue), "((++i)); [[ ${COMP_WORDS[i]} == = ]] && ((++i))") +
           CaseRow(k3, {"-*"}, ":") + CaseRow(k3, {"*"}, "command=${COMP_WORDS[i]}; break") +
           "        esac\n"
           "    done\n"
           "\n"
           "    if [[ $current == -* ]]; then\n"
           "        case $command in\n" +
           strOptions +
           "        esac\n"
           "    else\n"
           "        case $command in\n" +
           CaseRow(k3, {"''"}, words(CommandNames())) +
           CaseRow(k3, local, "_qelftp_files \"$current\"; return") +
           "        esac\n"
           "    fi\n"
           "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
           "}\n"
           "\n"
           "complete -F _qelftp qelftp\n";
}

std::string ZshCompletion() {
    std::string strCommands;
    std::string strCases;
    for (const SCommand& command : Commands()) {
        strCommands += "        " +
                       Quoted(std::string(command.pszName) + ":" + Escaped(command.pszSummary)) +
                       "\n";
        strCases += ZshCommand(command);
    }
    return "#compdef qelftp\n"
           "# Completion of qelftp's command line for zsh.\n"
           "\n"
           "_qelftp() {\n"
           "    local context state state_descr line ret=1\n"
           "    typeset -A opt_args\n"
           "    local -a commands=(\n" +
           strCommands +
           "    )\n"
           "\n"
           "    _arguments -C" +
           ZshOptions(nullptr, "        ") +
           " \\\n"
           "        '1:command:->command' \\\n"
           "        '*::argument:->argument' && ret=0\n"
           "\n"
           "    case $state in\n"
           "    command)\n"
           "        _describe -t commands 'qelftp command' commands && ret=0\n"
           "        ;;\n"
           "    argument)\n"
           "        case $words[1] in\n" +
           strCases +
           "        esac\n"
           "        ;;\n"
           "    esac\n"
           "    return ret\n"
           "}\n"
           "\n"
           "_qelftp \"$@\"\n";
}

}  // namespace qelftp
