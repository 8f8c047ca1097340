#include <cstddef>
#include <new>
#include <string_view>

#include "platform/logging.h"
#include "standalone/utf8.h"

namespace {

constexpr std::string_view kPass = "PASS ";
constexpr std::string_view kMask = "****";

// Characters that a terminal or a viewer of logs acts on instead of showing them.
struct SCodeRange {
    char32_t cFirst;
    char32_t cLast;
};
constexpr SCodeRange kActive[] = {
    {0x00, 0x1F},      // control characters
    {0x7F, 0x9F},      // delete; the C1 control characters
    {0x2028, 0x202E},  // line and paragraph separator; embedded and overridden directions
    {0x2066, 0x2069},  // isolated directions
};

bool IsActive(char32_t cCode) {
    for (const SCodeRange& range : kActive)
        if (cCode >= range.cFirst && cCode <= range.cLast) return true;
    return false;
}

// Nearly all that is logged: printable ASCII that does not begin the word PASS. A server may make
// the library log a long line again and again, so these bytes are passed over quickly.
bool IsPlain(char c) {
    return c >= ' ' && c <= '~' && c != 'P' && c != 'p';
}

// Bytes of the character at the start of text that may stand in a log as it is; 0: the first byte
// must be made visible.
std::size_t HarmlessPrefix(std::string_view text) {
    const qel_standalone::SUtf8Char character = qel_standalone::FirstUtf8Char(text);
    return IsActive(character.cCode) ? 0 : character.nBytes;
}

bool IsWordByte(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}

char Upper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool IsPassAt(std::string_view text, std::size_t nAt) {
    if (nAt > 0 && IsWordByte(text[nAt - 1])) return false;
    if (text.size() - nAt < kPass.size()) return false;
    for (std::size_t i = 0; i < kPass.size(); ++i)
        if (Upper(text[nAt + i]) != kPass[i]) return false;
    return true;
}

// Where the line of a secret ends that starts at nFrom, which is not the first byte. A password may
// hold a lone CR, so only LF or CR LF ends it.
std::size_t EndOfLine(std::string_view text, std::size_t nFrom) {
    const std::size_t nFeed = text.find('\n', nFrom);
    if (nFeed == std::string_view::npos) return text.size();
    return text[nFeed - 1] == '\r' ? nFeed - 1 : nFeed;
}

void AppendVisible(std::string& strOut, char c) {
    constexpr char kDigits[] = "0123456789abcdef";
    switch (c) {
        case '\r':
            strOut += "\\r";
            return;
        case '\n':
            strOut += "\\n";
            return;
        case '\t':
            strOut += "\\t";
            return;
        default:
            const auto uByte = static_cast<unsigned char>(c);
            strOut += "\\x";
            strOut += kDigits[uByte >> 4];
            strOut += kDigits[uByte & 0x0F];
    }
}

std::string MadeSafe(std::string_view text) {
    std::string strOut;
    std::size_t nDone = 0;  // bytes of text that strOut accounts for
    for (std::size_t nAt = 0; nAt < text.size();) {
        if (IsPlain(text[nAt])) {
            ++nAt;
        } else if (IsPassAt(text, nAt)) {
            const std::size_t nSecret = nAt + kPass.size();
            strOut.append(text, nDone, nSecret - nDone).append(kMask);
            nAt = nDone = EndOfLine(text, nSecret);
        } else if (const std::size_t nHarmless = HarmlessPrefix(text.substr(nAt))) {
            nAt += nHarmless;
        } else {
            strOut.append(text, nDone, nAt - nDone);
            AppendVisible(strOut, text[nAt]);
            nDone = ++nAt;
        }
    }
    return strOut.append(text, nDone, text.size() - nDone);
}

std::string_view WithoutLineEnd(std::string_view text) {
    constexpr std::string_view kLineEnd = "\r\n";
    const bool bEnds =
        text.size() >= kLineEnd.size() && text.substr(text.size() - kLineEnd.size()) == kLineEnd;
    if (bEnds) text.remove_suffix(kLineEnd.size());
    return text;
}

}  // namespace

namespace TQ_UTIL {

CWBLogFilter* CWBLogFilter::getInstance() {
    static CWBLogFilter instance;  // nothing to destroy: usable while the process exits
    return &instance;
}

std::string CWBLogFilter::filter(const std::string& text) {
    try {
        return MadeSafe(WithoutLineEnd(text));
    } catch (const std::bad_alloc&) {
        return {};  // a log line is not worth the caller's operation
    }
}

}  // namespace TQ_UTIL
