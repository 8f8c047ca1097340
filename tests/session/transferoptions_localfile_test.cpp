// Verified transfers whose local file fails.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/session/failingfile.h"
#include "tests/session/transferoptions.h"

namespace SessionTest {
namespace {

using namespace RVN_FTP_CLIENT;
using EFailure = CFailingFile::EFailure;

class LocalFile : public EachArrival {};
PLAY_IN_EACH_ARRIVAL(LocalFile);

std::vector<SStep> Served(const std::string& strBytes) {
    return Retr(
        {SayLine("150 here"), SendDataAsFarAsTaken(strBytes), CloseData(), SayLine("226 sent")});
}

struct SFailing {
    EFailure eFailure;
    std::size_t nTaken;
    std::size_t nSize;
};

TEST_P(LocalFile, ThatCannotBeWrittenFailsTheRetrieve) {
    for (const SFailing& test :
         {SFailing{EFailure::Write, 0, 1}, SFailing{EFailure::Write, 0, 5000},
          SFailing{EFailure::Write, 4999, 5000}, SFailing{EFailure::Write, 300000, 1U << 20},
          SFailing{EFailure::Close, 0, 5000}, SFailing{EFailure::Close, 0, 0}}) {
        SCOPED_TRACE(testing::Message() << test.nTaken << " of " << test.nSize
                                        << (test.eFailure == EFailure::Close ? ", closing" : ""));
        const CTarget target(true);
        COptionsSession session(Served(Payload(test.nSize)), Verified());
        {
            const CFailingFile file(test.eFailure, std::string(test.nTaken, 'x'));
            EXPECT_EQ(session->GetOneFile("f", target.Path(), false), FTP_LOCAL_IO_FAILED);
            EXPECT_EQ(file.Opened(), 1);
        }
        target.ExpectUntouched();
    }
}

// The rest is not transferred for nothing.
TEST_P(LocalFile, ThatCannotBeWrittenEndsTheRetrieveSoon) {
    constexpr std::size_t kSize = 8U << 20;
    const CTarget target(true);
    FtpTransferOptions options = Verified();
    unsigned long long ullLast = 0;
    options.progress = [&](unsigned long long ullMoved) {
        ullLast = ullMoved;
        return true;
    };
    COptionsSession session(Served(Payload(kSize)), options);
    {
        const CFailingFile file(EFailure::Write, "");
        EXPECT_EQ(session->GetOneFile("f", target.Path(), false), FTP_LOCAL_IO_FAILED);
    }
    EXPECT_LT(ullLast, kSize / 4);
    target.ExpectUntouched();
}

TEST_P(LocalFile, ThatCannotBeWrittenGoesUnnoticedWithoutVerifying) {
    const CTarget target(true);
    COptionsSession session(Served(Payload(5000)), FtpTransferOptions());
    const CFailingFile file(EFailure::Write, "");
    EXPECT_EQ(session->GetOneFile("f", target.Path(), false), 0U);
    EXPECT_EQ(file.Opened(), 1);
}

TEST_P(LocalFile, ThatCannotBeReadFailsTheStore) {
    for (const std::size_t nGiven : {0U, 1U, 1024U, 2500U, 300000U}) {
        SCOPED_TRACE(nGiven);
        const std::string strBytes = Payload(nGiven);
        COptionsSession session(
            Stor({SayLine("150 go"), ReceiveData(), SayLine("226 stored, I think")}), Verified());
        const CFailingFile file(EFailure::Read, strBytes);
        EXPECT_EQ(session->PutOneFileToFile("/any/source", "f"), FTP_LOCAL_IO_FAILED);
        EXPECT_EQ(file.Opened(), 1);
        const std::vector<std::string> uploads = session.Uploads();
        ASSERT_EQ(uploads.size(), 1U);
        EXPECT_LE(uploads[0].size(), nGiven);
        EXPECT_TRUE(SamePayload(strBytes.substr(0, uploads[0].size()), uploads[0]));
    }
}

TEST_P(LocalFile, ThatCannotBeReadGoesUnnoticedWithoutVerifying) {
    COptionsSession session(Stor({SayLine("150 go"), ReceiveData(), SayLine("226 stored")}),
                            FtpTransferOptions());
    const CFailingFile file(EFailure::Read, Payload(2500));
    EXPECT_EQ(session->PutOneFileToFile("/any/source", "f"), 0U);
    EXPECT_EQ(file.Opened(), 1);
    EXPECT_TRUE(SamePayload(Payload(2500), session.Uploads().at(0)));
}

}  // namespace
}  // namespace SessionTest
