#include "tests/load/settings.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>

namespace LoadTest {
namespace {

// A typing error must not pass for the usual value.
bool Number(const char* pszName, std::uint64_t& ullValue) {
    const char* pszText = std::getenv(pszName);
    if (pszText == nullptr) return false;
    const std::string strText = pszText;
    if (strText.empty() || strText.find_first_not_of("0123456789") != std::string::npos)
        throw std::runtime_error(std::string(pszName) + " is no number: " + strText);
    ullValue = std::stoull(strText);
    return true;
}

}  // namespace

std::chrono::seconds Duration(int nUsualSeconds) {
    std::uint64_t ullSeconds = 0;
    if (!Number("QEL_LOAD_SECONDS", ullSeconds)) return std::chrono::seconds(nUsualSeconds);
    if (ullSeconds == 0 || ullSeconds > 86'400)
        throw std::runtime_error("QEL_LOAD_SECONDS: from 1 to 86400");
    return std::chrono::seconds(ullSeconds);
}

std::uint64_t Seed() {
    std::uint64_t ullSeed = 0;
    if (!Number("QEL_LOAD_SEED", ullSeed)) ullSeed = std::random_device{}();
    std::printf("QEL_LOAD_SEED=%llu\n", static_cast<unsigned long long>(ullSeed));
    return ullSeed;
}

void SilenceLog() {
    ::setenv("QEL_LOG_LEVEL", "off", 0);
}

}  // namespace LoadTest
