#ifndef QEL_TOOLS_PROMPT_H
#define QEL_TOOLS_PROMPT_H

#include <string>

#include "tools/plaintext.h"

namespace qelftp {

enum class EPrompt { Answered, NoTerminal, NoAnswer };

// Asks on the controlling terminal, wherever standard input and output lead, and appends the line
// typed there, without its end. Nothing of it is shown. NoAnswer: end of input, or a line that is
// too long.
//
// The terminal is as before when this returns and also while a signal stops or ends the program;
// after a stop the question is asked again.
EPrompt PromptWithoutEcho(const std::string& strQuestion, CPlainText& answer);

}  // namespace qelftp

#endif
