#ifndef QEL_TESTS_SERVER_TINYDISK_H
#define QEL_TESTS_SERVER_TINYDISK_H

#include <filesystem>
#include <string>

#include "tests/server/scratchdirectory.h"

namespace ServerTest {

// A file system of 64 KiB. It is mounted where only this process and its children see it, so that
// nothing is left of it even when the process is killed.
class CTinyDisk {
public:
    static constexpr std::size_t kSize = 65536;

    CTinyDisk();
    ~CTinyDisk();

    CTinyDisk(const CTinyDisk&) = delete;
    CTinyDisk& operator=(const CTinyDisk&) = delete;

    // Empty when it could be mounted; root is needed, and a container may refuse it to root as
    // well.
    const std::string& Refusal() const { return m_strRefusal; }
    const std::filesystem::path& Path() const { return m_directory.Path(); }

private:
    CScratchDirectory m_directory{PlaceFor(0)};
    std::string m_strRefusal;
};

}  // namespace ServerTest

#endif
