// Directories of millions: what they cost, and where they are refused.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "tests/hostile/hostileserver.h"
#include "tests/hostile/measured.h"
#include "tests/hostile/toolrun.h"
#include "tests/sftpserver/scriptedsession.h"
#include "tests/support/tempdir.h"

using namespace HostileTest;
using namespace TestSupport;
using namespace ToolTest;

namespace {

constexpr int kMillion = 1'000'000;
constexpr int kAtATime = 1000;

// Lists as many entries as wanted; szFormat may hold a "%d" for the entry's number.
SHostility ListingOf(int nEntries, const char* szFormat) {
    SHostility hostility;
    hostility.instead["LIST"] = [=](CConversation& talk, const std::string&) {
        talk.Say("150 here\r\n");
        std::string strBlock;
        const std::string strFormat = szFormat;
        const std::size_t nNumber = strFormat.find("%d");
        for (int i = 0; i < nEntries; ++i) {
            std::string strLine = strFormat;
            if (nNumber != std::string::npos) strLine.replace(nNumber, 2, std::to_string(i));
            strBlock += strLine;
            if (i % kAtATime != kAtATime - 1 && i != nEntries - 1) continue;
            talk.SendData(strBlock);
            strBlock.clear();
        }
        talk.CloseData();
        talk.Say("226 done\r\n");
    };
    return hostility;
}

long Lines(const std::string& strText) {
    return std::count(strText.begin(), strText.end(), '\n');
}

class DirectoryOfAMillionEntries : public testing::Test {
protected:
    const CHostileServer m_server{
        ListingOf(kMillion, "-rw-r--r-- 1 ftp ftp 1024 Jan 01 12:00 measurement-%d.csv\r\n")};
};

TEST_F(DirectoryOfAMillionEntries, IsListedByTheLibrary) {
    const SMeasured measured = RunMeasured(m_server.Port(), "list");
    std::printf("growth %ld KiB, %lld ms\n", measured.nGrowthKiB, measured.nMs);
    EXPECT_EQ(measured.uResult, 0U);
    EXPECT_EQ(measured.nEntries, static_cast<std::size_t>(kMillion));
    EXPECT_LT(measured.nGrowthKiB, 400 * kMiB * kMemoryFactor);
}

TEST_F(DirectoryOfAMillionEntries, IsListedByTheTool) {
    const SRun run = RunHasty({"ls", UrlOf(m_server, "/")});
    std::printf("peak %ld KiB\n", run.nPeakKiB);
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_EQ(Lines(run.strOut), kMillion);
    EXPECT_LT(run.nPeakKiB, 700 * kMiB * kMemoryFactor);
}

TEST_F(DirectoryOfAMillionEntries, IsPlannedByTheTool) {
    const TempDir local;
    const SRun run =
        RunHasty({"get", "-r", "--dry-run", UrlOf(m_server, "/"), local.Path().string()});
    std::printf("peak %ld KiB\n", run.nPeakKiB);
    EXPECT_EQ(run.nExit, 0) << run.strErr;
    EXPECT_EQ(Lines(run.strOut), kMillion);
    EXPECT_LT(run.nPeakKiB, 1200 * kMiB * kMemoryFactor);
}

TEST(MoreEntriesThanAreTaken, AreRefusedOverFtp) {
    const CHostileServer server(ListingOf(4'000'001, "1 1 1 x\n"));
    const SRun run = RunHasty({"ls", UrlOf(server, "/")});
    std::printf("peak %ld KiB\n", run.nPeakKiB);
    EXPECT_EQ(run.nExit, 1);
    EXPECT_NE(run.strErr.find("listing too long (0x3bb00023)"), std::string::npos) << run.strErr;
    EXPECT_LT(run.nPeakKiB, 800 * kMiB * kMemoryFactor);
}

// The same batch of names for every request: there is no end.
void ListEndlessly(SftpPeer& peer) {
    using namespace sftpwrapper;
    while (true) {
        const SRequest request = peer.Take();
        if (request.bEnd) return;
        if (request.type == kOpenDir) {
            peer.GiveHandle(request.uId);
        } else if (request.type == kReadDir) {
            constexpr std::uint32_t kNames = 8000;
            CPacketWriter packet(kName, request.uId);
            packet.U32(kNames);
            for (std::uint32_t i = 0; i < kNames; ++i)
                packet.String("x").String("").U32(0);
            peer.Give(packet);
        } else {
            peer.GiveStatus(request.uId, kStatusOk);
        }
    }
}

TEST(MoreEntriesThanAreTaken, AreRefusedOverSftp) {
    const RecordingServer server(PlaysSftp(ListEndlessly));
    const std::string strPort = std::to_string(server.Port());
    const TempDir home;
    WriteFile(home.File("known_hosts"), "[127.0.0.1]:" + strPort + " " + server.HostKey() + "\n");
    const SRun run = RunHasty(
        {"--known-hosts", home.File("known_hosts"), "ls", "sftp://bob@127.0.0.1:" + strPort + "/"});
    std::printf("peak %ld KiB\n", run.nPeakKiB);
    EXPECT_EQ(run.nExit, 1);
    EXPECT_NE(run.strErr.find("ls /: the directory has too many entries"), std::string::npos)
        << run.strErr;
    EXPECT_LT(run.nPeakKiB, 1200 * kMiB * kMemoryFactor);
}

}  // namespace
