// Progress, and transfers that the caller cancels.

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/session/transferoptions.h"

namespace SessionTest {
namespace {

using namespace RVN_FTP_CLIENT;

class Progress : public EachArrival {};
PLAY_IN_EACH_ARRIVAL(Progress);
class Cancelled : public EachArrival {};
PLAY_IN_EACH_ARRIVAL(Cancelled);
class CancelledAlone : public Dialogue {};

SStep Begun() {
    return SayLine("150 go");
}

// Records the calls and cancels at the first that has reached a number of bytes.
class CMeter {
public:
    static constexpr unsigned long long kNever = ~0ULL;

    explicit CMeter(unsigned long long ullCancelAt = kNever) : m_ullCancelAt(ullCancelAt) {}

    FtpTransferOptions Options(bool bVerify) {
        FtpTransferOptions options;
        options.bVerify = bVerify;
        options.progress = [this](unsigned long long ullMoved) {
            EXPECT_EQ(std::this_thread::get_id(), m_thread);
            EXPECT_FALSE(m_bCancelled) << "called again after it cancelled";
            m_calls.push_back(ullMoved);
            m_bCancelled = ullMoved >= m_ullCancelAt;
            return !m_bCancelled;
        };
        return options;
    }
    const std::vector<unsigned long long>& Calls() const { return m_calls; }

    // The calls of one file: never fewer bytes than before, at most a block more each time, and all
    // of them at the end.
    static void ExpectOfFile(const std::vector<unsigned long long>& calls, std::size_t nSize,
                             std::size_t nBlock = 1024) {
        ASSERT_FALSE(calls.empty());
        unsigned long long ullBefore = 0;
        for (const unsigned long long ullMoved : calls) {
            EXPECT_GE(ullMoved, ullBefore);
            EXPECT_LE(ullMoved - ullBefore, nBlock);
            ullBefore = ullMoved;
        }
        EXPECT_EQ(calls.back(), nSize);
    }
    void ExpectOfFile(std::size_t nSize) const { ExpectOfFile(m_calls, nSize); }

    // The calls of files of descending sizes, each of which begins again.
    void ExpectOfBatch(const std::vector<std::size_t>& sizes) const {
        std::vector<std::vector<unsigned long long>> files(1);
        for (const unsigned long long ullMoved : m_calls) {
            if (!files.back().empty() && ullMoved < files.back().back()) files.emplace_back();
            files.back().push_back(ullMoved);
        }
        ASSERT_EQ(files.size(), sizes.size());
        for (std::size_t i = 0; i < sizes.size(); ++i)
            ExpectOfFile(files[i], sizes[i]);
    }

private:
    const unsigned long long m_ullCancelAt;
    const std::thread::id m_thread = std::this_thread::get_id();
    std::vector<unsigned long long> m_calls;
    bool m_bCancelled = false;
};

TEST_P(Progress, TellsTheBytesRetrieved) {
    for (const bool bVerify : {false, true}) {
        for (const std::size_t nSize : {0U, 1U, 1023U, 1024U, 1025U, 5000U, 200000U}) {
            SCOPED_TRACE(nSize);
            const CTarget target(false);
            CMeter meter;
            COptionsSession session(
                Retr({Begun(), SendData(Payload(nSize)), CloseData(), SayLine("226 sent")}),
                meter.Options(bVerify));
            EXPECT_EQ(session->GetOneFile("f", target.Path(), false), 0U);
            meter.ExpectOfFile(nSize);
            target.ExpectReplaced(Payload(nSize));
        }
    }
}

TEST_P(Progress, TellsTheBytesStored) {
    for (const bool bVerify : {false, true}) {
        for (const std::size_t nSize : {0U, 1U, 1023U, 1024U, 1025U, 5000U, 200000U}) {
            SCOPED_TRACE(nSize);
            const CSource source(Payload(nSize));
            CMeter meter;
            COptionsSession session(Stor({Begun(), ReceiveData(), SayLine("226 stored")}),
                                    meter.Options(bVerify));
            EXPECT_EQ(session->PutOneFileToFile(source.Path(), "f"), 0U);
            meter.ExpectOfFile(nSize);
            EXPECT_TRUE(SamePayload(Payload(nSize), session.Uploads().at(0)));
        }
    }
}

const std::vector<std::size_t>& Sizes() {
    static const std::vector<std::size_t> sizes{3000, 2000, 1000, 0};
    return sizes;
}

TEST_P(Progress, BeginsAgainAtEachFileOfABatch) {
    const TempDir local;
    std::vector<Ftp_File_Pair> gets;
    std::vector<Ftp_File_Pair> puts;
    std::vector<SStep> getScript{TypeImage()};
    std::vector<SStep> putScript{TypeImage()};
    for (const std::size_t nSize : Sizes()) {
        const std::string strName = std::to_string(nSize);
        gets.push_back({strName, local.File(strName)});
        puts.push_back({local.File(strName), strName});
        getScript.insert(getScript.end(), {Cwd(kRoot), Serve(strName, Payload(nSize))});
        putScript.insert(putScript.end(), {Cwd(kRoot), Take(strName)});
    }
    for (const bool bVerify : {false, true}) {
        {
            CMeter meter;
            COptionsSession session(getScript, meter.Options(bVerify));
            EXPECT_EQ(session->GetFile(gets, false), 0U);
            meter.ExpectOfBatch(Sizes());
        }
        CMeter meter;
        COptionsSession session(putScript, meter.Options(bVerify));
        EXPECT_EQ(session->PutFile(puts), 0U);
        meter.ExpectOfBatch(Sizes());
    }
}

TEST_P(Progress, IsNotAskedAboutListings) {
    CMeter meter(0);
    COptionsSession session(List({Begun(), SendData("12-31-19 11:59PM 1 x\r\n"), CloseData(),
                                  SayLine("226 listed"), On("OPTS UTF8 ON", "200 always")}),
                            meter.Options(true));
    CEntries entries;
    EXPECT_EQ(session->ListFile("/", entries.m_entries), 0U);
    EXPECT_TRUE(meter.Calls().empty());
}

TEST_P(Progress, StopsWithOptionsThatHaveNone) {
    CMeter meter;
    const CTarget target(false);
    const std::vector<SStep> get =
        Retr({Begun(), SendData(Payload(10)), CloseData(), SayLine("226 sent")});
    COptionsSession session({Sequence(get), Sequence(get)}, meter.Options(false));
    EXPECT_EQ(session->GetOneFile("f", target.Path(), false), 0U);
    const std::size_t nCalls = meter.Calls().size();
    EXPECT_GT(nCalls, 0U);
    session->setTransferOptions(FtpTransferOptions());
    EXPECT_EQ(session->GetOneFile("f", target.Path(), false), 0U);
    EXPECT_EQ(meter.Calls().size(), nCalls);
}

// ---- Cancelled ----

constexpr std::size_t kSize = 5000;
constexpr unsigned long long kCancelAt[] = {1, 2500, kSize};  // first, middle and last block

// What the server says when its client has gone.
constexpr const char* kClosings[] = {"426 you went away", "226 done all the same",
                                     "451-odd\r\n451 very"};

TEST_P(Cancelled, RetrieveLeavesNothingAndStaysInStep) {
    for (const unsigned long long ullAt : kCancelAt) {
        for (const char* pszClosing : kClosings) {
            for (const bool bExists : {false, true}) {
                SCOPED_TRACE(testing::Message() << "at " << ullAt << ", " << pszClosing);
                const CTarget target(bExists);
                CMeter meter(ullAt);
                COptionsSession session(Retr({Begun(), SendDataAsFarAsTaken(Payload(kSize)),
                                              ExpectDataClosed(), SayLine(pszClosing)}),
                                        meter.Options(true));
                const Stopwatch watch;
                EXPECT_EQ(session->GetOneFile("f", target.Path(), false), FTP_CANCELLED);
                EXPECT_BETWEEN(watch.Elapsed(), 0, kNoWait);
                target.ExpectUntouched();
                ASSERT_FALSE(meter.Calls().empty());
                EXPECT_LT(meter.Calls().back(), ullAt + 1024);
            }
        }
    }
}

TEST_P(Cancelled, UnverifiedRetrieveStaysInStep) {
    for (const unsigned long long ullAt : kCancelAt) {
        for (const char* pszClosing : kClosings) {
            SCOPED_TRACE(testing::Message() << "at " << ullAt << ", " << pszClosing);
            const CTarget target(false);
            CMeter meter(ullAt);
            COptionsSession session(
                Retr({Begun(), UntilRead("150 "), SendDataAsFarAsTaken(Payload(kSize)),
                      ExpectDataClosed(), SayLine(pszClosing)}),
                meter.Options(false));
            EXPECT_EQ(session->GetOneFile("f", target.Path(), false), FTP_CANCELLED);
            EXPECT_FALSE(std::filesystem::exists(target.Part()));
        }
    }
}

TEST_P(Cancelled, StoreStaysInStep) {
    for (const bool bVerify : {false, true}) {
        for (const unsigned long long ullAt : kCancelAt) {
            for (const char* pszClosing : kClosings) {
                SCOPED_TRACE(testing::Message() << "at " << ullAt << ", " << pszClosing);
                const CSource source(Payload(kSize));
                CMeter meter(ullAt);
                COptionsSession session(
                    Stor({Begun(), UntilRead("150 "), ExpectDataClosed(), SayLine(pszClosing)}),
                    meter.Options(bVerify));
                const Stopwatch watch;
                EXPECT_EQ(session->PutOneFileToFile(source.Path(), "f"), FTP_CANCELLED);
                EXPECT_BETWEEN(watch.Elapsed(), 0, kNoWait);
                ASSERT_FALSE(meter.Calls().empty());
                EXPECT_LT(meter.Calls().back(), ullAt + 1024);
            }
        }
    }
}

TEST_P(Cancelled, StoreSendsNothingMore) {
    const CSource source(Payload(1U << 20));
    CMeter meter(10000);
    COptionsSession session(Stor({Begun(), ReceiveData(), SayLine("226 stored, I think")}),
                            meter.Options(true));
    EXPECT_EQ(session->PutOneFileToFile(source.Path(), "f"), FTP_CANCELLED);
    ASSERT_EQ(session.Uploads().size(), 1U);
    EXPECT_LT(session.Uploads()[0].size(), 10000U + 1024U);
}

TEST_P(Cancelled, EmptyFilesToo) {
    for (const bool bVerify : {false, true}) {
        const CTarget target(true);
        CMeter meter(0);
        std::vector<SStep> script =
            Retr({Begun(), UntilRead("150 "), AcceptData(), CloseData(), SayLine("226 sent")});
        const std::vector<SStep> put = Stor({Begun(), ExpectDataClosed(), SayLine("226 stored")});
        COptionsSession session(script, meter.Options(bVerify));
        EXPECT_EQ(session->GetOneFile("f", target.Path(), false), FTP_CANCELLED);
        if (bVerify) target.ExpectUntouched();

        const CSource source("");
        CMeter other(0);
        COptionsSession storing(put, other.Options(bVerify));
        EXPECT_EQ(storing->PutOneFileToFile(source.Path(), "f"), FTP_CANCELLED);
    }
}

// The next command's reply is its own, however late the server tells that the transfer is over.
TEST_F(CancelledAlone, WaitsForALateClosingReply) {
    for (const bool bVerify : {false, true}) {
        const TempDir local;
        WriteFile(local.File("source"), Payload(kSize));
        const SStep late =
            Sequence({ExpectDataClosed(), Wait(Millis(1300)), SayLine("426 you went away")});
        std::vector<SStep> script = Retr(
            {Begun(), UntilRead("150 "), AcceptData(), SendDataAsFarAsTaken(Payload(kSize)), late});
        const std::vector<SStep> put = Stor({Begun(), late});
        script.insert(script.end(), put.begin(), put.end());
        CMeter get(1);
        COptionsSession session(script, get.Options(bVerify));
        EXPECT_EQ(session->GetOneFile("f", local.File("f"), false), FTP_CANCELLED);
        CMeter store(1);
        session->setTransferOptions(store.Options(bVerify));
        EXPECT_EQ(session->PutOneFileToFile(local.File("source"), "f"), FTP_CANCELLED);
    }
}

TEST_F(CancelledAlone, IsTheResultThoughNoClosingReplyComes) {
    for (const bool bVerify : {false, true}) {
        const TempDir local;
        CMeter meter(1);
        COptionsSession session(Retr({Begun(), UntilRead("150 "), AcceptData(),
                                      SendDataAsFarAsTaken(Payload(kSize)), ExpectDataClosed()}),
                                meter.Options(bVerify), kHasty);
        const Stopwatch watch;
        EXPECT_EQ(session->GetOneFile("f", local.File("f"), false), FTP_CANCELLED);
        EXPECT_BETWEEN(watch.Elapsed(), 0, 6000);
    }
}

TEST_F(CancelledAlone, DoesNotWaitForAClosingReplyThatIsThereAlready) {
    for (const bool bVerify : {false, true}) {
        const TempDir local;
        CMeter meter(1);
        COptionsSession session(Retr({SayLine("150 go\r\n226 sent"), AcceptData(),
                                      SendDataAsFarAsTaken(Payload(kSize)), ExpectDataClosed()}),
                                meter.Options(bVerify));
        const Stopwatch watch;
        EXPECT_EQ(session->GetOneFile("f", local.File("f"), false), FTP_CANCELLED);
        EXPECT_BETWEEN(watch.Elapsed(), 0, kNoWait);
    }
}

// Far more than the sockets hold: the server is stuck in the middle when the client goes.
TEST_F(CancelledAlone, EndsALongTransferSoon) {
    for (const bool bVerify : {false, true}) {
        const TempDir local;
        CMeter meter(100000);
        COptionsSession session(Retr({Begun(), UntilRead("150 "), AcceptData(),
                                      SendDataAsFarAsTaken(Payload(64U << 20)), ExpectDataClosed(),
                                      SayLine("426 you went away")}),
                                meter.Options(bVerify));
        const Stopwatch watch;
        EXPECT_EQ(session->GetOneFile("f", local.File("f"), false), FTP_CANCELLED);
        EXPECT_BETWEEN(watch.Elapsed(), 0, kNoWait);
    }
}

TEST_P(Cancelled, TheRestOfABatchIsNotMoved) {
    for (const bool bVerify : {false, true}) {
        const TempDir local;
        WriteFile(local.File("1"), Payload(1000));
        WriteFile(local.File("2"), Payload(kSize));
        std::vector<Ftp_File_Pair> gets{
            {"x", local.File("x")}, {"y", local.File("y")}, {"z", local.File("z")}};
        std::vector<Ftp_File_Pair> puts{
            {local.File("1"), "x"}, {local.File("2"), "y"}, {local.File("1"), "z"}};
        {
            CMeter meter(1500);
            COptionsSession session(
                {TypeImage(), Cwd(kRoot), Serve("x", Payload(1000)), Cwd(kRoot), Passive(),
                 On("RETR y", "150 second"), UntilRead("150 second"),
                 SendDataAsFarAsTaken(Payload(kSize)), ExpectDataClosed(), SayLine("426 gone")},
                meter.Options(bVerify));
            EXPECT_EQ(session->GetFile(gets, false), FTP_CANCELLED);
        }
        EXPECT_TRUE(SamePayload(Payload(1000), ReadFile(local.File("x"))))
            << "what was moved stays";
        EXPECT_FALSE(std::filesystem::exists(local.File("z")));
        EXPECT_EQ(std::filesystem::exists(local.File("y")), !bVerify);
        CMeter meter(1500);
        COptionsSession session(
            {TypeImage(), Cwd(kRoot), Take("x"), Cwd(kRoot), Passive(), On("STOR y", "150 second"),
             UntilRead("150 second"), ExpectDataClosed(), SayLine("226 stored")},
            meter.Options(bVerify));
        EXPECT_EQ(session->PutFile(puts), FTP_CANCELLED);
    }
}

}  // namespace
}  // namespace SessionTest
