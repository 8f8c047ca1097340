#include "src/ftp/passivereply.h"

#include <array>
#include <string_view>

namespace RVN_FTP_CLIENT {
namespace {

constexpr std::size_t kReplyCodeSize = 3;
constexpr std::string_view kDigits = "0123456789";
// A number that one of these goes on from or stands next to is none of the six.
constexpr std::string_view kNumberText = "0123456789,.-+";

// 256 or more when the digits are none of a byte.
unsigned int ByteOf(std::string_view strDigits) {
    if (strDigits.empty() || strDigits.size() > 3) return 256;
    unsigned int uValue = 0;
    for (const char c : strDigits) {
        if (kDigits.find(c) == std::string_view::npos) return 256;
        uValue = uValue * 10 + static_cast<unsigned int>(c - '0');
    }
    return uValue;
}

// The port of a word that is "h1,h2,h3,h4,p1,p2" and nothing else; 0 for any other.
unsigned short PortOf(std::string_view strWord) {
    std::array<unsigned int, 6> numbers{};
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        const std::size_t nEnd = i + 1 < numbers.size() ? strWord.find(',') : strWord.size();
        if (nEnd == std::string_view::npos) return 0;
        numbers[i] = ByteOf(strWord.substr(0, nEnd));
        if (numbers[i] > 255) return 0;
        strWord.remove_prefix(i + 1 < numbers.size() ? nEnd + 1 : nEnd);
    }
    return static_cast<unsigned short>(numbers[4] * 256 + numbers[5]);
}

}  // namespace

bool ParsePassiveReply(const std::string& strReply, unsigned short& usPort) {
    std::string_view strText(strReply);
    strText.remove_prefix(strText.size() < kReplyCodeSize ? strText.size() : kReplyCodeSize);
    while (!strText.empty()) {
        const std::size_t nWord = strText.find_first_of(kNumberText);
        if (nWord == std::string_view::npos) return false;
        strText.remove_prefix(nWord);
        const std::size_t nEnd = strText.find_first_not_of(kNumberText);
        std::string_view strWord = strText.substr(0, nEnd);
        strText.remove_prefix(strWord.size());
        // A full stop may end the sentence.
        while (!strWord.empty() && strWord.back() == '.')
            strWord.remove_suffix(1);
        const unsigned short usFound = PortOf(strWord);
        if (usFound == 0) continue;
        usPort = usFound;
        return true;
    }
    return false;
}

}  // namespace RVN_FTP_CLIENT
