#include "tools/progresstext.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cwchar>

#include "tools/ratemeter.h"
#include "tools/visible.h"

namespace qelftp {
namespace {

constexpr std::size_t kBetween = 2;
constexpr std::size_t kPercentage = 4;  // "100%"
constexpr std::size_t kSize = 7;        // "1023.9M"
constexpr std::size_t kRate = kSize + 2;
constexpr std::size_t kLeft = 8;      // "99:59:59"
constexpr std::size_t kMaxName = 60;  // of a line with a bar
constexpr const char* kCut = "...";

// What a line has room for; the first row that is narrow enough counts.
struct SLayout {
    std::size_t nMinColumns;
    bool bSize;
    bool bRate;
    bool bLeft;
    bool bBar;
};

constexpr SLayout kLayouts[] = {
    {100, true, true, true, true},   {50, true, true, true, false},
    {36, true, false, true, false},  {24, false, false, true, false},
    {0, false, false, false, false},
};

// One character of a text: its bytes and columns.
struct SCharacter {
    std::size_t nBytes;
    std::size_t nColumns;
};

SCharacter CharacterAt(const std::string& strText, std::size_t nAt) {
    std::mbstate_t state{};
    wchar_t character = 0;
    const std::size_t nBytes =
        std::mbrtowc(&character, strText.data() + nAt, strText.size() - nAt, &state);
    if (nBytes == 0 || nBytes > strText.size() - nAt) return {1, 1};
    const int nColumns = ::wcwidth(character);
    return {nBytes, nColumns < 0 ? 1 : static_cast<std::size_t>(nColumns)};
}

// The longest start of a text that fits, with the marks that take no columns of their own.
std::size_t StartBytes(const std::string& strText, std::size_t nColumns) {
    std::size_t nAt = 0;
    for (std::size_t nUsed = 0; nAt < strText.size();) {
        const SCharacter character = CharacterAt(strText, nAt);
        nUsed += character.nColumns;
        if (nUsed > nColumns) break;
        nAt += character.nBytes;
    }
    return nAt;
}

// Where the longest end of a text that fits starts.
std::size_t EndStart(const std::string& strText, std::size_t nColumns) {
    std::size_t nLeft = Columns(strText);
    std::size_t nAt = 0;
    while (nAt < strText.size()) {
        const SCharacter character = CharacterAt(strText, nAt);
        // No end starts with a mark that belongs to the character before.
        if (nLeft <= nColumns && character.nColumns > 0) break;
        nLeft -= character.nColumns;
        nAt += character.nBytes;
    }
    return nAt;
}

std::string RateText(double dBytesPerSecond) {
    return SizeText(static_cast<unsigned long long>(dBytesPerSecond)) + "/s";
}

std::string PercentageText(const SProgress& progress) {
    const auto percentage = Percentage(progress);
    return percentage ? fmt::format("{}%", *percentage) : "";
}

std::string Bar(unsigned int uPercentage, std::size_t nColumns) {
    const std::size_t nInside = nColumns - 2;
    const std::size_t nFull = nInside * uPercentage / 100;
    return "[" + std::string(nFull, '#') + std::string(nInside - nFull, '.') + "]";
}

}  // namespace

std::string SizeText(unsigned long long ullBytes) {
    if (ullBytes < 1024) return fmt::format("{}B", ullBytes);
    constexpr const char* kUnits = "KMGTPE";
    std::size_t nUnit = 0;
    // In tenths of a unit, rounded down, so that 1023.9 never becomes 1024.0.
    while ((ullBytes >> 10 >> (10 * nUnit)) >= 1024)
        ++nUnit;
    const unsigned long long ullUnit = 1ULL << (10 * (nUnit + 1));
    const unsigned long long ullTenths = (ullBytes % ullUnit) / (ullUnit / 1024) * 10 / 1024;
    return fmt::format("{}.{}{}", ullBytes / ullUnit, ullTenths, kUnits[nUnit]);
}

std::string DurationText(std::optional<std::chrono::seconds> duration) {
    if (!duration) return "--:--";
    const long long llSeconds = duration->count();
    if (llSeconds < 3600) return fmt::format("{}:{:02}", llSeconds / 60, llSeconds % 60);
    return fmt::format("{}:{:02}:{:02}", llSeconds / 3600, llSeconds / 60 % 60, llSeconds % 60);
}

std::optional<unsigned int> Percentage(const SProgress& progress) {
    if (progress.ullTotal == 0) return std::nullopt;
    if (progress.ullDone >= progress.ullTotal) return 100;
    const double dShare =
        static_cast<double>(progress.ullDone) / static_cast<double>(progress.ullTotal);
    return std::min(99u, static_cast<unsigned int>(dShare * 100));
}

std::optional<std::chrono::seconds> TimeLeft(const SProgress& progress) {
    if (progress.ullTotal == 0) return std::nullopt;
    if (progress.ullDone >= progress.ullTotal) return std::chrono::seconds(0);
    return TimeLeft(progress.ullTotal - progress.ullDone, progress.dBytesPerSecond);
}

std::size_t Columns(const std::string& strVisible) {
    std::size_t nColumns = 0;
    for (std::size_t nAt = 0; nAt < strVisible.size();) {
        const SCharacter character = CharacterAt(strVisible, nAt);
        nColumns += character.nColumns;
        nAt += character.nBytes;
    }
    return nColumns;
}

std::string FittedText(const std::string& strVisible, std::size_t nColumns) {
    const std::string strCut = std::string(kCut).substr(0, nColumns);
    std::string strFitted = strVisible;
    if (Columns(strVisible) > nColumns) {
        const std::size_t nKept = nColumns - strCut.size();
        strFitted = strVisible.substr(0, StartBytes(strVisible, nKept / 2)) + strCut +
                    strVisible.substr(EndStart(strVisible, nKept - nKept / 2));
    }
    // A wide character that did not fit leaves a column over.
    return strFitted + std::string(nColumns - Columns(strFitted), ' ');
}

std::string ProgressLine(const SProgress& progress, std::size_t nColumns, bool bColour) {
    const SLayout& layout =
        *std::find_if(std::begin(kLayouts), std::end(kLayouts),
                      [nColumns](const SLayout& row) { return nColumns >= row.nMinColumns; });
    const std::string strPercentage = fmt::format("{:>{}}", PercentageText(progress), kPercentage);
    std::string strNumbers;
    if (layout.bSize) strNumbers += fmt::format("  {:>{}}", SizeText(progress.ullDone), kSize);
    if (layout.bRate) {
        strNumbers += fmt::format("  {:>{}}", RateText(progress.dBytesPerSecond), kRate);
    }
    if (layout.bLeft) {
        strNumbers += fmt::format("  {:>{}}", DurationText(TimeLeft(progress)), kLeft);
    }

    const std::size_t nFixed = kBetween + kPercentage + strNumbers.size();
    if (nColumns < nFixed) return fmt::format("{:<{}.{}}", strPercentage, nColumns, nColumns);
    std::size_t nName = nColumns - nFixed;
    std::string strBar;
    if (layout.bBar) {
        const std::size_t nBoth = nName;
        nName = std::min(kMaxName, nBoth * 2 / 3);
        strBar = "  " + Bar(Percentage(progress).value_or(0), nBoth - nName - kBetween);
    }
    const std::string strShown = bColour ? "\x1b[32m" + strPercentage + "\x1b[0m" : strPercentage;
    return FittedText(VisibleText(progress.strName), nName) + strBar + "  " + strShown + strNumbers;
}

std::string ProgressSentence(const SProgress& progress) {
    std::string strText = VisibleText(progress.strName) + ": ";
    if (Percentage(progress)) strText += PercentageText(progress) + ", ";
    return strText + SizeText(progress.ullDone) + ", " + RateText(progress.dBytesPerSecond) + ", " +
           DurationText(TimeLeft(progress)) + " left";
}

}  // namespace qelftp
