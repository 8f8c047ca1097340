// What users see of a run, at a terminal and in a log, without waiting for it.

#include "tools/progressdisplay.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/tool/inlocale.h"
#include "tests/tool/screen.h"
#include "tools/jsonreport.h"
#include "tools/progresslines.h"

using namespace qelftp;
using namespace ToolTest;
using namespace std::chrono_literals;

namespace {

using Texts = std::vector<std::string>;

constexpr unsigned long long kMega = 1024 * 1024;

SFileOutcome Done(const std::string& strRemote, unsigned long long ullBytes) {
    SFileOutcome outcome;
    outcome.transfer = {strRemote, "x"};
    outcome.ullBytes = ullBytes;
    outcome.dSeconds = 1.25;
    return outcome;
}

// The line of a screen of 80 columns.
std::string Line(const std::string& strName, const std::string& strNumbers) {
    return strName + std::string(43 - strName.size(), ' ') + strNumbers;
}

// A report, its clock, and the terminal or log it writes to.
class Display : public testing::Test {
protected:
    FClock Clock() {
        return [this] { return m_now; };
    }
    FWrite Write() {
        return [this](const std::string& strText) {
            m_strWritten += strText;
            m_screen.Feed(strText);
        };
    }
    void MakeDisplay(std::size_t nColumns, std::size_t nRows = 24, bool bColour = false) {
        m_size = {nColumns, nRows};
        m_screen = Screen(nColumns, nRows);
        m_screen.Feed("$ qelftp\n");
        m_report = std::make_unique<CProgressDisplay>(
            Clock(), Write(), [this] { return m_size; }, bColour);
    }
    void MakeLines(bool bEach) {
        m_report = std::make_unique<CProgressLines>(Clock(), Write(), bEach);
    }
    void Pass(std::chrono::milliseconds time) {
        for (; time > 0ms; time -= 125ms) {
            m_now += std::min(time, 125ms);
            m_report->Tick();
        }
    }
    // Half of a file of 2 MiB in two seconds.
    void RunHalf(std::size_t nJob, const std::string& strRemote) {
        m_report->Started(nJob, {strRemote, "x"});
        m_report->Tick();
        m_report->Moved(nJob, 0, 2 * kMega);
        Pass(1s);
        m_report->Moved(nJob, kMega, 2 * kMega);
        Pass(1s);
    }
    Texts Lines() const {
        EXPECT_EQ(m_screen.Foreign(), "");
        return m_screen.Lines();
    }

    InLocale m_utf8{"C.UTF-8"};
    TimePoint m_now{1000s};
    SScreen m_size;
    Screen m_screen{80};
    std::string m_strWritten;
    std::unique_ptr<CProgressReport> m_report;
};

TEST_F(Display, OfAFileIsOneLineThatIsGoneAtTheEnd) {
    MakeDisplay(80);
    m_report->Planned(1, 2 * kMega);
    RunHalf(0, "/a.bin");
    EXPECT_EQ(Lines(), (Texts{"$ qelftp", Line("/a.bin", "   50%     1.0M   512.0K/s      0:02")}));
    m_report->Finished(0, Done("/a.bin", 2 * kMega));
    m_report->Done();
    EXPECT_EQ(Lines(), Texts{"$ qelftp"});
    m_screen.Feed("done");  // where the next output goes
    EXPECT_EQ(Lines(), (Texts{"$ qelftp", "done"}));
}

TEST_F(Display, ShowsNothingOfWhatIsOverWithinASecond) {
    MakeDisplay(80);
    m_report->Planned(1, 2 * kMega);
    m_report->Started(0, {"/a", "x"});
    m_report->Tick();
    Pass(999ms);
    m_report->Done();
    m_report->Tick();
    EXPECT_EQ(m_strWritten, "");
}

TEST_F(Display, ShowsNothingMoreAfterTheEnd) {
    MakeDisplay(80);
    m_report->Planned(1, 2 * kMega);
    RunHalf(0, "/a");
    m_report->Done();
    const std::string strBefore = m_strWritten;
    m_report->Done();
    Pass(2s);
    EXPECT_EQ(m_strWritten, strBefore);
}

TEST_F(Display, HasALineForEachJobAndOneForAll) {
    MakeDisplay(80);
    m_report->Planned(12, 8 * kMega);
    m_report->Started(1, {"/b", "x"});
    m_report->Started(2, {"/gone", "x"});
    m_report->Finished(2, Done("/gone", kMega));
    RunHalf(0, "/a");
    EXPECT_EQ(Lines(), (Texts{"$ qelftp", Line("/a", "   50%     1.0M   512.0K/s      0:02"),
                              Line("/b", "             0B       0B/s     --:--"),
                              Line("1 of 12 files", "   25%     2.0M     1.0M/s      0:06")}));
    m_report->Finished(1, Done("/b", 0));
    Pass(125ms);
    EXPECT_EQ(Lines().size(), 3u);  // no line stays behind
    EXPECT_EQ(Lines()[2].substr(0, 14), "2 of 12 files ");
    m_report->Done();
    EXPECT_EQ(Lines(), Texts{"$ qelftp"});
}

TEST_F(Display, FitsNarrowAndWideScreens) {
    for (const auto& [nColumns, pszLine] : {
             std::pair{40u, "/漢字...字漢字   50%     1.0M      0:02"},
             // The first half of the name has room for half a character more.
             std::pair{
                 80u,
                 "/漢字漢字漢字漢字漢...漢字漢字漢字漢字漢字    50%     1.0M   512.0K/s      0:02"},
         }) {
        MakeDisplay(nColumns);
        m_report->Planned(1, 2 * kMega);
        std::string strName = "/";
        for (int n = 0; n < 30; ++n)
            strName += "漢字";
        RunHalf(0, strName);
        EXPECT_EQ(Lines(), (Texts{"$ qelftp", pszLine}));
        m_report->Done();
        EXPECT_EQ(Lines(), Texts{"$ qelftp"});
    }
    MakeDisplay(200);
    m_report->Planned(1, 2 * kMega);
    RunHalf(0, "/a.bin");
    EXPECT_EQ(Lines()[1], "/a.bin" + std::string(56, ' ') + "[" + std::string(49, '#') +
                              std::string(50, '.') + "]   50%     1.0M   512.0K/s      0:02");
}

TEST_F(Display, FollowsTheSizeOfItsScreen) {
    for (const std::size_t nColumns : {40u, 60u, 79u, 100u, 200u}) {
        MakeDisplay(80);
        m_report->Planned(3, 8 * kMega);
        m_report->Started(1, {"/b", "x"});
        RunHalf(0, "/a");
        ASSERT_EQ(Lines().size(), 4u);
        m_size.nColumns = nColumns;
        m_screen.Resize(nColumns);
        Pass(125ms);
        ASSERT_EQ(Lines().size(), 4u) << nColumns;
        for (std::size_t n = 1; n <= 3; ++n) {
            EXPECT_EQ(Columns(Lines()[n]), nColumns - 1);
            EXPECT_NE(Lines()[n].find(":"), std::string::npos);
        }
        m_report->Done();
        EXPECT_EQ(Lines(), Texts{"$ qelftp"});
    }
}

TEST_F(Display, IsClearedOnAScreenThatChangedSinceTheLastDrawing) {
    MakeDisplay(80);
    m_report->Planned(3, 8 * kMega);
    RunHalf(0, "/a");
    m_size.nColumns = 30;
    m_screen.Resize(30);
    m_report->Done();
    EXPECT_EQ(Lines(), Texts{"$ qelftp"});
}

TEST_F(Display, NeverIsHigherThanItsScreen) {
    MakeDisplay(80, 5);
    m_report->Planned(20, 40 * kMega);
    for (std::size_t nJob = 1; nJob < 10; ++nJob)
        m_report->Started(nJob, {"/" + std::to_string(nJob), "x"});
    RunHalf(0, "/0");
    const Texts lines = Lines();
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(lines[1].substr(0, 3), "/0 ");
    EXPECT_EQ(lines[3].substr(0, 3), "/2 ");
    EXPECT_EQ(lines[4].substr(0, 14), "0 of 20 files ");
    m_report->Done();
    EXPECT_EQ(Lines(), Texts{"$ qelftp"});
}

TEST_F(Display, IsDrawnAsOneWriteAndLeavesTheCursorBelow) {
    MakeDisplay(80);
    m_report->Planned(2, 2 * kMega);
    RunHalf(0, "/a");
    m_strWritten.clear();
    m_now += 125ms;
    m_report->Tick();
    EXPECT_EQ(m_strWritten.rfind("\r\x1b[2A", 0), 0u) << m_strWritten;
    m_screen.Feed("^C killed");
    EXPECT_EQ(Lines().back(), "^C killed");
    EXPECT_EQ(Lines().size(), 4u);
}

TEST_F(Display, OfHostileNamesUsesNothingButItsOwnSequences) {
    MakeDisplay(80);
    m_report->Planned(2, 2 * kMega);
    RunHalf(0, "/\x1b[2J\x1b]0;title\x07\r\n\302\23331m\233A\177\x1b[31mred");
    EXPECT_EQ(Lines().size(), 3u);
    EXPECT_EQ(Lines()[1].substr(0, 10), "/\\x1b[2J\\x");
    EXPECT_FALSE(m_screen.HadColour());
    m_report->Done();
    EXPECT_EQ(Lines(), Texts{"$ qelftp"});
}

TEST_F(Display, IsColouredOnlyIfWanted) {
    MakeDisplay(80, 24, true);
    m_report->Planned(2, 2 * kMega);
    RunHalf(0, "/a");
    EXPECT_TRUE(m_screen.HadColour());
    EXPECT_EQ(Columns(Lines()[1]), 79u);
}

TEST_F(Display, ShowsAStall) {
    MakeDisplay(80);
    m_report->Planned(1, 2 * kMega);
    RunHalf(0, "/a");
    Pass(10s);
    EXPECT_NE(Lines()[1].find("50%     1.0M       0B/s     --:--"), std::string::npos)
        << Lines()[1];
}

TEST_F(Display, CountsAFileThatIsMovedAnewFromItsStart) {
    MakeDisplay(80);
    m_report->Planned(1, 2 * kMega);
    RunHalf(0, "/a");
    m_report->Moved(0, kMega / 2, 2 * kMega);
    Pass(1s);
    EXPECT_NE(Lines()[1].find("25%   512.0K   512.0K/s      0:03"), std::string::npos)
        << Lines()[1];
}

TEST_F(Display, DoesNotTakeTheStartOfAContinuationForSpeed) {
    MakeDisplay(80);
    m_report->Planned(1, 1000 * kMega);
    m_report->Started(0, {"/a", "x"});
    m_report->Tick();
    m_report->Moved(0, 900 * kMega, 1000 * kMega);
    Pass(1s);
    m_report->Moved(0, 901 * kMega, 1000 * kMega);
    Pass(1s);
    EXPECT_NE(Lines()[1].find("90%   901.0M   512.0K/s      3:18"), std::string::npos)
        << Lines()[1];
}

TEST_F(Display, CountsSmallFilesThatFinishAtOnce) {
    MakeDisplay(80);
    m_report->Planned(100, 100 * 1024);
    m_report->Tick();
    for (int n = 0; n < 50; ++n) {
        m_report->Started(0, {"/a", "x"});
        m_report->Finished(0, Done("/a", 1024));
    }
    Pass(1s);
    EXPECT_EQ(Lines()[1], Line("50 of 100 files", "   50%    50.0K    50.0K/s      0:01"));
}

TEST_F(Display, TakesReportsOfManyThreads) {
    MakeDisplay(80);
    m_report->Planned(4000, 4000);
    std::vector<std::thread> jobs;
    for (std::size_t nJob = 0; nJob < 4; ++nJob) {
        jobs.emplace_back([this, nJob] {
            for (int n = 0; n < 1000; ++n) {
                m_report->Started(nJob, {"/a", "x"});
                m_report->Moved(nJob, 1, 1);
                m_report->Finished(nJob, Done("/a", 1));
            }
        });
    }
    for (int n = 0; n < 100; ++n)
        m_report->Tick();
    for (std::thread& job : jobs)
        job.join();
    Pass(2s);
    EXPECT_EQ(Lines()[1].substr(0, 18), "4000 of 4000 files");
    EXPECT_NE(Lines()[1].find(" 100%"), std::string::npos);
}

TEST_F(Display, InALogIsALineEveryFewSeconds) {
    MakeLines(false);
    m_report->Planned(1, 2 * kMega);
    RunHalf(0, "/a\x1b");
    EXPECT_EQ(m_strWritten, "");
    Pass(2500ms);
    EXPECT_EQ(m_strWritten, "");
    Pass(500ms);
    const std::string strFirst = m_strWritten;
    EXPECT_EQ(strFirst, "/a\\x1b: 50%, 1.0M, 204.7K/s, 0:05 left\n");
    Pass(4875ms);
    EXPECT_EQ(m_strWritten, strFirst);
    Pass(125ms);
    EXPECT_EQ(m_strWritten, strFirst + "/a\\x1b: 50%, 1.0M, 0B/s, --:-- left\n");
    m_report->Finished(0, Done("/a", 2 * kMega));
    m_report->Done();
    EXPECT_EQ(m_strWritten.find("get"), std::string::npos);
}

TEST_F(Display, InALogOfSeveralFilesTellsOfAllTogether) {
    MakeLines(false);
    m_report->Planned(12, 0);
    RunHalf(0, "/a");
    Pass(3s);
    EXPECT_EQ(m_strWritten, "0 of 12 files: 1.0M, 204.7K/s, --:-- left\n");
}

TEST_F(Display, InAVerboseLogHasALineForEachCompleteFile) {
    MakeLines(true);
    m_report->Planned(2, 0);
    m_report->Started(0, {"/a\x1b", "x"});
    m_report->Finished(0, Done("/a\x1b", 2 * kMega));
    SFileOutcome failed = Done("/b", 0);
    failed.bPut = true;
    m_report->Finished(0, failed);
    failed.failures = {{"put", "/c", "no", std::nullopt, ""}};
    m_report->Finished(0, failed);  // named at the end of the run, by others
    EXPECT_EQ(m_strWritten, "get /a\\x1b: 2.0M in 1.2 s\nput /b: 0B in 1.2 s\n");
}

TEST_F(Display, WithJsonGoesOnBesideTheObjects) {
    MakeLines(true);
    std::string strData;
    CJsonReport json(std::move(m_report), [&strData](const std::string& strText) {
        strData += strText;
        return 0;
    });
    json.Planned(1, 5);
    json.Started(0, {"/a", "x"});
    json.Moved(0, 5, 5);
    EXPECT_EQ(strData, "");
    json.Finished(0, Done("/a", 5));
    json.Done();
    const auto object = nlohmann::json::parse(strData);
    EXPECT_EQ(object["remote"], "/a");
    EXPECT_EQ(object["bytes"], 5);
    EXPECT_EQ(strData.find('\n'), strData.size() - 1);
    EXPECT_EQ(m_strWritten, "get /a: 5B in 1.2 s\n");
}

TEST_F(Display, WithJsonThatCannotBeWrittenFailsAtTheEnd) {
    MakeLines(false);
    int nWrites = 0;
    CJsonReport json(std::move(m_report), [&nWrites](const std::string&) {
        ++nWrites;
        return ENOSPC;
    });
    json.Finished(0, Done("/a", 5));
    json.Finished(0, Done("/b", 5));
    EXPECT_EQ(nWrites, 1);
    try {
        json.Done();
        FAIL() << "no error";
    } catch (const COperationError& error) {
        EXPECT_EQ(FailureText(error.Failures().front()),
                  "write standard output: No space left on device");
    }
}

}  // namespace
