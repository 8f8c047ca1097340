#include "tests/load/tally.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace LoadTest {

void STally::Add(const STally& other) {
    ullLogins += other.ullLogins;
    ullWhole += other.ullWhole;
    ullClassic += other.ullClassic;
    ullBroken += other.ullBroken;
    ullBytes += other.ullBytes;
    ullAlone += other.ullAlone;
    for (const auto& [strName, ullCount] : other.failures)
        failures[strName] += ullCount;
    for (const auto& [strName, llMs] : other.longestMs)
        longestMs[strName] = std::max(longestMs[strName], llMs);
}

std::string STally::Line() const {
    return std::to_string(ullLogins) + " log-ins, " + std::to_string(ullWhole) +
           " verified transfers, " + std::to_string(ullClassic) + " others (" +
           std::to_string(ullBroken) + " cut short), " + std::to_string(ullBytes / 1'000'000) +
           " MB";
}

std::string STally::Details() const {
    std::string strText;
    for (const auto& [strName, ullCount] : failures)
        strText += "failed " + std::to_string(ullCount) + " x " + strName + "\n";
    for (const auto& [strName, llMs] : longestMs)
        strText += "longest " + strName + ": " + std::to_string(llMs) + " ms\n";
    return strText + std::to_string(ullAlone) + " failures beside time-outs and killed servers\n";
}

void Note(STally& tally, const SOperation& operation, TestSupport::Clock::time_point start,
          unsigned int uResult, const char* pszResult, bool bServerStood) {
    const long long llMs = TestSupport::MsSince(start);
    long long& llLongest = tally.longestMs[operation.pszName];
    llLongest = std::max(llLongest, llMs);
    EXPECT_LE(llMs, operation.bound.count()) << operation.pszName << ": " << pszResult;
    if (uResult == 0) return;
    ++tally.failures[std::string(operation.pszName) + ": " + pszResult];
    if (bServerStood && llMs < operation.timeOut.count()) ++tally.ullAlone;
}

}  // namespace LoadTest
