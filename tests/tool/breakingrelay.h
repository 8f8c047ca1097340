#ifndef QEL_TESTS_TOOL_BREAKINGRELAY_H
#define QEL_TESTS_TOOL_BREAKINGRELAY_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/sockets.h"

namespace ToolTest {

// Stands between qelftp and an FTP server on 127.0.0.1, and breaks data connections off at random
// points: both sides get RST, and what was under way is lost. The control connection is passed on
// as it is, but for the address of data connections.
class BreakingRelay {
public:
    struct SPlan {
        unsigned int uSeed = 1;
        int nBreaks = 0;        // in all
        double dShare = 0.8;    // of the data connections, while there are breaks left
        int nMaxBytes = 40000;  // a connection breaks after 0 to so many bytes, if it gets there
        bool bListings = true;  // break these, too
    };

    BreakingRelay(unsigned short usServerPort, const SPlan& plan);
    ~BreakingRelay();
    BreakingRelay(const BreakingRelay&) = delete;
    BreakingRelay& operator=(const BreakingRelay&) = delete;

    std::string Url(const std::string& strPath) const;
    int Broken() const { return m_nBroken; }

private:
    void Accept();
    void RelayControl(TestSupport::CHandle client);
    void RelayData(TestSupport::CHandle listener, TestSupport::CHandle server,
                   const std::shared_ptr<std::atomic<bool>>& bListing);
    bool PassReply(const std::string& strReply, int nClient,
                   const std::shared_ptr<std::atomic<bool>>& bListing);
    int BytesUntilBreak();
    bool TakeBreak();
    void Start(std::thread thread);

    const unsigned short m_usServerPort;
    const SPlan m_plan;
    std::mutex m_mutex;
    std::mt19937 m_random;
    std::vector<std::thread> m_threads;
    std::atomic<int> m_nBroken{0};
    std::atomic<bool> m_bStop{false};
    TestSupport::CHandle m_listener;
    std::thread m_acceptor;
};

}  // namespace ToolTest

#endif
