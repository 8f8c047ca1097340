#include "tests/load/sftpload.h"

#include <deque>
#include <thread>

#include "tests/load/kills.h"

namespace LoadTest {

void CSftpLoad::StartServer() {
    m_pServer = std::make_unique<TestSupport::OpenSshServer>();
    m_relay.LeadTo(m_pServer->Port());
    m_standing.Stands({TestSupport::PasswordAccount(*m_pServer), m_pServer->Directory()});
}

void CSftpLoad::Run(int nSessions, std::chrono::seconds duration) {
    SilenceLog();
    const std::uint64_t ullSeed = Seed();
    const CContents contents(m_local.File("files"));
    StartServer();

    const SSftpScene scene{m_standing, m_relay.Port(), contents, m_local.Path()};
    std::deque<CSftpWorker> workers;
    for (int n = 0; n < nSessions; ++n)
        workers.emplace_back(scene, n, ullSeed);
    const auto killServer = [this](CRandom& random) {
        m_standing.Falls();
        m_pServer->Kill();
        std::this_thread::sleep_for(TestSupport::Millis(Between(random, 0, 300)));
        StartServer();
    };
    CKills kills(killServer, "sshd", m_relay, ullSeed);
    RunLegs(duration, workers, kills);
}

}  // namespace LoadTest
