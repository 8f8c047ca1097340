#include "tests/secrets/memorysearch.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <ostream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "tests/support/sockets.h"

namespace SecretsTest {
namespace {

using namespace TestSupport;

constexpr std::size_t kSecretSize = 48;
constexpr std::size_t kThird = kSecretSize / 3;
constexpr std::size_t kBlock = std::size_t{1} << 20;
// Larger ones are a sanitizer's notes about memory, not memory.
constexpr unsigned long kMaxMap = 1UL << 32;

struct SMap {
    unsigned long ulStart = 0;
    unsigned long ulEnd = 0;
    std::string strName;
};

std::vector<SMap> ReadableMaps(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/maps");
    std::vector<SMap> maps;
    for (std::string strLine; std::getline(file, strLine);) {
        std::istringstream fields(strLine);
        std::string strRange, strRights, strOffset, strDevice, strInode;
        SMap map;
        fields >> strRange >> strRights >> strOffset >> strDevice >> strInode >> map.strName;
        std::sscanf(strRange.c_str(), "%lx-%lx", &map.ulStart, &map.ulEnd);
        const bool bKernels = map.strName == "[vvar]" || map.strName == "[vsyscall]";
        if (strRights[0] == 'r' && !bKernels && map.ulEnd - map.ulStart <= kMaxMap)
            maps.push_back(map);
    }
    if (maps.empty()) throw std::runtime_error("the process's memory cannot be looked into");
    return maps;
}

std::string Visible(const char* pBytes, std::size_t nSize) {
    std::string strText;
    for (std::size_t i = 0; i < nSize; ++i)
        strText += std::isprint(static_cast<unsigned char>(pBytes[i])) != 0 ? pBytes[i] : '.';
    return strText;
}

class CSearch {
public:
    CSearch(pid_t pid, const std::string& strSecret)
        : m_strSecret(strSecret),
          m_memory(::open(("/proc/" + std::to_string(pid) + "/mem").c_str(), O_RDONLY | O_CLOEXEC)),
          m_block(kBlock + kSecretSize) {
        if (!m_memory.IsOpen())
            throw std::runtime_error(std::string("no memory: ") + std::strerror(errno));
        for (const SMap& map : ReadableMaps(pid))
            Search(map);
        if (m_ulRead == 0) throw std::runtime_error("nothing of the memory could be read");
    }

    std::vector<SFound> found;

private:
    // In blocks that overlap, so that nothing is missed at their edges.
    void Search(const SMap& map) {
        for (unsigned long ulAt = map.ulStart; ulAt < map.ulEnd; ulAt += kBlock) {
            const std::size_t nWanted =
                std::min(m_block.size(), static_cast<std::size_t>(map.ulEnd - ulAt));
            const ssize_t nRead =
                ::pread(m_memory.Get(), m_block.data(), nWanted, static_cast<off_t>(ulAt));
            if (nRead <= 0) continue;  // the end of a mapped file, say
            m_ulRead += static_cast<unsigned long>(nRead);
            for (std::size_t nThird = 0; nThird < 3; ++nThird)
                SearchBlock(map, ulAt, static_cast<std::size_t>(nRead), nThird);
        }
    }

    void SearchBlock(const SMap& map, unsigned long ulStart, std::size_t nSize,
                     std::size_t nThird) {
        const char* const pBegin = m_block.data();
        const char* const pEnd = pBegin + nSize;
        const char* const pThird = m_strSecret.data() + nThird * kThird;
        for (const char* pAt = std::search(pBegin, pEnd, pThird, pThird + kThird); pAt != pEnd;
             pAt = std::search(pAt + 1, pEnd, pThird, pThird + kThird)) {
            const char* const pFrom = std::max(pBegin, pAt - 16);
            const char* const pTo = std::min(pEnd, pAt + kThird + 16);
            found.push_back({map.strName, std::to_string(nThird + 1) + ". third",
                             Visible(pFrom, static_cast<std::size_t>(pTo - pFrom)),
                             ulStart + static_cast<unsigned long>(pAt - pBegin)});
        }
    }

    const std::string& m_strSecret;
    CHandle m_memory;
    std::vector<char> m_block;
    unsigned long m_ulRead = 0;
};

bool IsStopped(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string strStat;
    std::getline(file, strStat);
    const std::size_t nState = strStat.rfind(") ");
    return nState != std::string::npos && strStat.compare(nState + 2, 1, "T") == 0;
}

}  // namespace

std::string RandomSecret() {
    constexpr char kCharacters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    std::random_device random;
    std::uniform_int_distribution<std::size_t> any(0, sizeof kCharacters - 2);
    std::string strSecret;
    while (strSecret.size() < kSecretSize)
        strSecret += kCharacters[any(random)];
    return strSecret;
}

std::ostream& operator<<(std::ostream& stream, const SFound& found) {
    return stream << "the " << found.strWhich << " at " << std::hex << found.ulAddress << std::dec
                  << " in \"" << found.strMap << "\": " << found.strAround;
}

std::vector<SFound> FindInMemory(pid_t pid, const std::string& strSecret) {
    return CSearch(pid, strSecret).found;
}

void AwaitStop(pid_t pid) {
    const auto end = Clock::now() + Millis(20000);
    while (!IsStopped(pid)) {
        if (Clock::now() > end) throw std::runtime_error("the process does not stop");
        std::this_thread::sleep_for(Millis(2));
    }
}

}  // namespace SecretsTest
