#include "tests/load/contents.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <fstream>

#include "tests/support/payload.h"
#include "tests/support/tempdir.h"

namespace LoadTest {
namespace {

constexpr std::size_t kSizes[] = {0,      1,       1'023,   1'024,     1'025,
                                  65'536, 100'000, 500'001, 1'000'003, 3'000'000};

}  // namespace

CContents::CContents(const std::filesystem::path& directory) : m_directory(directory) {
    std::filesystem::create_directories(directory);
    for (const std::size_t uSize : kSizes) {
        const std::size_t uFile = m_contents.size();
        m_contents.push_back(TestSupport::Payload(uSize, static_cast<std::uint64_t>(uFile) + 1));
        TestSupport::WriteFile(File(uFile), m_contents.back());
    }
}

testing::AssertionResult HoldsBeginning(const std::filesystem::path& file,
                                        const std::string& strContent, std::size_t& uBytes) {
    uBytes = 0;
    std::ifstream stream;
    stream.rdbuf()->pubsetbuf(nullptr, 0);
    stream.open(file, std::ios::binary);
    if (!stream) return testing::AssertionFailure() << "there is no " << file;
    std::array<char, 16'384> piece;
    while (stream.read(piece.data(), piece.size()), stream.gcount() > 0) {
        const auto uPiece = static_cast<std::size_t>(stream.gcount());
        if (uPiece > strContent.size() - uBytes)
            return testing::AssertionFailure() << file << " is longer than the original";
        if (std::memcmp(piece.data(), strContent.data() + uBytes, uPiece) != 0)
            return testing::AssertionFailure() << file << " differs behind offset " << uBytes;
        uBytes += uPiece;
    }
    return testing::AssertionSuccess();
}

}  // namespace LoadTest
