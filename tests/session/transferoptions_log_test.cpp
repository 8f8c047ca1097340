// What a verified transfer that fails leaves in the log.

#include <gtest/gtest.h>

#include <string>

#include "tests/session/transferoptions.h"

namespace SessionTest {
namespace {

using namespace RVN_FTP_CLIENT;

class VerifiedLog : public EachArrival {};
PLAY_IN_EACH_ARRIVAL(VerifiedLog);

void ExpectOneError(unsigned int uCode, const std::string& strText,
                    const std::string& strFunction) {
    const auto errors = RecordingLog::Errors();
    ASSERT_EQ(errors.size(), 1U) << testing::PrintToString(errors);
    EXPECT_EQ(errors[0].uCode, uCode);
    EXPECT_EQ(errors[0].strText, "[FTPCLIENT]" + strText);
    EXPECT_EQ(errors[0].strFile, "ftpcommand");
    EXPECT_EQ(errors[0].strFunction, strFunction);
    EXPECT_TRUE(errors[0].bFiltered);
}

TEST_P(VerifiedLog, NamesTheFileThatWasNotRetrievedWhole) {
    const CTarget target(false);
    COptionsSession session(Retr({SayLine("150 here"), UntilRead("150 here"), SendData("tea"),
                                  CloseData(), SayLine("426 broke off")}),
                            Verified());
    EXPECT_EQ(session->GetOneFile("f", target.Path(), false), FTP_REPLY_426);
    ExpectOneError(FTP_REPLY_426, "Not retrieved whole:/srv/data/f", "Ftp_GetFile");
}

TEST_P(VerifiedLog, NamesTheFileThatWasNotStoredWhole) {
    const CSource source("tea");
    COptionsSession session(
        Stor({SayLine("150 go"), UntilRead("150 go"), ReceiveData(), SayLine("552 quota")}),
        Verified());
    EXPECT_EQ(session->PutOneFileToFile(source.Path(), "f"), FTP_REPLY_552);
    ExpectOneError(FTP_REPLY_552, "Not stored whole:/srv/data/f", "Ftp_PutFile");
}

TEST_P(VerifiedLog, NamesTheDirectoryThatWasNotListedWhole) {
    COptionsSession session(
        List({SayLine("150 here"), UntilRead("150 here"), CloseData(), SayLine("451 disk")}),
        Verified());
    CEntries entries;
    EXPECT_EQ(session->ListFile("/", entries.m_entries), FTP_REPLY_451);
    ExpectOneError(FTP_REPLY_451, "Not listed whole:/srv/data/", "Ftp_ListFile");
}

}  // namespace
}  // namespace SessionTest
