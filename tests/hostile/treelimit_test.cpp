// A tree that goes on for ever in its breadth.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tools/treeplan.h"

using namespace qelftp;

namespace {

// Ten directories in every directory, each of whose names ends in as many letters as wanted; counts
// how often it is asked.
class CEndlessTree : public CTree {
public:
    explicit CEndlessTree(std::size_t nLetters) : m_nLetters(nLetters) {}

    std::vector<SEntry> List(const std::string&) override {
        ++m_nListed;
        std::vector<SEntry> entries(10);
        for (std::size_t i = 0; i < entries.size(); ++i) {
            entries[i].strName = std::to_string(i) + std::string(m_nLetters, 'n');
            entries[i].eType = EEntryType::Directory;
        }
        return entries;
    }
    std::optional<SEntry> Behind(const std::string&) override { return {}; }
    bool Exists() override { return m_bExists; }
    void MakeDir(const std::string&) override {}
    void RemoveFile(const std::string&) override {}
    void RemoveDir(const std::string&) override {}
    std::string Path(const std::string& strPath) const override { return "/" + strPath; }
    std::string NameRefusal(const std::string&) const override { return ""; }

    const std::size_t m_nLetters;
    int m_nListed = 0;
    bool m_bExists = true;
};

bool IsTooMany(const SFailure& failure) {
    return failure.strMeaning == "the tree has too many entries";
}

TEST(EndlessTree, IsGivenUpAfterItsEntries) {
    for (const bool bDelete : {false, true}) {
        CEndlessTree endless(0);
        CEndlessTree target(0);
        target.m_bExists = bDelete;
        STreeRules rules;
        rules.nMaxEntries = 10'000;
        rules.bDelete = bDelete;
        const STreePlan plan = PlanTree(endless, target, rules);
        EXPECT_LE(endless.m_nListed + target.m_nListed, 1001);
        EXPECT_LE(plan.directories.size(), 1001U);
        EXPECT_LE(plan.failures.size(), 10'001U);
        EXPECT_EQ(std::count_if(plan.failures.begin(), plan.failures.end(), IsTooMany), 1);
        EXPECT_TRUE(plan.extraDirs.empty());
    }
}

// 200 levels of such names are paths of 50,000 bytes.
TEST(EndlessTree, IsGivenUpSoonerWhenItsNamesAreLong) {
    CEndlessTree endless(250);
    CEndlessTree target(0);
    target.m_bExists = false;
    STreeRules rules;
    rules.nMaxEntries = 100'000;
    const STreePlan plan = PlanTree(endless, target, rules);
    std::size_t nBytes = 0;
    for (const std::string& strDir : plan.directories)
        nBytes += strDir.size();
    for (const SFailure& failure : plan.failures)
        nBytes += failure.strSubject.size();
    EXPECT_LE(nBytes, 256 * (rules.nMaxEntries + 10'000));
    EXPECT_EQ(std::count_if(plan.failures.begin(), plan.failures.end(), IsTooMany), 1);
}

}  // namespace
