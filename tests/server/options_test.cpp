// What options add to a session, on a real server.

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tests/server/checksums.h"
#include "tests/server/filetree.h"
#include "tests/server/servertest.h"
#include "tests/server/tinydisk.h"
#include "tests/support/payload.h"
#include "tests/support/tempdir.h"

// A test that needs the disk ends here, with a text that cannot be overlooked, when the machine
// refuses the mount. ctest counts it as not run.
#define REQUIRE_TINY_DISK(disk)    \
    if (!(disk).Refusal().empty()) \
    GTEST_SKIP() << "NOT RUN: this machine refuses to mount a small disk: " << (disk).Refusal()

namespace ServerTest {
namespace {

namespace fs = std::filesystem;
using namespace RVN_FTP_CLIENT;
using Clock = std::chrono::steady_clock;
using TestSupport::ReadFile;
using TestSupport::SamePayload;
using namespace std::chrono_literals;

constexpr std::size_t kLarge = 64U << 20U;
constexpr const char* kOld = "what was there before";

FtpTransferOptions Verified(unsigned int uBlockSize = 1024) {
    FtpTransferOptions options;
    options.bVerify = true;
    options.uBlockSize = uBlockSize;
    return options;
}

class Options : public CServerTest {
protected:
    // That replies and commands are still in step, whatever the session's options are.
    void ExpectInStep(CSession& session) const {
        const std::string strBytes = Serve("instep/file", 1500);
        EXPECT_EQ(Code(session->RemoveFile("missing")), FTP_DELE_REFUSED);
        session->setTransferOptions(Verified());
        EXPECT_EQ(Code(session->GetOneFile("instep/file", Local("instep"), false)), FTP_OK);
        EXPECT_TRUE(SamePayload(strBytes, ReadFile(Local("instep"))));
        EXPECT_EQ(Code(session->ChangeDir("missing")), FTP_CWD_REFUSED);
        CListing listing;
        EXPECT_EQ(Code(session->ListFile("instep", listing.m_entries)), FTP_OK);
        EXPECT_EQ(listing.Lines(), std::vector<std::string>{"- 1500 file"});
        fs::remove(Local("instep"));
    }

    std::vector<std::string> LocalNames() const {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(Local("")))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }
};

FtpTransferOptions CancelledAt(unsigned long long ullAt, bool bVerify, unsigned int uBlockSize) {
    FtpTransferOptions options;
    options.bVerify = bVerify;
    options.uBlockSize = uBlockSize;
    options.progress = [ullAt](unsigned long long ullMoved) { return ullMoved < ullAt; };
    return options;
}

// ---- Cancelled ----

TEST_F(Options, AGetThatIsCancelledInTheMiddleLeavesTheSessionInStep) {
    Serve("file", kLarge);
    CSession session(Server());
    for (const bool bVerify : {true, false}) {
        for (const unsigned int uBlockSize : {1024U, 1U << 20U}) {
            SCOPED_TRACE(testing::Message() << bVerify << ", " << uBlockSize);
            TestSupport::WriteFile(Local("file"), kOld);
            session->setTransferOptions(CancelledAt(kLarge / 2, bVerify, uBlockSize));
            const Clock::time_point begin = Clock::now();
            EXPECT_EQ(Code(session->GetOneFile("file", Local("file"), false)), FTP_CANCELLED);
            EXPECT_LT(Clock::now() - begin, 30s);
            EXPECT_EQ(LocalNames(), std::vector<std::string>{"file"});
            if (bVerify) {
                EXPECT_EQ(ReadFile(Local("file")), kOld);
            }
            ExpectInStep(session);
        }
    }
}

TEST_F(Options, APutThatIsCancelledInTheMiddleLeavesTheSessionInStep) {
    const std::string strBytes = Keep("file", kLarge);
    CSession session(Server());
    for (const bool bVerify : {true, false}) {
        SCOPED_TRACE(bVerify);
        session->setTransferOptions(CancelledAt(kLarge / 2, bVerify, 65536));
        EXPECT_EQ(Code(session->PutOneFileToFile(Local("file"), "file")), FTP_CANCELLED);
        const std::string strCame = ReadFile(Served("file"));
        EXPECT_LE(strCame.size(), kLarge / 2 + 65536);
        EXPECT_TRUE(SamePayload(strBytes.substr(0, strCame.size()), strCame));
        ExpectInStep(session);
    }
}

TEST_F(Options, ACancelledBatchCanBeTakenUpAgain) {
    std::vector<Ftp_File_Pair> files;
    for (int n = 0; n < 5; ++n) {
        const std::string strName = std::to_string(n);
        Serve(strName, 10000);
        files.push_back({strName, Local(strName)});
    }
    int nFiles = 0;
    FtpTransferOptions options = Verified();
    unsigned long long ullBefore = 0;
    options.progress = [&](unsigned long long ullMoved) {
        if (ullBefore == 0 || ullMoved < ullBefore) ++nFiles;
        ullBefore = ullMoved;
        return nFiles < 3 || ullMoved < 5000;
    };
    CSession session(Server());
    session->setTransferOptions(options);
    EXPECT_EQ(Code(session->GetFile(files, false)), FTP_CANCELLED);
    EXPECT_EQ(LocalNames(), (std::vector<std::string>{"0", "1"}));
    session->setTransferOptions(Verified());
    EXPECT_EQ(Code(session->GetFile(files, false)), FTP_OK);
    EXPECT_EQ(LocalNames(), (std::vector<std::string>{"0", "1", "2", "3", "4"}));
}

// ---- Verified ----

TEST_F(Options, VerifiedBatchesOfAThousandFilesGoBothWays) {
    const CFileTree tree;
    tree.MakeFiles(Local("tree"));
    const auto expected = ChecksumsBelow(Local("tree"));
    ASSERT_EQ(expected.size(), CFileTree::kFiles);
    tree.MakeDirectories(Local("back"));
    CSession session(Server());
    session->setParam(20, 1, 20);  // a single needless wait takes longer than a batch may
    session->setTransferOptions(Verified(65536));
    for (const std::string& strDirectory : tree.Directories())
        ASSERT_EQ(Code(session->MakeDir("tree/" + strDirectory)), FTP_OK);
    std::vector<Ftp_File_Pair> there = tree.Batch(Local("tree"), "tree");
    std::vector<Ftp_File_Pair> back = tree.Batch("tree", Local("back"));
    const Clock::time_point begin = Clock::now();
    EXPECT_EQ(Code(session->PutFile(there)), FTP_OK);
    EXPECT_EQ(ChecksumsBelow(Served("tree")), expected);
    for (int nRun = 0; nRun < 2; ++nRun) {  // into nothing, then over what is there
        EXPECT_EQ(Code(session->GetFile(back, false)), FTP_OK);
        EXPECT_EQ(ChecksumsBelow(Local("back")), expected) << "a .part would be one more";
    }
    EXPECT_LT(Clock::now() - begin, 40s);
    ExpectInStep(session);
}

TEST_F(Options, LargeBlocksChangeNoByte) {
    const std::string strBytes = Serve("file", kLarge + 1);
    CSession session(Server());
    for (const unsigned int uBlockSize : {65536U, 1U << 20U}) {
        session->setTransferOptions(Verified(uBlockSize));
        EXPECT_EQ(Code(session->GetOneFile("file", Local("file"), false)), FTP_OK);
        EXPECT_TRUE(SamePayload(strBytes, ReadFile(Local("file"))));
        EXPECT_EQ(Code(session->PutOneFileToFile(Local("file"), "back")), FTP_OK);
        EXPECT_TRUE(SamePayload(strBytes, ReadFile(Served("back"))));
    }
    ExpectInStep(session);
}

TEST_F(Options, VerifiedRefusalsDoNotWait) {
    ServeDirectory("readonly");
    fs::permissions(Served("readonly"), fs::perms::owner_read | fs::perms::owner_exec);
    Keep("file", 100);
    CSession session(Server());
    session->setTransferOptions(Verified());
    const Clock::time_point begin = Clock::now();
    EXPECT_EQ(Code(session->GetOneFile("missing", Local("missing"), false)), FTP_REPLY_550);
    EXPECT_EQ(Code(session->PutOneFileToPath(Local("file"), "readonly")), FTP_REPLY_553);
    EXPECT_EQ(Code(session->PutOneFileToFile(Local("none"), "target")), FTP_LOCAL_OPEN_FAILED);
    EXPECT_LT(Clock::now() - begin, 2s);
    EXPECT_FALSE(fs::exists(Served("target"))) << "the server never heard of it";
    EXPECT_EQ(LocalNames(), std::vector<std::string>{"file"});
    ExpectInStep(session);
}

TEST_F(Options, DirectoriesWorkVerified) {
    CSession session(Server());
    session->setTransferOptions(Verified());
    Keep("file", 100);
    EXPECT_EQ(Code(session->MakeDir("a/b")), FTP_OK);
    EXPECT_EQ(Code(session->PutOneFileToPath(Local("file"), "a/b")), FTP_OK);
    EXPECT_EQ(Code(session->checkOneFileExist("a/b/file")), FTP_OK);
    EXPECT_EQ(Code(session->checkOneFileExist("a/b/none")), FTP_NO_SUCH_FILE);
    EXPECT_EQ(Code(session->RemoveDir("a/b")), FTP_OK);
    EXPECT_FALSE(fs::exists(Served("a/b")));
    ExpectInStep(session);
}

// ---- The server goes away ----

class ServerDies : public Options {
protected:
    void SetUp() override {
        Options::SetUp();
        SServerOptions slow;
        slow.lines = {"anon_max_rate=2000000"};
        Restart(slow);
    }
    // Kills the server in the middle of what the function does.
    template <typename Function>
    void Meanwhile(Function transfer) {
        std::thread crash([this] {
            std::this_thread::sleep_for(1s);
            StopServer();
        });
        const Clock::time_point begin = Clock::now();
        transfer();
        EXPECT_LT(Clock::now() - begin, 12s);
        crash.join();
    }
};

// The system ends the connections of a dead server in order, so that the data looks complete. It is
// the closing reply that is missing.
TEST_F(ServerDies, AGetThenFailsAndLeavesTheOldFile) {
    Serve("file", 6000000);
    TestSupport::WriteFile(Local("file"), kOld);
    CSession session(Server());
    session->setTransferOptions(Verified());
    Meanwhile(
        [&] { EXPECT_EQ(Code(session->GetOneFile("file", Local("file"), false)), FTP_NO_REPLY); });
    EXPECT_EQ(LocalNames(), std::vector<std::string>{"file"});
    EXPECT_EQ(ReadFile(Local("file")), kOld);
    session.ExpectLost();
}

TEST_F(ServerDies, APutThenFails) {
    Keep("file", 30000000);
    CSession session(Server());
    session->setTransferOptions(Verified());
    Meanwhile([&] {
        EXPECT_EQ(Code(session->PutOneFileToFile(Local("file"), "file")), FTP_DATA_BROKEN);
    });
    session.ExpectLost();
}

TEST_F(ServerDies, ABatchThenEnds) {
    std::vector<Ftp_File_Pair> files;
    for (int n = 0; n < 100; ++n) {
        const std::string strName = "file" + std::to_string(n);
        Serve("dir/" + strName, 100000);
        files.push_back({"dir/" + strName, Local(strName)});
    }
    CSession session(Server());
    session->setTransferOptions(Verified());
    Meanwhile([&] { EXPECT_NE(Code(session->GetFile(files, false)), FTP_OK); });
    // What is there is whole.
    const std::vector<std::string> names = LocalNames();
    EXPECT_GT(names.size(), 0U);
    EXPECT_LT(names.size(), files.size());
    for (const std::string& strName : names)
        EXPECT_TRUE(SamePayload(ReadFile(Served("dir/" + strName)), ReadFile(Local(strName))));
    session.ExpectLost();
}

TEST_F(Options, AServerThatHasHungUpIsOutOfStepWithWhatItSaidLast) {
    SServerOptions hasty;
    hasty.lines = {"idle_session_timeout=1"};
    Restart(hasty);
    CSession session(Server());
    session->setTransferOptions(Verified());
    std::this_thread::sleep_for(2500ms);
    EXPECT_EQ(Code(session->ChangeDir("/")), FTP_OUT_OF_STEP);  // "421 Timeout." was waiting
    session.ExpectLost();
}

// ---- No room ----

TEST_F(Options, AGetOntoAFullDiskFailsAndLeavesNothing) {
    const CTinyDisk disk;
    REQUIRE_TINY_DISK(disk);
    Serve("file", 1000000);
    Serve("barely", CTinyDisk::kSize - 2 * 4096);
    const fs::path target = disk.Path() / "file";
    CSession session(Server());
    session->setTransferOptions(Verified());
    EXPECT_EQ(Code(session->GetOneFile("file", target, false)), FTP_LOCAL_IO_FAILED);
    EXPECT_TRUE(fs::is_empty(disk.Path()));
    TestSupport::WriteFile(target, kOld);
    EXPECT_EQ(Code(session->GetOneFile("file", target, false)), FTP_LOCAL_IO_FAILED);
    EXPECT_EQ(ReadFile(target), kOld);
    EXPECT_FALSE(fs::exists(target.string() + ".part"));
    // What was taken has been given back.
    EXPECT_EQ(Code(session->GetOneFile("barely", target, false)), FTP_OK);
    EXPECT_EQ(ReadFile(target), ReadFile(Served("barely")));
    ExpectInStep(session);
}

TEST_F(Options, APutOntoAServerWithoutRoomTells) {
    const CTinyDisk disk;
    REQUIRE_TINY_DISK(disk);
    SServerOptions onDisk;
    onDisk.root = disk.Path() / "root";
    Restart(onDisk);
    Keep("file", 1000000);
    CSession session(Server());
    session->setTransferOptions(Verified());
    EXPECT_EQ(Code(session->PutOneFileToFile(Local("file"), "file")), FTP_REPLY_451);
    EXPECT_EQ(Code(session->RemoveFile("file")), FTP_OK);
    ExpectInStep(session);
}

// ---- Address and listings ----

TEST_F(Options, AServerMayAnnounceAnotherAddress) {
    SServerOptions behindTranslation;
    behindTranslation.lines = {"pasv_address=10.9.8.7"};
    Restart(behindTranslation);
    const std::string strBytes = Serve("file", 5000);
    CSession session(Server());
    EXPECT_EQ(Code(session->GetOneFile("file", Local("file"), false)), FTP_BAD_PASV_REPLY);
    FtpTransferOptions options = Verified();
    options.bAnyDataAddress = true;
    session->setTransferOptions(options);
    EXPECT_EQ(Code(session->GetOneFile("file", Local("file"), false)), FTP_OK);
    EXPECT_TRUE(SamePayload(strBytes, ReadFile(Local("file"))));
    EXPECT_EQ(Code(session->PutOneFileToFile(Local("file"), "back")), FTP_OK);
    CListing listing;
    EXPECT_EQ(Code(session->ListFile("/", listing.m_entries)), FTP_OK);
    EXPECT_EQ(listing.Lines(), (std::vector<std::string>{"- 5000 back", "- 5000 file"}));
}

TEST_F(Options, AListingOverTheLimitLeavesTheSessionInStep) {
    for (int n = 0; n < 2000; ++n)
        Serve("many/file" + std::to_string(n), 1);
    CSession session(Server());
    for (const bool bVerify : {true, false}) {
        FtpTransferOptions options;
        options.bVerify = bVerify;
        options.ullMaxListing = 20000;
        session->setTransferOptions(options);
        CListing listing;
        const Clock::time_point begin = Clock::now();
        EXPECT_EQ(Code(session->ListFile("many", listing.m_entries)), FTP_LISTING_TOO_LONG);
        EXPECT_LT(Clock::now() - begin, 4s);
        EXPECT_TRUE(listing.m_entries.empty());
        ExpectInStep(session);
        options.ullMaxListing = 1000000;
        session->setTransferOptions(options);
        EXPECT_EQ(Code(session->ListFile("many", listing.m_entries)), FTP_OK);
        EXPECT_EQ(listing.m_entries.size(), 2000U);
    }
}

}  // namespace
}  // namespace ServerTest
