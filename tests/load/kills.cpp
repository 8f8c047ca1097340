#include "tests/load/kills.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

#include "tests/load/descriptors.h"
#include "tests/load/smallthreads.h"

namespace LoadTest {
namespace {

using TestSupport::Clock;
using TestSupport::Millis;

constexpr int kLeastPauseMs = 100;
constexpr int kMostPauseMs = 900;

struct SProcess {
    pid_t nParent = -1;
    std::string strName;
};

// "4711 (vsftpd) S 4710 ..."; the name may hold anything.
SProcess ReadProcess(const std::filesystem::path& directory) {
    std::ifstream file(directory / "stat");
    std::string strLine;
    std::getline(file, strLine);
    const std::size_t nOpen = strLine.find('(');
    const std::size_t nClose = strLine.rfind(')');
    SProcess process;
    if (nOpen == std::string::npos || nClose == std::string::npos) return process;
    process.strName = strLine.substr(nOpen + 1, nClose - nOpen - 1);
    process.nParent = std::atoi(strLine.c_str() + nClose + 4);
    return process;
}

// Of a server that this process has started: the processes below the one that listens.
std::vector<pid_t> SessionProcesses(const std::string& strName) {
    std::map<pid_t, SProcess> all;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        const pid_t pid = std::atoi(entry.path().filename().c_str());
        if (pid > 0) all[pid] = ReadProcess(entry.path());
    }
    const auto parent = [&all](pid_t pid) {
        const auto found = all.find(pid);
        return found == all.end() ? pid_t(-1) : found->second.nParent;
    };
    std::vector<pid_t> sessions;
    for (const auto& [pid, process] : all) {
        if (process.strName.compare(0, strName.size(), strName) != 0) continue;
        pid_t above = process.nParent == ::getpid() ? -1 : process.nParent;
        while (above > 1 && above != ::getpid())
            above = parent(above);
        if (above == ::getpid()) sessions.push_back(pid);
    }
    return sessions;
}

}  // namespace

CKills::CKills(std::function<void(CRandom&)> killServer, std::string strProcess, CResetRelay& relay,
               std::uint64_t ullSeed)
    : m_killServer(std::move(killServer)),
      m_strProcess(std::move(strProcess)),
      m_relay(relay),
      m_random(ullSeed) {}

void CKills::Run(Clock::time_point until) {
    while (true) {
        const Clock::time_point next =
            Clock::now() + Millis(Between(m_random, kLeastPauseMs, kMostPauseMs));
        std::this_thread::sleep_until(std::min(next, until));
        if (next >= until) return;
        KillOne();
    }
}

void CKills::KillOne() {
    constexpr unsigned long long kKinds = 3;
    const int nKind = m_ullDone < kKinds ? static_cast<int>(m_ullDone) : Between(m_random, 0, 10);
    if (nKind == 0) {
        m_killServer(m_random);
        ++m_ullServers;
    } else if (nKind % 2 == 1) {
        if (!KillSession()) return;
        ++m_ullSessions;
    } else {
        if (!m_relay.ResetOne(static_cast<std::uint32_t>(m_random()))) return;
        ++m_ullResets;
    }
    ++m_ullDone;
}

bool CKills::KillSession() {
    const std::vector<pid_t> sessions = SessionProcesses(m_strProcess);
    if (sessions.empty()) return false;
    const int nChosen = Between(m_random, 0, static_cast<int>(sessions.size()) - 1);
    return ::kill(sessions[static_cast<std::size_t>(nChosen)], SIGKILL) == 0;
}

void RunLegs(std::chrono::seconds duration, const SLegs& legs, CKills& kills) {
    const bool bLong = duration >= std::chrono::minutes(1);
    const int nLegs = bLong ? 10 : 4;
    const std::size_t uBefore = OpenDescriptors();
    std::vector<SHeld> series;
    series.reserve(static_cast<std::size_t>(nLegs));
    std::vector<unsigned long long> whole(static_cast<std::size_t>(legs.nSessions));
    STally all;
    for (int nLeg = 1; nLeg <= nLegs; ++nLeg) {
        const TimePoint until = Clock::now() + Millis(duration) / nLegs;
        {
            CSmallThreads threads(legs.nSessions, [&](int n) { legs.work(n, until); });
            kills.Run(until);
        }
        for (int n = 0; n < legs.nSessions; ++n) {
            const STally one = legs.takeTally(n);
            whole[static_cast<std::size_t>(n)] += one.ullWhole;
            all.Add(one);
        }
        series.push_back(MeasureHeld());
        std::printf(
            "leg %d of %d: %s; killed %llu servers, %llu sessions' processes, %llu connections\n",
            nLeg, nLegs, all.Line().c_str(), kills.Servers(), kills.Sessions(), kills.Resets());
        std::fflush(stdout);
    }
    std::printf("%s", all.Details().c_str());
    ExpectFlat(series, bLong);
    EXPECT_EQ(series.back().uDescriptors, uBefore);
    EXPECT_GE(kills.Servers(), 1U);
    EXPECT_GE(kills.Sessions(), 1U);
    EXPECT_GE(kills.Resets(), 1U);
    EXPECT_LE(all.ullAlone, kills.Sessions() + kills.Resets())
        << "more operations failed than were interrupted";
    for (const unsigned long long ullWhole : whole)
        EXPECT_GE(ullWhole, 1U) << "a session never moved a file as a whole";
}

}  // namespace LoadTest
