// Many connections: one after the other and at the same time.

#include <ace/DLL.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "include/sftpclient.h"
#include "platform/files.h"
#include "src/sftp/sftpclientreadcfg.h"
#include "tests/sftp/fakeserver.h"
#include "tests/sftp/fakewrapper.h"
#include "tests/support/recordinglog.h"

namespace {

std::atomic<int> g_nConfigurationsRead{0};

}  // namespace

// Part of reading the configuration; takes so long that every thread that asks meanwhile must wait.
int ZELT_OS::access(const char* path, int mode, const char* /*encoding*/) {
    ++g_nConfigurationsRead;
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    return ::access(path, mode);
}

namespace {

using RVN_FTP_CLIENT::CSftpClient;
using RVN_FTP_CLIENT::CSftpClientConfManager;
using RVN_FTP_CLIENT::StSFTPConnectionInfo;
using TestSftp::CFake;
using TestSftp::CFakeServer;
using TestSupport::RecordingLog;

constexpr int kThreads = 16;

// Runs the work in 16 threads that begin at the same moment.
void InThreads(const std::function<void()>& work) {
    std::atomic<int> nReady{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            ++nReady;
            while (nReady < kThreads)
                std::this_thread::yield();
            work();
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

bool OpenAndRelease() {
    auto* pInfo = new StSFTPConnectionInfo;
    if (CSftpClient::getSFTPSession(pInfo, TQ_UTIL::StFTPAccountInfo()) == nullptr) {
        delete pInfo->pAceDLL;
        delete pInfo;
        return false;
    }
    return CSftpClient::releaseSFTPConnection(pInfo) == 0;
}

std::size_t OpenDescriptors() {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

TEST(SftpConnections, LeaveNothingBehindAfterAThousand) {
    const CFakeServer server;
    CFake::Instance().bRecording = false;
    for (int i = 0; i < 100; ++i)  // caches fill
        ASSERT_TRUE(OpenAndRelease());
    const std::size_t nDescriptors = OpenDescriptors();
    const std::size_t nBytes = mallinfo2().uordblks;
    for (int i = 0; i < 1000; ++i)
        ASSERT_TRUE(OpenAndRelease()) << "cycle " << i;
    EXPECT_EQ(OpenDescriptors(), nDescriptors);
    // A leak of one byte a cycle would be seen. Under a sanitizer both are 0, and its own leak
    // check takes over.
    EXPECT_LT(mallinfo2().uordblks, nBytes + 1000);
    EXPECT_EQ(CFake::Instance().nLiveBlocks, 0);
    EXPECT_FALSE(server.Loaded());
}

TEST(SftpConnections, OpenAndReleaseInSixteenThreads) {
    const CFakeServer server;
    constexpr int kRounds = 25;
    std::atomic<int> nDone{0};
    InThreads([&nDone] {
        for (int i = 0; i < kRounds; ++i) {
            if (OpenAndRelease()) ++nDone;
        }
    });
    EXPECT_EQ(nDone, kThreads * kRounds);
    EXPECT_EQ(RecordingLog::All().size(), 0U);
    CFake& fake = CFake::Instance();
    EXPECT_EQ(fake.Count("SFTP_initLibrary"), static_cast<std::size_t>(kThreads * kRounds));
    EXPECT_EQ(fake.Count("SFTP_finiLibrary"), static_cast<std::size_t>(kThreads * kRounds));
    EXPECT_EQ(fake.Count("setCipherList 1 2"), static_cast<std::size_t>(kThreads * kRounds));
    EXPECT_EQ(fake.Count("(loaded)"), fake.Count("(unloaded)"));
    EXPECT_EQ(fake.nLiveBlocks, 0);
    EXPECT_FALSE(server.Loaded());
}

TEST(SftpConnections, MakeTheConfigurationOnce) {
    const CFakeServer server;
    g_nConfigurationsRead = 0;
    std::atomic<CSftpClientConfManager*> pFirst{nullptr};
    std::atomic<int> nOthers{0};
    InThreads([&] {
        CSftpClientConfManager* pMine = CSftpClientConfManager::Instance();
        CSftpClientConfManager* pExpected = nullptr;
        if (!pFirst.compare_exchange_strong(pExpected, pMine) && pExpected != pMine) ++nOthers;
        if (!pMine->isConfigValid()) ++nOthers;
    });
    EXPECT_EQ(nOthers, 0);
    EXPECT_EQ(g_nConfigurationsRead, 1);
}

// ---- the very first opens of a process

// Runs `work` in a process of its own, where the library was never opened; its result is the
// exit status.
int InFreshProcess(const std::function<int()>& work) {
    const pid_t nChild = fork();
    if (nChild == 0) _exit(work());
    int nStatus = 0;
    if (nChild < 0 || waitpid(nChild, &nStatus, 0) != nChild) return -1;
    return WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -2;
}

enum EOutcome { kClean = 0, kNullSymbol = 1, kNotLoaded = 2, kNeverUnloaded = 3 };

// All threads open, all look symbols up while others already close, and the last one unloads.
int RaceFirstOpens(const CFakeServer& server) {
    std::atomic<int> nNull{0};
    std::atomic<int> nFailed{0};
    InThreads([&] {
        const std::unique_ptr<ACE_DLL> dll(CSftpClient::loadSftpDll());
        if (dll == nullptr)
            ++nFailed;
        else if (dll->symbol("SFTP_initLibrary") == nullptr)
            ++nNull;
    });
    if (nNull != 0) return kNullSymbol;
    if (nFailed != 0) return kNotLoaded;
    return server.Loaded() ? kNeverUnloaded : kClean;
}

TEST(SftpFirstOpens, RaceCleanly) {
    const CFakeServer server;
    CFake::Instance().bRecording = false;
    constexpr int kProcesses = 100;
    int outcomes[4] = {};
    for (int i = 0; i < kProcesses; ++i) {
        const int nOutcome = InFreshProcess([&server] { return RaceFirstOpens(server); });
        ASSERT_GE(nOutcome, kClean) << "process " << i << " did not end by itself";
        ASSERT_LE(nOutcome, kNeverUnloaded) << "process " << i;
        ++outcomes[nOutcome];
    }
    EXPECT_EQ(outcomes[kClean], kProcesses);
    EXPECT_EQ(outcomes[kNullSymbol], 0) << "a symbol was looked up in a closed library";
    EXPECT_EQ(outcomes[kNotLoaded], 0);
    EXPECT_EQ(outcomes[kNeverUnloaded], 0) << "a handle was never closed";
}

}  // namespace
