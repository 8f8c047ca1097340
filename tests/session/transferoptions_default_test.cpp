// Options of their default values: a session that has them cannot be told from one without.

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/session/transferoptions.h"

namespace SessionTest {
namespace {

using namespace RVN_FTP_CLIENT;

// All that can be seen of a session from outside.
struct SSeen {
    unsigned int uResult = 0;
    std::vector<std::string> commands;
    std::vector<std::string> uploads;
    std::map<std::string, std::string> files;
    std::vector<std::string> entries;
    std::string strErrors;
};

bool operator==(const SSeen& one, const SSeen& other) {
    return one.uResult == other.uResult && one.commands == other.commands &&
           one.uploads == other.uploads && one.files == other.files &&
           one.entries == other.entries && one.strErrors == other.strErrors;
}

std::ostream& operator<<(std::ostream& stream, const SSeen& seen) {
    stream << std::hex << seen.uResult << std::dec;
    for (const std::string& strCommand : seen.commands)
        stream << "\n  " << strCommand.substr(0, strCommand.find('\r'));
    for (const auto& file : seen.files)
        stream << "\n  " << file.first << ": " << file.second.size() << " bytes";
    for (const std::string& strUpload : seen.uploads)
        stream << "\n  upload: " << strUpload.size() << " bytes";
    for (const std::string& strEntry : seen.entries)
        stream << "\n  entry: " << strEntry;
    return stream << "\n  " << seen.strErrors;
}

// What a scenario works with: the client, a local directory, a vector of entries.
struct SWork {
    CClient& client;
    const TempDir& local;
    std::vector<TkFileInfo*>& entries;
};

struct SScenario {
    const char* pszName;
    std::vector<SStep> script;  // between login and quit
    std::function<unsigned int(SWork)> operation;
    unsigned int uResult;
};

SSeen Play(const SScenario& scenario, bool bSetOptions) {
    RecordingLog::Clear();
    const TempDir local;
    WriteFile(local.File("source"), Payload(3000));
    WriteFile(local.File("target"), "what was there before");
    std::vector<SStep> script{LogIn()};
    script.insert(script.end(), scenario.script.begin(), scenario.script.end());
    script.push_back(Quit());
    ScriptedServer server(script);
    CClient client(server);
    if (bSetOptions) client.setTransferOptions(FtpTransferOptions());
    EXPECT_EQ(client.Login(), 0U);
    SSeen seen;
    CEntries entries;
    seen.uResult = scenario.operation({client, local, entries.m_entries});
    EXPECT_EQ(client.Close(), 0U);
    server.ExpectFinished();
    seen.commands = server.Commands();
    seen.uploads = server.Uploads();
    for (const std::string& strName : NamesIn(local.Path()))
        seen.files[strName] = ReadFile(local.File(strName));
    seen.entries = entries.Added();
    // The directory's name is another one in each run.
    seen.strErrors = ErrorLog();
    for (std::size_t n = 0; (n = seen.strErrors.find(local.Path().string())) != std::string::npos;)
        seen.strErrors.replace(n, local.Path().string().size(), "<local>");
    return seen;
}

unsigned int Get(SWork work) {
    return work.client.GetOneFile("f", work.local.File("target"), false);
}

unsigned int Put(SWork work) {
    return work.client.PutOneFileToFile(work.local.File("source"), "f");
}

unsigned int ListRoot(SWork work) {
    return work.client.ListFile("/", work.entries);
}

constexpr const char* kListing =
    "-rw-r--r-- 1 u g 7 Mar 3 2019 one\r\n-rw-r--r-- 1 u g 7 Mar 3 2019 two\r\n";

std::vector<SScenario> Scenarios() {
    const SStep begun = Sequence({SayLine("150 go"), UntilRead("150 go")});
    return {
        {"get", Retr({begun, SendData(Payload(3000)), CloseData(), SayLine("226 sent")}), Get, 0},
        {"get, reset in the middle",
         Retr({begun, SendData(Payload(1500)), Wait(Millis(150)), ResetData(),
               SayLine("426 broken")}),
         Get, 0},
        {"get, silence",
         Retr({begun, SendData(Payload(1500)), ExpectDataClosed(), SayLine("426 broken")}), Get, 0},
        {"get, 451 at the end",
         Retr({begun, SendData(Payload(3000)), CloseData(), SayLine("451 broken")}), Get, 0},
        {"get, refused",
         Retr({SayLine("550 no"), UntilRead("550 no"), ExpectDataClosed(), SayLine("226 nothing")}),
         Get, FTP_REPLY_550},
        {"get from another address",
         {TypeImage(), Cwd(kRoot), On("PASV", "227 go (10,9,8,7,4,1).")},
         Get,
         FTP_BAD_PASV_REPLY},
        {"put", Stor({begun, ReceiveData(), SayLine("226 stored")}), Put, 0},
        {"put, reset in the middle",
         Stor({begun, ReceiveData(1000), ResetData(), SayLine("426 broken")}), Put, 0},
        {"put, 552 at the end", Stor({begun, ReceiveData(), SayLine("552 full")}), Put, 0},
        {"put, refused",
         Stor({SayLine("553 no"), UntilRead("553 no"), ExpectDataClosed(), SayLine("226 nothing")}),
         Put, FTP_REPLY_553},
        {"put of a missing file", Stor({begun, ReceiveData(), SayLine("226 stored")}),
         [](SWork work) { return work.client.PutOneFileToFile(work.local.File("none"), "f"); },
         FTP_LOCAL_OPEN_FAILED},
        {"put of a directory", Stor({begun, ReceiveData(), SayLine("226 stored")}),
         [](SWork work) { return work.client.PutOneFileToFile(work.local.Path().string(), "f"); },
         0},
        {"list, 426 at the end",
         List({begun, SendData(kListing), CloseData(), SayLine("426 broken"),
               On("OPTS UTF8 ON", "200 always")}),
         ListRoot, 0},
        {"list, reset in the middle",
         List({begun, SendData(std::string(kListing).substr(0, 45)), Wait(Millis(150)), ResetData(),
               SayLine("426 broken"), On("OPTS UTF8 ON", "500 never")}),
         ListRoot, 0},
    };
}

class DefaultOptions : public Dialogue {};

TEST_F(DefaultOptions, ChangeNothing) {
    for (const SScenario& scenario : Scenarios()) {
        SCOPED_TRACE(scenario.pszName);
        const SSeen without = Play(scenario, false);
        EXPECT_EQ(without.uResult, scenario.uResult);
        EXPECT_EQ(Play(scenario, true), without);
    }
}

// A reply that waits is taken for the next command's, one after the other.
TEST_F(DefaultOptions, SendACommandThatALateReplyAnswers) {
    for (const bool bSetOptions : {false, true}) {
        SCOPED_TRACE(bSetOptions);
        RecordingLog::Clear();
        ScriptedServer server{LogIn(),
                              Late("450 late\r\n"),
                              Expect("CWD /srv/data/a"),
                              UntilRead("450 late"),
                              SayLine("250 there"),
                              Quit()};
        CClient client(server);
        if (bSetOptions) client.setTransferOptions(FtpTransferOptions());
        ASSERT_EQ(client.Login(), 0U);
        LetItBeLate(server);
        EXPECT_EQ(client.ChangeDir("a"), FTP_REPLY_450);
        EXPECT_EQ(client.Close(), 0U);
        server.ExpectFinished();
    }
}

}  // namespace
}  // namespace SessionTest
