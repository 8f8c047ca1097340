// Finding and opening the wrapper library.

#include <ace/DLL.h>
#include <ace/Init_ACE.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "include/sftpclient.h"
#include "tests/sftp/fakeserver.h"
#include "tests/sftp/fakewrapper.h"
#include "tests/support/recordinglog.h"
#include "tests/support/tempdir.h"

// Every load counts on it; the real one still runs.
int ACE::init() {
    static const auto pReal = reinterpret_cast<int (*)()>(dlsym(RTLD_NEXT, "_ZN3ACE4initEv"));
    TestSftp::CFake::Instance().Record("ACE::init");
    return pReal();
}

namespace {

using RVN_FTP_CLIENT::CSftpClient;
using TestSftp::CFake;
using TestSftp::CFakeServer;
using TestSupport::RecordingLog;
using Texts = std::vector<std::string>;

std::unique_ptr<ACE_DLL> Load() {
    return std::unique_ptr<ACE_DLL>(CSftpClient::loadSftpDll());
}

TEST(SftpBinding, OpensTheLibraryBelowTheServerPath) {
    const CFakeServer server;
    auto dll = Load();
    ASSERT_NE(dll, nullptr);
    EXPECT_TRUE(server.Loaded());
    EXPECT_NE(dll->symbol("SFTP_initLibrary"), nullptr);
    EXPECT_EQ(RecordingLog::All().size(), 0U);
    EXPECT_EQ(TestSftp::ServerPathArguments(), ",");  // two empty texts
    dll.reset();
    EXPECT_FALSE(server.Loaded());
}

TEST(SftpBinding, AddsNoSecondSeparatorToTheServerPath) {
    CFakeServer server;
    server.AnnouncePath(server.Path() + "/");
    EXPECT_NE(Load(), nullptr);
    server.RemoveLibrary();
    EXPECT_EQ(Load(), nullptr);
    EXPECT_EQ(RecordingLog::InfoTexts(),
              Texts{"[FTPCLIENT]Load libkavo_sftp_wrapper dll failed! path = " +
                    server.LibraryPath() + ", error = -1"});
}

void ExpectOneLoadFailure(const CFakeServer& server) {
    EXPECT_EQ(Load(), nullptr);
    ASSERT_EQ(RecordingLog::All().size(), 1U);
    ASSERT_EQ(RecordingLog::Infos().size(), 1U);
    const auto info = RecordingLog::Infos()[0];
    EXPECT_EQ(info.strText, "[FTPCLIENT]Load libkavo_sftp_wrapper dll failed! path = " +
                                server.LibraryPath() + ", error = -1");
    EXPECT_EQ(info.strFile, "sftpclient");
    EXPECT_EQ(info.strFunction, "loadSftpDll");
    EXPECT_TRUE(info.bFiltered);
}

TEST(SftpBinding, NamesTheMissingLibrary) {
    CFakeServer server;
    server.RemoveLibrary();
    ExpectOneLoadFailure(server);
}

TEST(SftpBinding, NamesAFileThatIsNoLibrary) {
    CFakeServer server;
    server.RemoveLibrary();
    TestSupport::WriteFile(server.LibraryPath(), "not a library");
    ExpectOneLoadFailure(server);
}

TEST(SftpBinding, DoesNotAskTheLoaderForTheTextOfAFailedLoad) {
    CFakeServer server;
    server.RemoveLibrary();
    CFake::Instance().FakeLoaderError("loader says no");
    ExpectOneLoadFailure(server);
}

TEST(SftpBinding, SucceedsOnceTheLibraryIsThere) {
    CFakeServer server;
    const std::string strAside = server.LibraryPath() + ".aside";
    ASSERT_EQ(std::rename(server.LibraryPath().c_str(), strAside.c_str()), 0);
    EXPECT_EQ(Load(), nullptr);
    ASSERT_EQ(std::rename(strAside.c_str(), server.LibraryPath().c_str()), 0);
    EXPECT_NE(Load(), nullptr);
    EXPECT_FALSE(server.Loaded());
}

// The fake calls a function that is defined nowhere, which only lazy binding forgives.
TEST(SftpBinding, BindsLazilyAndGlobally) {
    const CFakeServer server;
    EXPECT_EQ(dlopen(server.LibraryPath().c_str(), RTLD_NOW), nullptr);
    EXPECT_EQ(dlsym(RTLD_DEFAULT, "SFTP_getNewSession"), nullptr);
    const auto dll = Load();
    ASSERT_NE(dll, nullptr);
    EXPECT_NE(dlsym(RTLD_DEFAULT, "SFTP_getNewSession"), nullptr);
}

TEST(SftpBinding, InitialisesAceBeforeEveryOpen) {
    const CFakeServer server;
    const auto first = Load();
    const auto second = Load();
    EXPECT_EQ(CFake::Instance().Calls(), (Texts{"ACE::init", "(loaded)", "ACE::init"}));
}

TEST(SftpBinding, InitialisesAceAlsoBeforeAnOpenThatFails) {
    CFakeServer server;
    server.RemoveLibrary();
    Load();
    EXPECT_EQ(CFake::Instance().Calls(), Texts{"ACE::init"});
}

TEST(SftpBinding, UnloadsWithTheLastOfSeveralHandles) {
    const CFakeServer server;
    auto first = Load();
    auto second = Load();
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    first.reset();
    EXPECT_TRUE(server.Loaded());
    EXPECT_NE(second->symbol("SFTP_initLibrary"), nullptr);
    second.reset();
    EXPECT_FALSE(server.Loaded());
}

}  // namespace
