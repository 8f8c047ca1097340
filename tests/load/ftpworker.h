#ifndef QEL_TESTS_LOAD_FTPWORKER_H
#define QEL_TESTS_LOAD_FTPWORKER_H

#include <filesystem>
#include <memory>
#include <string>
#include <utility>

#include "include/ftpclient.h"
#include "tests/load/contents.h"
#include "tests/load/settings.h"
#include "tests/load/standing.h"
#include "tests/load/tally.h"

namespace LoadTest {

struct SFtpAccount {
    unsigned short usPort = 0;
    std::string strUser;
    std::string strPassword;
};

// What all sessions share.
struct SFtpScene {
    const CStanding<SFtpAccount>& server;
    unsigned short usRelayPort;  // which half of the sessions go through
    const CContents& contents;
    std::filesystem::path root;   // served; the contents are in "files", the stores go to "up"
    std::filesystem::path local;  // for what is retrieved
};

// One session that moves files there and back, logs in again when it was interrupted, and looks at
// what every transfer has left.
class CFtpWorker {
public:
    CFtpWorker(const SFtpScene& scene, int nWorker, std::uint64_t ullSeed);

    // Logs in, works until then, and logs out.
    void Work(TestSupport::Clock::time_point until);

    // What it has done since the last call.
    STally TakeTally() { return std::exchange(m_tally, {}); }

private:
    void LogIn();
    void LogOut();
    void Retrieve();
    void Store();
    void ChooseOptions();
    void CheckRetrieved(unsigned int uResult, const std::string& strContent, bool bOld);
    void CheckStored(unsigned int uResult, const std::string& strName,
                     const std::string& strContent);
    void Count(std::size_t uMoved, std::size_t uWhole);
    unsigned int Timed(const SOperation& operation, const std::function<unsigned int()>& call);
    void After(unsigned int uResult);

    const SFtpScene& m_scene;
    std::filesystem::path m_target;
    std::string m_strPrefix;  // of the names that it stores under
    CRandom m_random;
    STally m_tally;
    unsigned long long m_ullStores = 0;
    unsigned int m_uEpoch = 0;  // of the server that it has logged in to
    RVN_FTP_CLIENT::FtpTransferOptions m_options;
    std::unique_ptr<RVN_FTP_CLIENT::CFtpClient> m_pClient;  // null: not logged in
};

}  // namespace LoadTest

#endif
