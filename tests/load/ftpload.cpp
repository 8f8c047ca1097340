#include "tests/load/ftpload.h"

#include <deque>
#include <thread>

#include "tests/load/kills.h"

namespace LoadTest {

void CFtpLoad::SetUp() {
    SilenceLog();
    CServerTest::SetUp();
}

void CFtpLoad::StartServer() {
    const std::unique_lock<std::shared_mutex> lock(m_standing.Files());
    Restart({{"max_clients=0", "max_per_ip=0", "xferlog_enable=NO"}, m_served.Path(), 0, false});
    m_relay.LeadTo(Server().Port());
    m_standing.Stands({Server().Port(), Server().User(), Server().Password()});
}

void CFtpLoad::Run(int nSessions, std::chrono::seconds duration) {
    const std::uint64_t ullSeed = Seed();
    const CContents contents(m_served.Path() / "files");
    std::filesystem::create_directory(m_served.Path() / "up");
    StartServer();

    const SFtpScene scene{m_standing, m_relay.Port(), contents, m_served.Path(), Local(".")};
    std::deque<CFtpWorker> workers;
    for (int n = 0; n < nSessions; ++n)
        workers.emplace_back(scene, n, ullSeed);
    const auto killServer = [this](CRandom& random) {
        m_standing.Falls();
        StopServer();
        std::this_thread::sleep_for(TestSupport::Millis(Between(random, 0, 300)));
        StartServer();
    };
    CKills kills(killServer, "vsftpd", m_relay, ullSeed);
    RunLegs(duration, workers, kills);
}

}  // namespace LoadTest
