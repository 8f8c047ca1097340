#include "platform/logging.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "tests/platform/childprocess.h"
#include "tests/platform/logchild.h"
#include "tests/platform/scratchdirectory.h"

namespace PlatformTest {
namespace {

using Lines = std::vector<std::string>;

SChildResult Log(const std::string& strAction, const Environment& changes) {
    Environment all = {{"QEL_LOG_FILE", std::nullopt}, {"QEL_LOG_LEVEL", std::nullopt}};
    all.insert(all.end(), changes.begin(), changes.end());
    return RunChild(QEL_TEST_LOGCHILD, strAction, all);
}

std::string WithNines(const std::string& strText) {
    std::string strNines = strText;
    for (char& c : strNines)
        if (c >= '0' && c <= '9') c = '9';
    return strNines;
}

// The lines without their date, time, process and thread, which must be there.
Lines Written(const std::string& strLog) {
    static const std::string kTime = "9999-99-99 99:99:99.999 ";
    Lines lines;
    std::istringstream text(strLog);
    for (std::string strLine; std::getline(text, strLine);) {
        EXPECT_EQ(WithNines(strLine.substr(0, kTime.size())), kTime) << strLine;
        unsigned int uProcess = 0;
        unsigned int uThread = 0;
        int nHead = 0;
        EXPECT_EQ(std::sscanf(strLine.c_str() + std::min(strLine.size(), kTime.size()), "%u/%u %n",
                              &uProcess, &uThread, &nHead),
                  2)
            << strLine;
        const std::size_t nText = kTime.size() + static_cast<std::size_t>(nHead);
        lines.push_back(strLine.substr(std::min(strLine.size(), nText)));
    }
    EXPECT_TRUE(strLog.empty() || strLog.back() == '\n');
    return lines;
}

const std::string kEnter = "trace enter (ftpcommand Ftp_cwd:12)";
const std::string kError = "error 0x3bb0000e {} an error %s (ftpcommand Ftp_cwd:12)";
const std::string kInfo = "info {} an info %s (ftpcommand Ftp_cwd:12)";
const std::string kAffirm = "error 0xffffffff {} a null pointer %s (ftpcommand Ftp_cwd:12)";
const std::string kLeave = "trace leave (ftpcommand Ftp_cwd:12)";
const Lines kErrorsOnly = {kError, kAffirm};

TEST(LocationInfo, GivesBackWhatItWasMadeOf) {
    const LocationInfo where("ftpcommand", "Ftp_cwd", 12);
    EXPECT_STREQ(where.File(), "ftpcommand");
    EXPECT_STREQ(where.Function(), "Ftp_cwd");
    EXPECT_EQ(where.Line(), 12);
}

TEST(Log, WritesWhatTheLevelAsksFor) {
    struct SLevelCase {
        std::optional<std::string> level;
        Lines lines;
    };
    const SLevelCase rows[] = {
        {std::nullopt, kErrorsOnly},
        {"", kErrorsOnly},
        {"off", {}},
        {"error", kErrorsOnly},
        {"info", {kError, kInfo, kAffirm}},
        {"trace", {kEnter, kError, kInfo, kAffirm, kLeave}},
    };
    for (const SLevelCase& row : rows) {
        SCOPED_TRACE(row.level.value_or("not set"));
        const SChildResult result = Log("each", {{"QEL_LOG_LEVEL", row.level}});
        EXPECT_EQ(result.nExit, 0);
        EXPECT_EQ(Written(result.strError), row.lines);
    }
}

TEST(Log, SaysOnceThatALevelIsUnknown) {
    for (const char* pszLevel : {"Error", "debug", "3", "trace ", "inf\x1B[2J\ninfo"}) {
        SCOPED_TRACE(pszLevel);
        const SChildResult result = Log("each", {{"QEL_LOG_LEVEL", pszLevel}});
        const std::string strVisible = TQ_UTIL::CWBLogFilter::getInstance()->filter(pszLevel);
        EXPECT_EQ(Written(result.strError),
                  (Lines{"error QEL_LOG_LEVEL=" + strVisible +
                             " is none of off, error, info, trace: using error",
                         kError, kAffirm}));
    }
}

TEST(Log, GoesToTheNamedFileInstead) {
    const CScratchDirectory directory;
    const std::string strFile = directory.Path("new/file.log");
    const Environment environment = {{"QEL_LOG_FILE", strFile}, {"QEL_LOG_LEVEL", "info"}};
    EXPECT_EQ(Log("each", environment).strError, "");
    EXPECT_EQ(Written(ReadFile(strFile)), (Lines{kError, kInfo, kAffirm}));
    EXPECT_EQ(Log("each", environment).strError, "");
    EXPECT_EQ(Written(ReadFile(strFile)), (Lines{kError, kInfo, kAffirm, kError, kInfo, kAffirm}));
}

TEST(Log, IsStandardErrorWhenTheFileNameIsEmpty) {
    EXPECT_EQ(Written(Log("each", {{"QEL_LOG_FILE", ""}}).strError), kErrorsOnly);
}

TEST(Log, MakesNoFileWhenOff) {
    const CScratchDirectory directory;
    const std::string strFile = directory.Path("file.log");
    EXPECT_EQ(Log("each", {{"QEL_LOG_FILE", strFile}, {"QEL_LOG_LEVEL", "off"}}).strError, "");
    EXPECT_FALSE(std::filesystem::exists(strFile));
}

TEST(Log, FallsBackToStandardErrorWhenTheFileCannotBeOpened) {
    const CScratchDirectory directory;
    WriteFile(directory.Path("file"), "");
    const std::string files[] = {directory.Path("file/below"), directory.Path("."),
                                 directory.Path("file/x\x1B[2J\ny")};
    for (const std::string& strFile : files) {
        SCOPED_TRACE(strFile);
        const SChildResult result = Log("each", {{"QEL_LOG_FILE", strFile}});
        EXPECT_EQ(result.nExit, 0);
        const Lines lines = Written(result.strError);
        ASSERT_EQ(lines.size(), 3U);
        EXPECT_EQ(lines[0].find("error QEL_LOG_FILE cannot be used ("), 0U) << lines[0];
        EXPECT_NE(lines[0].find("): using standard error"), std::string::npos) << lines[0];
        EXPECT_EQ((Lines{lines[1], lines[2]}), kErrorsOnly);
    }
}

TEST(Log, SurvivesWhereverItCannotWrite) {
    EXPECT_EQ(Log("each", {{"QEL_LOG_FILE", "/dev/full"}}).nExit, 0);
    EXPECT_EQ(Log("closed", {}).nExit, 0);
    EXPECT_EQ(Log("closed", {{"QEL_LOG_FILE", "/dev/full"}}).nExit, 0);
}

TEST(Log, RotatesTheFileAndLosesNothing) {
    const CScratchDirectory directory;
    EXPECT_EQ(Log("rotate", {{"QEL_LOG_FILE", directory.Path("file.log")}}).nExit, 0);
    constexpr std::uintmax_t kMaxSize = 10 * 1024 * 1024;
    EXPECT_LE(std::filesystem::file_size(directory.Path("file.log")), kMaxSize);
    EXPECT_LE(std::filesystem::file_size(directory.Path("file.1.log")), kMaxSize);
    std::istringstream text(ReadFile(directory.Path("file.1.log")) +
                            ReadFile(directory.Path("file.log")));
    int nLine = 0;
    for (std::string strLine; std::getline(text, strLine); ++nLine)
        ASSERT_NE(strLine.find(" 0x00000000 " + std::to_string(nLine) + "..."), std::string::npos)
            << strLine;
    EXPECT_EQ(nLine, kRotatedLines);
}

TEST(Log, WorksBeforeMainAndWhileTheProcessExits) {
    const std::string strStart = "error 0x00000001 before main (child life:1)";
    const std::string strMain = "error 0x00000002 in main (child life:2)";
    const std::string strEnd = "error 0x00000003 after main (child life:3)";
    struct SLifeCase {
        const char* pszMoments;
        Lines lines;
    };
    // The log is made at its first line; what was made before it goes after it when the process
    // exits.
    const SLifeCase rows[] = {
        {"start", {strStart, strMain}},
        {"end", {strMain, strEnd}},
        {"start and end", {strStart, strMain, strEnd}},
    };
    for (const SLifeCase& row : rows) {
        SCOPED_TRACE(row.pszMoments);
        const CScratchDirectory directory;
        const std::string strFile = directory.Path("file.log");
        const SChildResult toError = Log("life", {{"QEL_TEST_MOMENTS", row.pszMoments}});
        EXPECT_EQ(toError.nExit, 0);
        EXPECT_EQ(Written(toError.strError), row.lines);
        const SChildResult toFile =
            Log("life", {{"QEL_TEST_MOMENTS", row.pszMoments}, {"QEL_LOG_FILE", strFile}});
        EXPECT_EQ(toFile.nExit, 0);
        EXPECT_EQ(toFile.strError, "");
        EXPECT_EQ(Written(ReadFile(strFile)), row.lines);
    }
}

TEST(Log, KeepsItsLinesWhenTheProcessDies) {
    const CScratchDirectory directory;
    const std::string strFile = directory.Path("file.log");
    EXPECT_EQ(Log("die", {{"QEL_LOG_FILE", strFile}}).nExit, 0);
    EXPECT_EQ(Written(ReadFile(strFile)), Lines{"error 0x00000000 last words (child death:1)"});
}

TEST(Log, LeavesErrnoAlone) {
    EXPECT_EQ(Log("errno", {{"QEL_LOG_LEVEL", "trace"}}).nExit, 0);
    EXPECT_EQ(Log("errno", {{"QEL_LOG_LEVEL", "off"}}).nExit, 0);
    EXPECT_EQ(Log("errno", {{"QEL_LOG_FILE", "/dev/full"}, {"QEL_LOG_LEVEL", "trace"}}).nExit, 0);
    EXPECT_EQ(Log("errno", {{"QEL_LOG_FILE", "/dev/null/x"}, {"QEL_LOG_LEVEL", "trace"}}).nExit, 0);
}

TEST(Log, TakesNullLocations) {
    const SChildResult result = Log("nowhere", {});
    EXPECT_EQ(result.nExit, 0);
    EXPECT_EQ(Written(result.strError), Lines{"error 0x00000000 text ( :0)"});
}

#ifndef QEL_TESTS_INSTRUMENTED  // sanitizers cost more than what is measured
TEST(Log, CostsLittleWhenOff) {
    const SChildResult result = Log("off", {{"QEL_LOG_LEVEL", "error"}});
    EXPECT_EQ(result.nExit, 0) << result.strError;
}
#endif

TEST(Log, IsNotInheritedByProgramsStarted) {
    const CScratchDirectory directory;
    EXPECT_EQ(Log("closeonexec", {{"QEL_LOG_FILE", directory.Path("file.log")}}).nExit, 0);
}

TEST(Log, ThrowsNothingWithoutMemory) {
    const SChildResult result = Log("nomemory", {{"QEL_LOG_LEVEL", "trace"}});
    EXPECT_EQ(result.nExit, 0);
    EXPECT_NE(result.strError.find("memory is back"), std::string::npos) << result.strError;
}

}  // namespace
}  // namespace PlatformTest
