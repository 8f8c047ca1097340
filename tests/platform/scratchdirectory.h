#ifndef QEL_TESTS_PLATFORM_SCRATCHDIRECTORY_H
#define QEL_TESTS_PLATFORM_SCRATCHDIRECTORY_H

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace PlatformTest {

// A new empty directory that goes with the object.
class CScratchDirectory {
public:
    CScratchDirectory() {
        std::string strTemplate = testing::TempDir() + "qelplatform-XXXXXX";
        if (mkdtemp(strTemplate.data()) == nullptr) ADD_FAILURE() << "no directory " << strTemplate;
        m_strPath = strTemplate;
    }
    ~CScratchDirectory() {
        std::error_code ignored;  // a left-over file is not what the test is about
        std::filesystem::remove_all(m_strPath, ignored);
    }

    CScratchDirectory(const CScratchDirectory&) = delete;
    CScratchDirectory& operator=(const CScratchDirectory&) = delete;

    std::string Path(const std::string& strName) const { return m_strPath + "/" + strName; }

private:
    std::string m_strPath;
};

inline void WriteFile(const std::string& strPath, const std::string& strText) {
    std::ofstream file(strPath, std::ios::binary);
    file << strText;
    ASSERT_TRUE(file.flush().good()) << "cannot write " << strPath;
}

inline std::string ReadFile(const std::string& strPath) {
    std::ifstream file(strPath, std::ios::binary);
    EXPECT_TRUE(file.good()) << "cannot read " << strPath;
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace PlatformTest

#endif
