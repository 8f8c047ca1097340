#include "tests/server/scratchdirectory.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>
#include <system_error>

namespace ServerTest {
namespace {

namespace fs = std::filesystem;

// A directory that its owner may not write keeps its content from being removed.
void OpenDirectories(const fs::path& directory) {
    std::error_code ignored;
    fs::permissions(directory, fs::perms::owner_all, fs::perm_options::add, ignored);
    for (const fs::directory_entry& entry : fs::directory_iterator(directory, ignored)) {
        if (entry.is_directory(ignored) && !entry.is_symlink(ignored)) {
            OpenDirectories(entry.path());
        }
    }
}

}  // namespace

fs::path PlaceFor(std::uintmax_t uBytes) {
    constexpr const char* kMemory = "/dev/shm";
    std::error_code failed;
    const bool bRoom =
        ::access(kMemory, W_OK) == 0 && fs::space(kMemory, failed).available >= uBytes && !failed;
    return bRoom ? kMemory : fs::temp_directory_path();
}

CScratchDirectory::CScratchDirectory(const fs::path& base) {
    std::string strName = (base / "qelXXXXXX").string();
    if (::mkdtemp(strName.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), "mkdtemp " + strName);
    }
    m_path = strName;
}

CScratchDirectory::~CScratchDirectory() {
    std::error_code ignored;
    OpenDirectories(m_path);
    fs::remove_all(m_path, ignored);
}

}  // namespace ServerTest
