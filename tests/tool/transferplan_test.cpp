#include "tools/transferplan.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tools/failure.h"

using namespace qelftp;

namespace {

using Texts = std::vector<std::string>;
using Pairs = std::vector<std::pair<std::string, std::string>>;  // remote, local

Pairs PairsOf(const std::vector<STransfer>& batch) {
    Pairs pairs;
    for (const STransfer& transfer : batch)
        pairs.emplace_back(transfer.strRemote, transfer.strLocal);
    return pairs;
}

Pairs Get(const Texts& arguments, bool bIntoDirectory) {
    return PairsOf(PlanGet(ParseGetArguments(arguments), bIntoDirectory));
}

Pairs Put(const Texts& arguments) {
    return PairsOf(PlanPut(ParsePutArguments(arguments)));
}

template <typename Code>
std::string RefusalOf(Code code) {
    try {
        code();
    } catch (const CUsageError& error) {
        return error.what();
    }
    return "(accepted)";
}

TEST(PlanGet, WithoutLocalKeepsTheNameInTheCurrentDirectory) {
    EXPECT_EQ(Get({"ftp://h/a/b%20c"}, true), (Pairs{{"/a/b c", "./b c"}}));
}

TEST(PlanGet, LocalIsAFileOrADirectory) {
    EXPECT_EQ(Get({"ftp://h/a/b", "x"}, false), (Pairs{{"/a/b", "x"}}));
    EXPECT_EQ(Get({"ftp://h/a/b", "x"}, true), (Pairs{{"/a/b", "x/b"}}));
    EXPECT_EQ(Get({"ftp://h/a/b", "x/"}, true), (Pairs{{"/a/b", "x/b"}}));
    EXPECT_EQ(Get({"ftp://h/a/b", "/"}, true), (Pairs{{"/a/b", "/b"}}));
    EXPECT_EQ(Get({"ftp://h/a/b", "./ftp://x"}, false), (Pairs{{"/a/b", "./ftp://x"}}));
}

TEST(PlanGet, SeveralKeepTheirNamesAndTheirOrder) {
    EXPECT_EQ(Get({"ftp://u@h:1/z", "ftp://u@h:1/d/a", "out"}, true),
              (Pairs{{"/z", "out/z"}, {"/d/a", "out/a"}}));
}

TEST(PlanGet, ABackslashSeparatesAsItDoesInTheLibrary) {
    EXPECT_EQ(Get({"ftp://h/a\\b", "out"}, true), (Pairs{{"/a\\b", "out/b"}}));
}

TEST(PlanGet, RefusesUrlsOfDifferentAccounts) {
    for (const char* pszOther :
         {"ftp://v@h:1/b", "ftp://u@i:1/b", "ftp://u@h:2/b", "ftp://h:1/b"}) {
        const std::string strMessage = RefusalOf([&] {
            ParseGetArguments({"ftp://u@h:1/a", pszOther});
        });
        EXPECT_NE(strMessage.find("same user, host and port"), std::string::npos)
            << pszOther << ": " << strMessage;
    }
}

TEST(PlanGet, RefusesUrlsOfDirectories) {
    for (const char* pszUrl : {"ftp://h", "ftp://h/", "ftp://h/a/", "ftp://h/a/.."}) {
        const std::string strMessage = RefusalOf([&] { ParseGetArguments({pszUrl}); });
        EXPECT_NE(strMessage.find("is a directory"), std::string::npos)
            << pszUrl << ": " << strMessage;
    }
}

TEST(PlanGet, RefusesTwoFilesOfOneName) {
    const std::string strMessage = RefusalOf([] {
        Get({"ftp://h/a/x", "ftp://h/b/x", "out"}, true);
    });
    EXPECT_EQ(strMessage, "two of the files would become the same out/x");
}

TEST(PlanPut, OneFileGetsTheNameInTheUrl) {
    EXPECT_EQ(Put({"d/a.txt", "ftp://h/in/b.txt"}), (Pairs{{"/in/b.txt", "d/a.txt"}}));
}

TEST(PlanPut, KeepsTheNameInADirectory) {
    EXPECT_EQ(Put({"d/a.txt", "ftp://h/in/"}), (Pairs{{"/in/a.txt", "d/a.txt"}}));
    EXPECT_EQ(Put({"d/a.txt", "ftp://h/"}), (Pairs{{"/a.txt", "d/a.txt"}}));
    EXPECT_EQ(Put({"d/a.txt", "ftp://h"}), (Pairs{{"/a.txt", "d/a.txt"}}));
}

TEST(PlanPut, SeveralGoIntoTheDirectoryInTheirOrder) {
    EXPECT_EQ(Put({"z", "/d/a b", "ftp://h/in"}), (Pairs{{"/in/z", "z"}, {"/in/a b", "/d/a b"}}));
}

TEST(PlanPut, RefusesTwoFilesOfOneName) {
    EXPECT_EQ(RefusalOf([] {
                  Put({"a/x", "b/x", "ftp://h/in"});
              }),
              "two of the files would become the same /in/x");
}

TEST(PlanPut, RefusesANameThatNoCommandLineCanHold) {
    EXPECT_NE(RefusalOf([] { Put({"a\nb", "ftp://h/"}); }).find("line end"), std::string::npos);
    EXPECT_EQ(Put({"a\nb", "ftp://h/ab"}), (Pairs{{"/ab", "a\nb"}}));
}

TEST(PlanPut, NeedsAUrlAtTheEnd) {
    EXPECT_NE(RefusalOf([] { Put({"a", "b"}); }).find("a URL is expected"), std::string::npos);
}

}  // namespace
