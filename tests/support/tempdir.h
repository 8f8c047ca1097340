#ifndef QEL_TESTS_SUPPORT_TEMPDIR_H
#define QEL_TESTS_SUPPORT_TEMPDIR_H

#include <filesystem>
#include <string>

namespace TestSupport {

// A directory of the test's own, removed with all that is in it at the end of the object.
class TempDir {
public:
    TempDir();  // throws std::runtime_error
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& Path() const { return m_path; }
    // The path of something in it.
    std::string File(const std::string& strName) const { return (m_path / strName).string(); }

private:
    std::filesystem::path m_path;
};

// Whole files; both throw std::runtime_error.
void WriteFile(const std::string& strPath, const std::string& strBytes);
std::string ReadFile(const std::string& strPath);

}  // namespace TestSupport

#endif
