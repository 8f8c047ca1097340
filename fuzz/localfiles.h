#ifndef QEL_FUZZ_LOCALFILES_H
#define QEL_FUZZ_LOCALFILES_H

#include <cstddef>
#include <map>
#include <string>

namespace QelFuzz {

// The local files of a target: everything below /fuzz/ is in memory. The program that links this
// has its own ZELT_OS::fopen, stat, rename and unlink; other paths go to the kernel.
class CLocalFiles {
public:
    static constexpr const char* kFolder = "/fuzz/";

    static void Reset();

    static std::map<std::string, std::string> s_files;
    static int s_nOpen;              // streams that were not closed
    static bool s_bCreatable;        // false: nothing can be created
    static std::size_t s_nCapacity;  // bytes of one file; more do not fit
};

}  // namespace QelFuzz

#endif
