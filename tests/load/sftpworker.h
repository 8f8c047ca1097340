#ifndef QEL_TESTS_LOAD_SFTPWORKER_H
#define QEL_TESTS_LOAD_SFTPWORKER_H

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "tests/load/contents.h"
#include "tests/load/settings.h"
#include "tests/load/standing.h"
#include "tests/load/tally.h"
#include "tests/sftpserver/hostsession.h"

namespace LoadTest {

struct SSftpAccount {
    TQ_UTIL::StFTPAccountInfo account;
    std::string strDirectory;  // that the server's user may write to
};

// What all sessions share.
struct SSftpScene {
    const CStanding<SSftpAccount>& server;
    unsigned short usRelayPort;  // which half of the sessions go through
    const CContents& contents;
    std::filesystem::path local;  // for what is retrieved
};

// One session that stores files, fetches them back and compares, and is set up again when it was
// interrupted.
class CSftpWorker {
public:
    CSftpWorker(const SSftpScene& scene, int nWorker, std::uint64_t ullSeed);

    // Connects, works until then, and releases the session.
    void Work(TestSupport::Clock::time_point until);

    // What it has done since the last call.
    STally TakeTally() { return std::exchange(m_tally, {}); }

private:
    void Connect();
    void Move();
    void CheckRetrieved(int nResult, const std::string& strContent, bool bOld);
    int Timed(const SOperation& operation, const std::function<int()>& call);
    bool Succeeded(int nResult);

    const SSftpScene& m_scene;
    int m_nWorker;
    std::filesystem::path m_target;
    CRandom m_random;
    STally m_tally;
    std::string m_strDirectory;
    unsigned int m_uEpoch = 0;                             // of the server connected to
    std::unique_ptr<TestSupport::HostSession> m_pSession;  // null: none
};

}  // namespace LoadTest

#endif
