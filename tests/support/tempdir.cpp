#include "tests/support/tempdir.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace TestSupport {

TempDir::TempDir() {
    std::string strPattern = (std::filesystem::temp_directory_path() / "qeltest-XXXXXX").string();
    if (::mkdtemp(strPattern.data()) == nullptr)
        throw std::runtime_error("no temporary directory: " + strPattern);
    m_path = strPattern;
}

TempDir::~TempDir() {
    std::error_code ignored;  // a test may have taken the permission away; nothing more to be done
    std::filesystem::remove_all(m_path, ignored);
}

void WriteFile(const std::string& strPath, const std::string& strBytes) {
    std::ofstream file(strPath, std::ios::binary);
    file.write(strBytes.data(), static_cast<std::streamsize>(strBytes.size()));
    if (!file.flush()) throw std::runtime_error("not written: " + strPath);
}

std::string ReadFile(const std::string& strPath) {
    std::ifstream file(strPath, std::ios::binary);
    if (!file) throw std::runtime_error("not readable: " + strPath);
    // In blocks: byte by byte, an instrumented build takes a minute for 64 MiB.
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return std::move(bytes).str();
}

}  // namespace TestSupport
