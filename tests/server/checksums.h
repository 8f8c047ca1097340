#ifndef QEL_TESTS_SERVER_CHECKSUMS_H
#define QEL_TESTS_SERVER_CHECKSUMS_H

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

namespace ServerTest {

// SHA-256 in hexadecimal; throws when the file cannot be read.
std::string ChecksumOf(const std::filesystem::path& file);

// Checksums of all files below a directory, by their path from there.
std::map<std::string, std::string> ChecksumsBelow(const std::filesystem::path& directory);

// A file too large for memory, each byte depending on its position. Throws when it does not fit.
void WriteLargeFile(const std::filesystem::path& file, std::uintmax_t uSize);

}  // namespace ServerTest

#endif
