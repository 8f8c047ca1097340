#include "tests/server/checksums.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <vector>

#include "tests/support/payload.h"

namespace ServerTest {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kChunk = 1U << 20U;

std::string Hexadecimal(const unsigned char* pBytes, unsigned int uSize) {
    constexpr const char* kDigits = "0123456789abcdef";
    std::string strHex;
    for (unsigned int u = 0; u < uSize; ++u) {
        strHex += kDigits[pBytes[u] >> 4U];
        strHex += kDigits[pBytes[u] & 0xFU];
    }
    return strHex;
}

}  // namespace

std::string ChecksumOf(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) throw std::runtime_error("not readable: " + file.string());
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> digest(EVP_MD_CTX_new(),
                                                                         EVP_MD_CTX_free);
    EVP_DigestInit_ex(digest.get(), EVP_sha256(), nullptr);
    std::vector<char> chunk(kChunk);
    while (in.read(chunk.data(), static_cast<std::streamsize>(kChunk)), in.gcount() > 0) {
        EVP_DigestUpdate(digest.get(), chunk.data(), static_cast<std::size_t>(in.gcount()));
    }
    std::array<unsigned char, EVP_MAX_MD_SIZE> result{};
    unsigned int uSize = 0;
    if (in.bad() || EVP_DigestFinal_ex(digest.get(), result.data(), &uSize) != 1) {
        throw std::runtime_error("no checksum of " + file.string());
    }
    return Hexadecimal(result.data(), uSize);
}

std::map<std::string, std::string> ChecksumsBelow(const fs::path& directory) {
    std::map<std::string, std::string> checksums;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(directory)) {
        if (!entry.is_regular_file()) continue;
        checksums[entry.path().lexically_relative(directory).string()] = ChecksumOf(entry.path());
    }
    return checksums;
}

void WriteLargeFile(const fs::path& file, std::uintmax_t uSize) {
    std::ofstream out(file, std::ios::binary);
    for (std::uintmax_t uDone = 0; uDone < uSize; uDone += kChunk) {
        const auto nPart =
            static_cast<std::size_t>(std::min<std::uintmax_t>(kChunk, uSize - uDone));
        const std::string strChunk = TestSupport::Payload(nPart, uDone);
        out.write(strChunk.data(), static_cast<std::streamsize>(nPart));
    }
    if (!out.flush()) throw std::runtime_error("not written: " + file.string());
}

}  // namespace ServerTest
