#include "tools/dialoguerecord.h"

#include <algorithm>
#include <cctype>

namespace qelftp {
namespace {

constexpr std::size_t kCodeDigits = 3;

}  // namespace

std::string SExchange::Code() const {
    const std::string strCode = LastLine().substr(0, kCodeDigits);
    const bool bDigits = std::all_of(strCode.begin(), strCode.end(),
                                     [](unsigned char c) { return std::isdigit(c) != 0; });
    return bDigits && strCode.size() == kCodeDigits ? strCode : "";
}

CDialogueRecord::CDialogueRecord() {
    const auto now = CheckClock::now();
    m_exchanges.push_back({"", {}, now, now});
}

void CDialogueRecord::Add(EDirection eDirection, const std::string& strLine) {
    const auto now = CheckClock::now();
    if (eDirection == EDirection::Sent) {
        m_exchanges.push_back({strLine, {}, now, now});
        return;
    }
    m_exchanges.back().replies.push_back(strLine);
    m_exchanges.back().answered = now;
}

const SExchange* CDialogueRecord::Find(const std::string& strWord) const {
    const auto found = std::find_if(
        m_exchanges.rbegin(), m_exchanges.rend(), [&strWord](const SExchange& exchange) {
            return exchange.strCommand.substr(0, exchange.strCommand.find(' ')) == strWord;
        });
    return found == m_exchanges.rend() ? nullptr : &*found;
}

}  // namespace qelftp
