#ifndef QEL_TOOLS_DIALOGUERECORD_H
#define QEL_TOOLS_DIALOGUERECORD_H

#include <chrono>
#include <string>
#include <vector>

#include "tools/dialogue.h"

namespace qelftp {

using CheckClock = std::chrono::steady_clock;

// A command and what the server answered. The first exchange of a record is the greeting: its
// command is empty, and it begins with the record.
struct SExchange {
    std::string strCommand;
    std::vector<std::string> replies;  // lines
    CheckClock::time_point sent;
    CheckClock::time_point answered;  // the last line so far; sent, if there is none

    // "227" of the last line; empty when that does not begin with three digits.
    std::string Code() const;
    std::string LastLine() const { return replies.empty() ? "" : replies.back(); }
    double Millis() const {
        return std::chrono::duration<double, std::milli>(answered - sent).count();
    }
};

// A dialogue as exchanges, in its order.
class CDialogueRecord {
public:
    CDialogueRecord();

    void Add(EDirection eDirection, const std::string& strLine);

    const SExchange& Greeting() const { return m_exchanges.front(); }

    // The last exchange whose command is this word, alone or with arguments; null if there is none.
    const SExchange* Find(const std::string& strWord) const;

private:
    std::vector<SExchange> m_exchanges;
};

}  // namespace qelftp

#endif
