// Input: the text of a reply, as the commands of a transfer get it.

#include <string>
#include <vector>

#include "fuzz/require.h"
#include "src/ftp/closingreply.h"

namespace QelFuzz {
namespace {

// What a line is to the reader of replies (RFC 959, section 4.2).
struct SLine {
    char cMark = '\0';    // '-' opens a reply of several lines, ' ' ends a reply; else neither
    std::string strCode;  // three digits
};

std::vector<SLine> LinesOf(std::string_view strText) {
    std::vector<SLine> lines;
    while (strText.find('\n') != std::string_view::npos) {
        const std::string_view strLine = TakeUntil(strText, '\n');
        if (strLine.size() < 4) continue;
        const std::string strCode(strLine.substr(0, 3));
        if (strCode.find_first_not_of("0123456789") != std::string::npos) continue;
        if (strCode == "000") continue;
        lines.push_back({strLine[3], strCode});
    }
    return lines;
}

// The codes of the complete replies, in their order.
std::vector<std::string> CompleteReplies(std::string_view strText) {
    std::vector<std::string> codes;
    std::string strOpen;
    for (const SLine& line : LinesOf(strText)) {
        if (!strOpen.empty() && line.strCode != strOpen) continue;
        if (line.cMark == '-') strOpen = line.strCode;
        if (line.cMark != ' ') continue;
        codes.push_back(line.strCode);
        strOpen.clear();
    }
    return codes;
}

bool FinalAfterPreliminary(const std::vector<std::string>& codes) {
    bool bPreliminary = false;
    for (const std::string& strCode : codes) {
        if (strCode.front() == '1') bPreliminary = true;
        if (strCode.front() != '1' && bPreliminary) return true;
    }
    return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    const std::string strReply(TextOf(pData, nSize));
    RequireEqual(FinalAfterPreliminary(CompleteReplies(strReply)),
                 RVN_FTP_CLIENT::HoldsClosingReply(strReply), "HoldsClosingReply");
    return 0;
}

}  // namespace QelFuzz
