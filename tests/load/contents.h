#ifndef QEL_TESTS_LOAD_CONTENTS_H
#define QEL_TESTS_LOAD_CONTENTS_H

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace LoadTest {

// Files of several lengths, around the block sizes and larger, to be moved by many sessions.
class CContents {
public:
    // Writes them into the directory, which it makes.
    explicit CContents(const std::filesystem::path& directory);

    std::size_t Count() const { return m_contents.size(); }
    const std::string& Bytes(std::size_t uFile) const { return m_contents[uFile]; }
    static std::string Name(std::size_t uFile) { return "file" + std::to_string(uFile); }
    std::filesystem::path File(std::size_t uFile) const { return m_directory / Name(uFile); }

private:
    std::filesystem::path m_directory;
    std::vector<std::string> m_contents;
};

// How many bytes of a file are those of a content, from the beginning; fails where the file holds
// others or more, or is not there. Reads it in small pieces: many do so at the same time.
testing::AssertionResult HoldsBeginning(const std::filesystem::path& file,
                                        const std::string& strContent, std::size_t& uBytes);

}  // namespace LoadTest

#endif
