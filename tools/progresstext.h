#ifndef QEL_TOOLS_PROGRESSTEXT_H
#define QEL_TOOLS_PROGRESSTEXT_H

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

namespace qelftp {

// How far something has come.
struct SProgress {
    std::string strName;              // any bytes
    unsigned long long ullDone = 0;   // bytes
    unsigned long long ullTotal = 0;  // 0: not known
    double dBytesPerSecond = 0;
};

// "999B", "1.0K", "1023.9M": units of 1024, at most 7 characters.
std::string SizeText(unsigned long long ullBytes);

// "0:07", "1:02:03"; "--:--" for what is not known.
std::string DurationText(std::optional<std::chrono::seconds> duration);

// Of the whole, rounded down; empty without a total.
std::optional<unsigned int> Percentage(const SProgress& progress);
std::optional<std::chrono::seconds> TimeLeft(const SProgress& progress);

// Columns of a terminal that a visible text takes, see VisibleText.
std::size_t Columns(const std::string& strVisible);

// A visible text in exactly so many columns: with blanks behind, or "..." for its middle.
std::string FittedText(const std::string& strVisible, std::size_t nColumns);

// A line of at most nColumns: the name as VisibleText makes it, percentage, bytes, rate and time
// left. A narrow line has less of these, a wide one a bar as well. bColour: the percentage is
// green; nothing else drives the terminal.
std::string ProgressLine(const SProgress& progress, std::size_t nColumns, bool bColour);

// The same for a log: "/a/b.txt: 45%, 12.3M, 1.2M/s, 0:12 left".
std::string ProgressSentence(const SProgress& progress);

}  // namespace qelftp

#endif
