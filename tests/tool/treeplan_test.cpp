#include "tools/treeplan.h"

#include <gtest/gtest.h>

#include <map>

#include "tests/tool/fakesession.h"
#include "tools/safename.h"

using namespace qelftp;
using namespace ToolTest;

namespace {

using Texts = std::vector<std::string>;
constexpr EEntryType kFile = EEntryType::File;
constexpr EEntryType kDir = EEntryType::Directory;
constexpr EEntryType kLink = EEntryType::Link;

class FakeTree : public CTree {
public:
    std::map<std::string, std::vector<SEntry>> directories;
    std::map<std::string, SEntry> links;
    bool bExists = true;

    std::vector<SEntry> List(const std::string& strDir) override {
        const auto found = directories.find(strDir);
        if (found == directories.end()) throw COperationError(Trouble("cannot list " + strDir));
        return found->second;
    }
    std::optional<SEntry> Behind(const std::string& strLink) override {
        const auto found = links.find(strLink);
        if (found == links.end()) return {};
        return found->second;
    }
    bool Exists() override { return bExists; }
    void MakeDir(const std::string&) override { ADD_FAILURE() << "a plan makes nothing"; }
    void RemoveFile(const std::string&) override { ADD_FAILURE() << "a plan removes nothing"; }
    void RemoveDir(const std::string&) override { ADD_FAILURE() << "a plan removes nothing"; }
    std::string Path(const std::string& strPath) const override { return "tree/" + strPath; }
    std::string NameRefusal(const std::string& strName) const override {
        return UnsafeNameReason(strName);
    }
};

class TreePlan : public testing::Test {
protected:
    STreePlan Plan() { return PlanTree(m_source, m_target, m_rules); }

    static Texts Moves(const STreePlan& plan) {
        Texts paths;
        for (const STreePlan::SMove& move : plan.moves)
            paths.push_back(move.strPath);
        return paths;
    }
    static Texts Failures(const STreePlan& plan) {
        Texts texts;
        for (const SFailure& failure : plan.failures)
            texts.push_back(failure.strSubject + ": " + failure.strMeaning);
        return texts;
    }

    FakeTree m_source;
    FakeTree m_target;
    STreeRules m_rules;
};

TEST_F(TreePlan, MovesAllIntoATargetThatIsMissing) {
    m_target.bExists = false;
    m_source.directories[""] = {Entry("b", kDir), Entry("a", kFile)};
    m_source.directories["b"] = {Entry("c", kDir), Entry("x", kFile)};
    m_source.directories["b/c"] = {};
    const STreePlan plan = Plan();
    EXPECT_EQ(plan.directories, (Texts{"", "b", "b/c"}));
    EXPECT_EQ(Moves(plan), (Texts{"a", "b/x"}));
    EXPECT_TRUE(plan.failures.empty());
}

TEST_F(TreePlan, LeavesWhatIsThereAndMovesWhatDiffers) {
    m_source.directories[""] = {Entry("same", kFile, 5, 100), Entry("size", kFile, 5, 100),
                                Entry("newer", kFile, 5, 101), Entry("older", kFile, 5, 99),
                                Entry("missing", kFile)};
    m_target.directories[""] = {Entry("same", kFile, 5, 100), Entry("size", kFile, 6, 100),
                                Entry("newer", kFile, 5, 100), Entry("older", kFile, 5, 100),
                                Entry("extra", kFile)};
    STreePlan plan = Plan();
    EXPECT_EQ(Moves(plan), (Texts{"missing", "newer", "size"}));
    EXPECT_EQ(plan.nSame, 2U);
    EXPECT_TRUE(plan.directories.empty());
    EXPECT_TRUE(plan.extraFiles.empty());
    m_rules.bForce = true;
    EXPECT_EQ(Moves(Plan()), (Texts{"missing", "newer", "older", "same", "size"}));
}

struct SDifferRow {
    const char* pszName;
    std::int64_t llSource;
    unsigned int uSourcePrecision;
    std::int64_t llTarget;
    unsigned int uTargetPrecision;
    bool bDiffers;
};

TEST(Differs, ByTimeAsFarAsTheCoarserListingTells) {
    constexpr SDifferRow kRows[] = {
        {"equal", 1000, 1, 1000, 1, false},
        {"a second newer", 1001, 1, 1000, 1, true},
        {"older", 999, 1, 1000, 1, false},
        {"newer within the target's minute", 1059, 1, 1000, 60, false},
        {"a minute newer", 1060, 1, 1000, 60, true},
        {"newer within the source's day", 87399, 86400, 1000, 1, false},
        {"a day newer", 87400, 86400, 1000, 1, true},
    };
    for (const SDifferRow& row : kRows) {
        const SEntry source = Entry("x", kFile, 1, row.llSource, row.uSourcePrecision);
        const SEntry target = Entry("x", kFile, 1, row.llTarget, row.uTargetPrecision);
        EXPECT_EQ(Differs(source, target), row.bDiffers) << row.pszName;
    }
}

TEST(Differs, WhatIsNotKnown) {
    SEntry known = Entry("x", kFile, 1, 1000);
    SEntry noTime = Entry("x", kFile, 1, 0);
    noTime.llModified.reset();
    SEntry noSize = Entry("x", kFile, 1, 1000);
    noSize.ullSize.reset();
    EXPECT_FALSE(Differs(known, noTime));
    EXPECT_FALSE(Differs(noTime, known));
    EXPECT_TRUE(Differs(known, noSize));
    EXPECT_TRUE(Differs(noSize, known));
}

TEST_F(TreePlan, UnsafeNamesAreRefusedAndTheOthersMoved) {
    m_source.directories[""] = {Entry("..", kDir),    Entry("../../x", kFile),
                                Entry("a\\b", kFile), Entry("c\x1b[2J", kFile),
                                Entry("/etc", kDir),  Entry("fine", kFile)};
    m_target.directories[""] = {};
    const STreePlan plan = Plan();
    EXPECT_EQ(Moves(plan), (Texts{"fine"}));
    EXPECT_EQ(plan.failures.size(), 5U);
    EXPECT_TRUE(plan.directories.empty());
}

TEST_F(TreePlan, LinksToFilesAreFilesAndOthersAreSkipped) {
    m_source.directories[""] = {Entry("dangling", kLink), Entry("tofile", kLink, 9),
                                Entry("todir", kLink)};
    m_source.links["tofile"] = Entry("target", kFile, 77);
    m_source.links["todir"] = Entry("target", kDir);
    m_target.directories[""] = {};
    const STreePlan plan = Plan();
    EXPECT_EQ(Moves(plan), (Texts{"tofile"}));
    EXPECT_EQ(plan.moves[0].source.ullSize, 77U);
    EXPECT_EQ(plan.skipped, (Texts{"tree/dangling: a link, or no regular file",
                                   "tree/todir: a link to a directory"}));
    EXPECT_TRUE(plan.failures.empty());
}

TEST_F(TreePlan, WhatIsInTheWayIsNamed) {
    m_source.directories[""] = {Entry("a", kFile), Entry("b", kFile), Entry("c", kDir),
                                Entry("d", kDir)};
    m_source.directories["c"] = {Entry("x", kFile)};
    m_source.directories["d"] = {Entry("x", kFile)};
    m_target.directories[""] = {Entry("a", kDir), Entry("b", kLink), Entry("c", kFile),
                                Entry("d", kLink)};
    const STreePlan plan = Plan();
    EXPECT_TRUE(plan.moves.empty());
    EXPECT_EQ(Failures(plan), (Texts{"tree/a: a directory is in the way",
                                     "tree/b: a link is in the way, or a special file",
                                     "tree/c: a file is in the way",
                                     "tree/d: a link is in the way, or a special file"}));
}

TEST_F(TreePlan, FindsWhatTheSourceHasNot) {
    m_rules.bDelete = true;
    m_source.directories[""] = {Entry("a", kFile), Entry("link", kLink), Entry("..bad\n", kFile)};
    m_target.directories[""] = {Entry("a", kFile), Entry("b", kFile), Entry("l", kLink),
                                Entry("link", kFile), Entry("d", kDir)};
    m_target.directories["d"] = {Entry("e", kDir), Entry("x", kFile)};
    m_target.directories["d/e"] = {Entry("y", kFile)};
    const STreePlan plan = Plan();
    EXPECT_EQ(plan.extraFiles, (Texts{"b", "d/e/y", "d/x", "l"}));
    EXPECT_EQ(plan.extraDirs, (Texts{"d", "d/e"}));
}

TEST_F(TreePlan, ATargetsNamesLeadNowhereElseEither) {
    m_rules.bDelete = true;
    m_source.directories[""] = {};
    m_target.directories[""] = {Entry("..", kDir), Entry("../x", kFile)};
    const STreePlan plan = Plan();
    EXPECT_TRUE(plan.extraFiles.empty());
    EXPECT_TRUE(plan.extraDirs.empty());
    EXPECT_EQ(plan.failures.size(), 2U);
}

TEST_F(TreePlan, ADirectoryThatCannotBeListedIsAFailureAndTheOthersGoOn) {
    m_source.directories[""] = {Entry("bad", kDir), Entry("good", kDir)};
    m_source.directories["good"] = {Entry("x", kFile)};
    m_target.directories[""] = {};
    const STreePlan plan = Plan();
    EXPECT_EQ(Moves(plan), (Texts{"good/x"}));
    EXPECT_EQ(Failures(plan), (Texts{"it: cannot list bad"}));
}

TEST_F(TreePlan, ATargetDirectoryThatCannotBeListedIsLeftAlone) {
    m_source.directories[""] = {Entry("a", kDir)};
    m_source.directories["a"] = {Entry("x", kFile)};
    m_target.directories[""] = {Entry("a", kDir)};
    const STreePlan plan = Plan();
    EXPECT_TRUE(plan.moves.empty());
    EXPECT_EQ(Failures(plan), (Texts{"it: cannot list a"}));
}

TEST_F(TreePlan, WithoutRecursionDirectoriesAreSkipped) {
    m_rules.bRecursive = false;
    m_rules.isMeant = [](const std::string& strName) { return strName != "no"; };
    m_source.directories[""] = {Entry("d", kDir), Entry("no", kFile), Entry("x", kFile)};
    m_target.directories[""] = {};
    const STreePlan plan = Plan();
    EXPECT_EQ(Moves(plan), (Texts{"x"}));
    EXPECT_EQ(plan.nMeant, 2U);
    EXPECT_EQ(plan.skipped, (Texts{"tree/d: a directory; -r takes it along"}));
}

TEST_F(TreePlan, ANameListedTwiceIsMovedOnce) {
    m_source.directories[""] = {Entry("x", kFile), Entry("x", kFile)};
    m_target.directories[""] = {};
    EXPECT_EQ(Moves(Plan()), (Texts{"x"}));
}

TEST_F(TreePlan, AFileThatAnotherOverwritesOnItsWayIsMovedAgain) {
    m_source.directories[""] = {Entry("x", kFile, 2), Entry("x.part", kFile, 1)};
    m_target.directories[""] = {Entry("x", kFile, 1), Entry("x.part", kFile, 1)};
    EXPECT_EQ(Moves(Plan()), (Texts{"x", "x.part"}));
    m_target.directories[""] = {Entry("x", kFile, 2), Entry("x.part", kFile, 1)};
    EXPECT_EQ(Moves(Plan()), Texts{});
}

TEST_F(TreePlan, DirectoriesWithoutEndAreGivenUp) {
    std::string strPath;
    for (int n = 0; n < 400; ++n) {
        m_source.directories[strPath] = {Entry("d", kDir)};
        strPath = BelowTree(strPath, "d");
    }
    m_target.bExists = false;
    const STreePlan plan = Plan();
    ASSERT_EQ(plan.failures.size(), 1U);
    EXPECT_EQ(plan.failures[0].strMeaning, "too many directories one below the other");
}

}  // namespace
