// Input: a name from a server's listing.

#include "tools/safename.h"

#include <filesystem>
#include <string>

#include "fuzz/require.h"

namespace QelFuzz {

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    const std::string strName(TextOf(pData, nSize));
    const bool bSafe = qelftp::IsSafeName(strName);
    RequireEqual(bSafe, qelftp::UnsafeNameReason(strName).empty(), "a reason for each refusal");
    if (!bSafe) return 0;
    const std::filesystem::path local = std::filesystem::path("/target") / strName;
    RequireEqual(std::string("/target"), local.lexically_normal().parent_path().string(),
                 "a safe name stays in its directory");
    RequireEqual(strName, local.lexically_normal().filename().string(), "a safe name is kept");
    Require(nSize <= 255, "a safe name fits the file system");
    for (const char c : strName) {
        const auto uByte = static_cast<unsigned char>(c);
        Require(uByte >= 0x20 && uByte != 0x7f && c != '\\', "a safe name holds no control byte");
    }
    return 0;
}

}  // namespace QelFuzz
