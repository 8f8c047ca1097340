#include "tools/safename.h"

#include <gtest/gtest.h>

#include <string>

using namespace qelftp;
using namespace std::string_literals;

namespace {

struct SRow {
    std::string strName;
    const char* pszReason;  // empty: it is safe
};

constexpr const char* kDirectory = "the name stands for a directory";
constexpr const char* kControl = "the name holds a control character";

TEST(SafeName, IsOneThatStaysInItsDirectoryAndDrivesNothing) {
    for (const SRow& row : {
             SRow{"plain name.txt", ""},
             SRow{"-rf", ""},
             SRow{"~root", ""},
             SRow{"$HOME `x` *?", ""},
             SRow{"...", ""},
             SRow{"..a", ""},
             SRow{".hidden", ""},
             SRow{"half.part", ""},
             SRow{" ", ""},
             SRow{"\xc3\xa4\xe6\xbc\xa2\xf0\x9f\x98\x80", ""},
             SRow{"\xc2\xa0", ""},               // the character after the control block
             SRow{"\xe4\x9b\x85 \xc3\x9b", ""},  // 0x9b within other characters
             SRow{"\xff\xfe", ""},               // no UTF-8 at all
             SRow{"", "the name is empty"},
             SRow{".", kDirectory},
             SRow{"..", kDirectory},
             SRow{"/", "the name holds a slash"},
             SRow{"/etc/passwd", "the name holds a slash"},
             SRow{"../x", "the name holds a slash"},
             SRow{"a/", "the name holds a slash"},
             SRow{"..\\x", "the name holds a backslash"},
             SRow{"c:\\x", "the name holds a backslash"},
             SRow{"a\nb", kControl},
             SRow{"\x01", kControl},
             SRow{"a\x1f", kControl},
             SRow{"\x1b[31m", kControl},
             SRow{"zero\0byte"s, kControl},
             SRow{"\x7f", kControl},
             SRow{"\xc2\x80", kControl},
             SRow{"a\xc2\x9b"
                  "31m",
                  kControl},
             SRow{"\xc2\x9f", kControl},
         }) {
        EXPECT_EQ(UnsafeNameReason(row.strName), row.pszReason)
            << testing::PrintToString(row.strName);
        EXPECT_EQ(IsSafeName(row.strName), *row.pszReason == '\0');
    }
}

TEST(SafeName, IsRefusedForEveryControlByte) {
    for (int n = 0; n < 0x20; ++n)
        EXPECT_EQ(UnsafeNameReason("a" + std::string(1, static_cast<char>(n))), kControl) << n;
}

TEST(SafeName, IsAtMostAsLongAsFileSystemsTake) {
    EXPECT_TRUE(IsSafeName(std::string(kMaxNameBytes, 'x')));
    EXPECT_EQ(UnsafeNameReason(std::string(kMaxNameBytes + 1, 'x')), "the name is too long");
}

}  // namespace
