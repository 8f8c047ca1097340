#include "platform/resources.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/platform/scratchdirectory.h"

namespace PlatformTest {
namespace {

class ResourceFile : public testing::Test {
protected:
    // The store is the process's: keys of different tests must differ.
    void Add(const std::string& strText) {
        WriteFile(m_directory.Path("test.cfg"), strText);
        ASSERT_NE(ZeltAddResFileWithAbsolute(m_directory.Path("test.cfg")), 0);
    }

    CScratchDirectory m_directory;
};

struct SSyntaxCase {
    const char* pszName;
    std::string strFile;
    const char* pszKey;
    const char* pszText;  // null: the key is not there
};

const SSyntaxCase kSyntax[] = {
    {"plain", "s1=value\n", "s1", "value"},
    {"no line end at the end", "s2=value", "s2", "value"},
    {"blanks around both", " \ts3 \t= \tvalue \t\n", "s3", "value"},
    {"blanks inside stay", "s4 x=a  b\tc\n", "s4 x", "a  b\tc"},
    {"CR LF", "s5=value\r\ns5b=other\r\n", "s5", "value"},
    {"CR LF, second line", "", "s5b", "other"},
    {"CR alone ends no line", "s6=a\rs6b=b\n", "s6", "a\rs6b=b"},
    {"later lines win", "s7=first\ns7=second\n", "s7", "second"},
    {"second equals sign belongs to the value", "s8=a=b==\n", "s8", "a=b=="},
    {"empty value", "s9=\n", "s9", ""},
    {"blank value", "s10= \t \r\n", "s10", ""},
    {"empty key", "=value\n", "", nullptr},
    {"no equals sign", "s11\ns11b=x\n", "s11", nullptr},
    {"line after one without equals sign", "", "s11b", "x"},
    {"comment", "#s12=value\n", "s12", nullptr},
    {"comment by its own key", "", "#s12", nullptr},
    {"comment after blanks", " \t# s13=value\n", "s13", nullptr},
    {"number sign in a value", "s14=a # b\n", "s14", "a # b"},
    {"number sign inside a key", "s15#=a\n", "s15#", "a"},
    {"empty lines", "\n\r\n  \ns16=a\n\n", "s16", "a"},
    {"byte order mark", "\xEF\xBB\xBFs17=a\n", "s17", "a"},
    {"byte order mark before a comment", "\xEF\xBB\xBF#s18=a\n", "s18", nullptr},
    {"byte order mark inside", "s19=a\n\xEF\xBB\xBFs19b=b\n", "s19b", nullptr},
    {"keys keep their case", "S20=a\n", "s20", nullptr},
    {"UTF-8", "s21\xC3\xBC=\xE4\xB8\xAD\n", "s21\xC3\xBC", "\xE4\xB8\xAD"},
    {"unknown key", "", "s22", nullptr},
};

TEST_F(ResourceFile, Syntax) {
    for (const SSyntaxCase& row : kSyntax) {
        SCOPED_TRACE(row.pszName);
        Add(row.strFile);
        EXPECT_STREQ(ZeltGetResString(row.pszKey), row.pszText);
    }
}

TEST_F(ResourceFile, TakesLinesLongerThanAnyBuffer) {
    const std::string strValue(100000, 'v');
    Add("long=" + strValue + "\nafterlong=x\n");
    EXPECT_EQ(ZeltGetResString("long"), strValue);
    EXPECT_STREQ(ZeltGetResString("afterlong"), "x");
}

TEST_F(ResourceFile, LaterFilesWinAndKeepWhatTheyDoNotName) {
    Add("later1=old\nlater2=stays\n");
    Add("later1=new\n");
    EXPECT_STREQ(ZeltGetResString("later1"), "new");
    EXPECT_STREQ(ZeltGetResString("later2"), "stays");
}

TEST_F(ResourceFile, TextsOutliveTheirReplacement) {
    Add("kept=the first text, longer than any string keeps inside itself\n");
    const char* const pszFirst = ZeltGetResString("kept");
    for (int i = 0; i < 1000; ++i)
        Add("kept=" + std::to_string(i) + "\nkeptmore" + std::to_string(i) + "=x\n");
    EXPECT_STREQ(pszFirst, "the first text, longer than any string keeps inside itself");
    EXPECT_STREQ(ZeltGetResString("kept"), "999");
}

TEST_F(ResourceFile, ReadingAFileAgainKeepsItsTexts) {
    Add("again=text\n");
    const char* const pszFirst = ZeltGetResString("again");
    Add("again=text\n");
    EXPECT_EQ(ZeltGetResString("again"), pszFirst);
}

TEST_F(ResourceFile, AnUnreadableFileIsAFailureAndChangesNothing) {
    Add("failure=stays\n");
    EXPECT_EQ(ZeltAddResFileWithAbsolute(m_directory.Path("missing.cfg")), 0);
    EXPECT_EQ(ZeltAddResFileWithAbsolute(m_directory.Path("")), 0) << "a directory";
    EXPECT_EQ(ZeltAddResFileWithAbsolute(""), 0);
    EXPECT_STREQ(ZeltGetResString("failure"), "stays");
}

TEST_F(ResourceFile, AnEmptyFileIsASuccess) {
    Add("");
    Add("\xEF\xBB\xBF");
}

}  // namespace
}  // namespace PlatformTest
