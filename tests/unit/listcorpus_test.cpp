// Real listing lines of many servers (tests/listings), each against the entry it must give.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "src/ftp/listparser.h"

namespace RVN_FTP_CLIENT {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kFewestFiles = 75;
constexpr std::size_t kFewestLines = 2000;

std::vector<std::string> ReadLines(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    EXPECT_TRUE(file.good()) << path;
    std::vector<std::string> lines;
    std::istringstream rest(text.str());
    for (std::string strLine; std::getline(rest, strLine);)
        lines.push_back(strLine);
    return lines;
}

std::vector<fs::path> FilesWith(const char* pszExtension) {
    std::vector<fs::path> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(QEL_LISTINGS_DIR)) {
        if (entry.path().extension() == pszExtension) files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

// The day that expect.py takes for today.
std::tm Today() {
    std::tm today{};
    today.tm_year = 2026 - 1900;
    today.tm_mon = 11 - 1;
    today.tm_mday = 21;
    return today;
}

std::string Shown(const TkFileInfo& entry) {
    return std::to_string(entry.ucFileType) + '|' + entry.strFileSize + '|' + entry.strModifyTime +
           '|' + entry.strFileName;
}

// In the form of the .expected files: "!" before an entry that only ESelect::All gives.
std::string Parsed(std::string strLine) {
    if (!strLine.empty() && strLine.back() == '\r') strLine.pop_back();
    const auto pReadable = ParseListLine(strLine, ESelect::Readable, Today());
    const auto pAny = ParseListLine(strLine, ESelect::All, Today());
    if (pReadable != nullptr) {
        EXPECT_TRUE(pAny != nullptr && Shown(*pAny) == Shown(*pReadable)) << strLine;
        return Shown(*pReadable);
    }
    return pAny != nullptr ? '!' + Shown(*pAny) : "-";
}

TEST(ListCorpus, EveryLineGivesItsEntry) {
    std::size_t nLines = 0;
    for (const fs::path& path : FilesWith(".txt")) {
        const std::vector<std::string> lines = ReadLines(path);
        const std::vector<std::string> expected =
            ReadLines(fs::path(path).replace_extension("expected"));
        ASSERT_EQ(lines.size(), expected.size()) << path;
        for (std::size_t i = 0; i < lines.size(); ++i) {
            EXPECT_EQ(Parsed(lines[i].c_str()), expected[i])
                << path.filename().string() << ':' << i + 1 << ": " << lines[i];
        }
        nLines += lines.size();
    }
    EXPECT_GE(nLines, kFewestLines);
}

TEST(ListCorpus, IsComplete) {
    const std::vector<fs::path> inputs = FilesWith(".txt");
    const std::vector<fs::path> expected = FilesWith(".expected");
    EXPECT_GE(inputs.size(), kFewestFiles);
    ASSERT_EQ(inputs.size(), expected.size());
    for (std::size_t i = 0; i < inputs.size(); ++i)
        EXPECT_EQ(inputs[i].stem(), expected[i].stem());
}

// Whole files through the text parser: the same entries in the same order. Times are left out, for
// here the year comes from the clock.
TEST(ListCorpus, WholeListingsGiveTheSameEntries) {
    const auto typeSizeAndName = [](const std::string& strShown) {
        const std::size_t nTime = strShown.find('|', 2) + 1;
        return strShown.substr(0, nTime) + strShown.substr(strShown.find('|', nTime));
    };
    for (const fs::path& path : FilesWith(".txt")) {
        std::vector<std::string> expected;
        for (const std::string& strLine : ReadLines(fs::path(path).replace_extension("expected"))) {
            if (strLine[0] != '-' && strLine[0] != '!')
                expected.push_back(typeSizeAndName(strLine));
        }
        std::string strText;
        for (const std::string& strLine : ReadLines(path))
            strText += strLine + '\n';
        CEntryList list;
        ParseListText(strText, ESelect::Readable, list.m_entries);
        std::vector<std::string> actual;
        for (const TkFileInfo* pEntry : list.m_entries)
            actual.push_back(typeSizeAndName(Shown(*pEntry)));
        EXPECT_EQ(actual, expected) << path.filename();
    }
}

}  // namespace
}  // namespace RVN_FTP_CLIENT
