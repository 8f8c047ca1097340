#include "tools/jsonlines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/tool/inlocale.h"

using namespace qelftp;
using namespace ToolTest;
using namespace std::string_literals;
using nlohmann::json;

namespace {

// What a program that reads lines of JSON gets.
json Read(const std::string& strLine) {
    EXPECT_EQ(std::count(strLine.begin(), strLine.end(), '\n'), 1) << strLine;
    EXPECT_EQ(strLine.back(), '\n') << strLine;
    EXPECT_TRUE(std::all_of(strLine.begin(), strLine.end() - 1, [](char c) {
        return c >= 0x20 && c < 0x7f;
    })) << strLine;
    return json::parse(strLine);
}

SEntry Named(const std::string& strName) {
    SEntry entry;
    entry.strName = strName;
    return entry;
}

TEST(EntryJson, HasAllThatIsKnown) {
    SEntry entry;
    entry.eType = EEntryType::Directory;
    entry.strSize = "4,096 bytes";
    entry.strTime = "Mar  3 12:30";
    entry.strName = "a b";
    entry.ullSize = 4096;
    entry.llModified = 1551616200;
    entry.uTimePrecision = 60;
    EXPECT_EQ(Read(EntryJson(entry)), (json{{"name", "a b"},
                                            {"type", "directory"},
                                            {"size", 4096},
                                            {"time", "Mar  3 12:30"},
                                            {"modified", "2019-03-03T12:30:00Z"},
                                            {"precision", 60}}));
}

TEST(EntryJson, HasNullForWhatIsNot) {
    SEntry entry = Named("x");
    entry.strSize = "?";
    EXPECT_EQ(Read(EntryJson(entry)), (json{{"name", "x"},
                                            {"type", "file"},
                                            {"size", nullptr},
                                            {"time", ""},
                                            {"modified", nullptr},
                                            {"precision", nullptr}}));
}

TEST(EntryJson, StartsWithTheName) {
    EXPECT_EQ(EntryJson(Named("x")).rfind("{\"name\":\"x\",\"type\":\"file\",\"size\":null,", 0),
              0u);
}

TEST(EntryJson, TellsTypesApart) {
    SEntry entry = Named("x");
    for (const auto& [eType, pszType] :
         {std::pair{EEntryType::File, "file"}, std::pair{EEntryType::Directory, "directory"},
          std::pair{EEntryType::Link, "link"}}) {
        entry.eType = eType;
        EXPECT_EQ(Read(EntryJson(entry))["type"], pszType);
    }
}

TEST(EntryJson, KeepsTheLargestSizes) {
    SEntry entry = Named("x");
    entry.ullSize = std::numeric_limits<unsigned long long>::max();
    EXPECT_EQ(Read(EntryJson(entry))["size"].get<unsigned long long>(), *entry.ullSize);
    entry.ullSize = 0;
    EXPECT_EQ(Read(EntryJson(entry))["size"], 0);
}

TEST(EntryJson, HasTimesOfTheYearsThatTheFormatHas) {
    const auto modified = [](std::int64_t llSeconds) {
        SEntry entry = Named("x");
        entry.llModified = llSeconds;
        const json object = Read(EntryJson(entry));
        EXPECT_EQ(object["precision"].is_null(), object["modified"].is_null());
        return object["modified"];
    };
    EXPECT_EQ(modified(0), "1970-01-01T00:00:00Z");
    EXPECT_EQ(modified(-1), "1969-12-31T23:59:59Z");
    EXPECT_EQ(modified(4102444800), "2100-01-01T00:00:00Z");
    EXPECT_EQ(modified(253402300799), "9999-12-31T23:59:59Z");
    EXPECT_EQ(modified(253402300800), nullptr);
    EXPECT_EQ(modified(std::numeric_limits<std::int64_t>::max()), nullptr);
    EXPECT_EQ(modified(-62167219200), "0000-01-01T00:00:00Z");
    EXPECT_EQ(modified(-62167219201), nullptr);
}

TEST(EntryJson, GivesBackEveryNameThatIsText) {
    const InLocale utf8("C.UTF-8");
    for (const std::string& strName :
         {"\xc3\xa4\xe6\xbc\xa2\xf0\x9f\x98\x80"s, "quote\" back\\slash"s, "\x1b[31m\x07\n\x7f"s,
          "\xc2\x9b"s, "a\0b"s, ""s, "\xef\xbf\xbd"s}) {
        const json object = Read(EntryJson(Named(strName)));
        EXPECT_EQ(object["name"].get<std::string>(), strName);
        EXPECT_FALSE(object.contains("nameBase64")) << object;
    }
}

TEST(EntryJson, HasTheBytesOfANameThatIsNoText) {
    const InLocale utf8("C.UTF-8");
    const json object = Read(EntryJson(Named("a\xff\xc3")));
    EXPECT_EQ(object["name"], "a\xef\xbf\xbd\xef\xbf\xbd");
    EXPECT_EQ(object.value("nameBase64", ""), "Yf/D");
}

TEST(OutcomeJson, HasAllOfATransferThatWentWell) {
    SFileOutcome outcome;
    outcome.transfer = {"/a/\xc3\xa4", "down/\xc3\xa4"};
    outcome.ullBytes = 5000000000;
    outcome.dSeconds = 1.23456;
    outcome.uAttempts = 2;
    const InLocale utf8("C.UTF-8");
    EXPECT_EQ(Read(OutcomeJson(outcome)), (json{{"operation", "get"},
                                                {"remote", "/a/\xc3\xa4"},
                                                {"local", "down/\xc3\xa4"},
                                                {"bytes", 5000000000},
                                                {"seconds", 1.235},
                                                {"attempts", 2},
                                                {"ok", true},
                                                {"failures", json::array()}}));
}

TEST(OutcomeJson, HasTheReasonsOfOneThatDidNot) {
    SFileOutcome outcome;
    outcome.transfer = {"/a/\xff", "x\xfe"};
    outcome.bPut = true;
    outcome.failures = {{"put", "/a/\xff", "no such file or directory", 0x3bb0000e, "look"},
                        {"read", "x", "Input/output error", std::nullopt, ""}};
    const InLocale utf8("C.UTF-8");
    EXPECT_EQ(Read(OutcomeJson(outcome)), (json{{"operation", "put"},
                                                {"remote", "/a/\xef\xbf\xbd"},
                                                {"remoteBase64", "L2Ev/w=="},
                                                {"local", "x\xef\xbf\xbd"},
                                                {"localBase64", "eP4="},
                                                {"bytes", 0},
                                                {"seconds", 0.0},
                                                {"attempts", 1},
                                                {"ok", false},
                                                {"failures",
                                                 {{{"operation", "put"},
                                                   {"subject", "/a/\xef\xbf\xbd"},
                                                   {"subjectBase64", "L2Ev/w=="},
                                                   {"meaning", "no such file or directory"},
                                                   {"code", "0x3bb0000e"},
                                                   {"advice", "look"}},
                                                  {{"operation", "read"},
                                                   {"subject", "x"},
                                                   {"meaning", "Input/output error"},
                                                   {"code", nullptr},
                                                   {"advice", nullptr}}}}}));
}

}  // namespace
