// Different sessions are independent: many at once, each in a thread of its own.

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/session/fixture.h"
#include "tests/support/payload.h"
#include "tests/support/tempdir.h"

namespace SessionTest {
namespace {

using RVN_FTP_CLIENT::Ftp_File_Pair;
using RVN_FTP_CLIENT::TkFileInfo;

constexpr unsigned int kSessions = 16;

// Everything that a session can do; all of it tells the sessions apart.
void PlayOne(unsigned int uSession) {
    const TempDir local;
    const std::string strUpload = Payload(20000 + 1000 * uSession, uSession);
    const std::string strDownload = Payload(30000 + 1000 * uSession, 100 + uSession);
    const std::string strRoot = "/home/" + std::to_string(uSession);
    const std::string strName = "file " + std::to_string(uSession);
    WriteFile(local.File("up"), strUpload);

    ScriptedServer server{LogIn(strRoot),
                          Cwd("/"),
                          Cwd("home/"),
                          Cwd(std::to_string(uSession) + "/"),
                          On("CWD a/", "550 no"),
                          On("MKD a", "257 made"),
                          Cwd("a/"),
                          TypeImage(),
                          Cwd(strRoot + "/a"),
                          Take(strName),
                          Cwd(strRoot + "/a"),
                          ServeList("-rw-r--r-- 1 u g 7 Mar 3 2019 " + strName + "\r\n"),
                          TypeImage(),
                          Cwd(strRoot),
                          Serve(strName, strDownload),
                          Cwd(strRoot),
                          Serve("other", strUpload),
                          On("DELE " + strRoot + "/none", "550 no"),
                          Cwd(strRoot + "/a"),
                          ServeList("12-31-19 11:59PM 1 x\r\n"),
                          On("DELE " + strRoot + "/a/x", "250 gone"),
                          Cwd("/"),
                          On("RMD " + strRoot + "/a", "250 gone"),
                          Quit()};
    CClient client(server);
    EXPECT_EQ(client.Login(), 0U);
    EXPECT_EQ(client.MakeDir("a"), 0U);
    std::vector<Ftp_File_Pair> puts{{local.File("up"), "a/" + strName}};
    EXPECT_EQ(client.PutFile(puts), 0U);
    EXPECT_EQ(client.checkOneFileExist("a", strName), 0U);
    std::vector<Ftp_File_Pair> gets{{strName, local.File("1")}, {"other", local.File("2")}};
    EXPECT_EQ(client.GetFile(gets, false), 0U);
    EXPECT_EQ(client.RemoveFile("none"), 0x3bb0000cU);
    EXPECT_EQ(client.RemoveDir("a"), 0U);
    EXPECT_EQ(client.Close(), 0U);
    server.ExpectFinished();
    EXPECT_TRUE(SamePayload(strUpload, server.Uploads().at(0)));
    EXPECT_TRUE(SamePayload(strDownload, ReadFile(local.File("1"))));
    EXPECT_TRUE(SamePayload(strUpload, ReadFile(local.File("2"))));
}

class Threads : public EachArrival {};
PLAY_IN_EACH_ARRIVAL(Threads);

TEST_P(Threads, SixteenSessionsAtOnce) {
    std::vector<std::thread> threads;
    for (unsigned int uSession = 0; uSession < kSessions; ++uSession)
        threads.emplace_back(PlayOne, uSession);
    for (std::thread& thread : threads)
        thread.join();
}

TEST_P(Threads, SessionsAreMadeAndDestroyedAtOnce) {
    std::vector<std::thread> threads;
    for (unsigned int uThread = 0; uThread < kSessions; ++uThread) {
        threads.emplace_back([] {
            for (int i = 0; i < 20; ++i) {
                ScriptedServer server{LogIn(), Quit()};
                CClient client(server);
                EXPECT_EQ(client.Login(), 0U);
                EXPECT_EQ(client.Close(), 0U);
                server.ExpectFinished();
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

}  // namespace
}  // namespace SessionTest
