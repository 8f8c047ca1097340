#include "tools/passwordfile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <string>
#include <thread>

#include "tests/support/tempdir.h"
#include "tools/failure.h"

using namespace qelftp;
using namespace TestSupport;
using namespace std::string_literals;

namespace {

class PasswordFile : public testing::Test {
protected:
    // The password in brackets, or why there is none.
    std::string Read(const std::string& strPath) const {
        CPlainText password;
        try {
            ReadPasswordFile(strPath, password);
        } catch (const CUsageError& error) {
            EXPECT_EQ(password.Get(), "");
            const std::string strStart = "password file " + strPath + ": ";
            EXPECT_EQ(error.what(), strStart + std::string(error.what()).substr(strStart.size()));
            return std::string(error.what()).substr(strStart.size());
        }
        return "[" + password.Get() + "]";
    }
    std::string ReadText(const std::string& strText, mode_t uMode = 0600) const {
        WriteFile(File(), strText);
        EXPECT_EQ(::chmod(File().c_str(), uMode), 0);
        return Read(File());
    }
    std::string File() const { return m_dir.File("secret"); }

    TempDir m_dir;
};

TEST_F(PasswordFile, HasThePasswordInItsFirstLine) {
    const std::string strLongest(CPlainText::kMaxSize, 'x');
    for (const auto& [strText, strExpected] : {
             std::pair{"tea\n"s, "[tea]"s},
             std::pair{"tea"s, "[tea]"s},
             std::pair{"tea\r\n"s, "[tea]"s},
             std::pair{"tea\nmilk\n"s, "[tea]"s},
             std::pair{" t e a \n"s, "[ t e a ]"s},
             std::pair{"t\rea\n"s, "[t\rea]"s},
             std::pair{"#tea\n"s, "[#tea]"s},
             std::pair{"\n"s, "[]"s},
             std::pair{"\nmilk"s, "[]"s},
             std::pair{""s, "it is empty"s},
             std::pair{strLongest + "\r\n", "[" + strLongest + "]"},
             std::pair{strLongest + "x\n", "its first line is too long for a password"s},
             std::pair{strLongest + strLongest, "its first line is too long for a password"s},
         }) {
        EXPECT_EQ(ReadText(strText), strExpected) << strText.substr(0, 20);
    }
}

TEST_F(PasswordFile, IsRefusedWhenOthersHaveRightsToIt) {
    for (const mode_t uMode : {0640u, 0604u, 0660u, 0602u, 0644u}) {
        EXPECT_EQ(ReadText("tea\n", uMode),
                  "others than its owner have rights to it; take them away with chmod 600")
            << std::oct << uMode;
    }
    EXPECT_EQ(ReadText("tea\n", 0400), "[tea]");
}

TEST_F(PasswordFile, IsRefusedWhenItCannotBeRead) {
    EXPECT_EQ(Read(m_dir.File("none")), "No such file or directory");
    ASSERT_EQ(::chmod(m_dir.Path().c_str(), 0700), 0);
    EXPECT_EQ(Read(m_dir.Path()), "Is a directory");
}

TEST_F(PasswordFile, MayBeAPipe) {
    ASSERT_EQ(::mkfifo(File().c_str(), 0600), 0);
    std::thread writer([this] { std::ofstream(File()) << "tea\n"; });
    EXPECT_EQ(Read(File()), "[tea]");
    writer.join();
}

}  // namespace
