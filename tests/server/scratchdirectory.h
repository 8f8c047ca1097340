#ifndef QEL_TESTS_SERVER_SCRATCHDIRECTORY_H
#define QEL_TESTS_SERVER_SCRATCHDIRECTORY_H

#include <cstdint>
#include <filesystem>

namespace ServerTest {

// Where so many bytes are best kept for a while: in memory if there is room, else in the system's
// temporary directory. Programs may not run from there.
std::filesystem::path PlaceFor(std::uintmax_t uBytes);

// A directory of its own that vanishes with the object, whatever permissions its content has.
class CScratchDirectory {
public:
    // Made below base; throws when it cannot be made.
    explicit CScratchDirectory(const std::filesystem::path& base);
    ~CScratchDirectory();

    CScratchDirectory(const CScratchDirectory&) = delete;
    CScratchDirectory& operator=(const CScratchDirectory&) = delete;

    const std::filesystem::path& Path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

}  // namespace ServerTest

#endif
