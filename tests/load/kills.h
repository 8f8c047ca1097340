#ifndef QEL_TESTS_LOAD_KILLS_H
#define QEL_TESTS_LOAD_KILLS_H

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "tests/load/memory.h"
#include "tests/load/resetrelay.h"
#include "tests/load/settings.h"
#include "tests/load/tally.h"

namespace LoadTest {

// What goes wrong while sessions work. All of it happens in the thread that made the servers: they
// die with it.
class CKills {
public:
    // killServer: kills all of it and starts another one. process: the name of the server's
    // processes. ullSeed: which kind is next, and when.
    CKills(std::function<void(CRandom& random)> killServer, std::string strProcess,
           CResetRelay& relay, std::uint64_t ullSeed);

    // Kills until then, at random moments; the first three are one of each kind.
    void Run(TestSupport::Clock::time_point until);

    unsigned long long Servers() const { return m_ullServers; }
    unsigned long long Sessions() const { return m_ullSessions; }
    unsigned long long Resets() const { return m_ullResets; }

private:
    void KillOne();
    bool KillSession();

    std::function<void(CRandom& random)> m_killServer;
    std::string m_strProcess;
    CResetRelay& m_relay;
    CRandom m_random;
    unsigned long long m_ullDone = 0;
    unsigned long long m_ullServers = 0;
    unsigned long long m_ullSessions = 0;
    unsigned long long m_ullResets = 0;
};

// Lets sessions work, each in a thread of its own, and kills beside them, in four legs, or ten of a
// minute or more in all. Between two legs no session and no thread exists: then the memory and the
// descriptors are measured, which must be flat from the first leg to the last, and as many
// descriptors as before.
//
// Fails, too, when a kind of kill did not happen, when a session never moved a file as a whole, or
// when more operations failed than the kills explain.
using TimePoint = TestSupport::Clock::time_point;
struct SLegs {
    int nSessions;
    std::function<void(int nSession, TimePoint until)> work;
    std::function<STally(int nSession)> takeTally;  // of one, since the last leg
};
void RunLegs(std::chrono::seconds duration, const SLegs& legs, CKills& kills);

// The same for any container of workers.
template <class Workers>
void RunLegs(std::chrono::seconds duration, Workers& workers, CKills& kills) {
    const auto at = [&workers](int n) -> auto& {
        return workers[static_cast<std::size_t>(n)];
    };
    RunLegs(
        duration,
        SLegs{static_cast<int>(workers.size()), [at](int n, TimePoint until) { at(n).Work(until); },
              [at](int n) { return at(n).TakeTally(); }},
        kills);
}

}  // namespace LoadTest

#endif
