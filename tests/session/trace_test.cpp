// What the host can follow of a session in its trace.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/logging.h"
#include "tests/session/fixture.h"
#include "tests/support/tempdir.h"

namespace {

// This thread's operations, each with those that it calls in parentheses.
thread_local std::string t_strTrace;

}  // namespace

_TraceFunction::_TraceFunction(const LocationInfo& where) : m_where(where) {
    t_strTrace += std::string(where.File()) + "." + where.Function() + "(";
}

_TraceFunction::~_TraceFunction() {
    t_strTrace += ")";
}

namespace SessionTest {
namespace {

class Trace : public Dialogue {};

TEST_F(Trace, ShowsTheOperationsOfASession) {
    ScriptedServer server{LogIn(),       TypeImage(), Cwd(kRoot), Serve("a", "bytes"),
                          TypeImage(),   Cwd(kRoot),  Take("b"),  Cwd("/srv/data/c"),
                          ServeList(""), Quit()};
    CClient client(server);
    const TempDir directory;
    std::vector<RVN_FTP_CLIENT::TkFileInfo*> files;

    t_strTrace.clear();
    EXPECT_EQ(client.Login(), 0U);
    EXPECT_EQ(t_strTrace, "ftpclientImpl.Login(ftpcommand.Ftp_connect())");

    t_strTrace.clear();
    EXPECT_EQ(client.GetOneFile("a", directory.File("a"), false), 0U);
    EXPECT_EQ(t_strTrace, "ftpcommand.Ftp_GetFile(ftpcommand.CreatePasvDataLink())");

    t_strTrace.clear();
    EXPECT_EQ(client.PutOneFileToFile(directory.File("a"), "b"), 0U);
    EXPECT_EQ(t_strTrace, "ftpcommand.Ftp_PutFile(ftpcommand.CreatePasvDataLink())");

    t_strTrace.clear();
    EXPECT_EQ(client.ListFile("c", files), 0U);
    EXPECT_EQ(t_strTrace, "ftpcommand.Ftp_ListFile(ftpcommand.CreatePasvDataLink())");

    t_strTrace.clear();
    client.CloseInOrder();
    EXPECT_EQ(t_strTrace, "ftpclientImpl.Close()");
    server.ExpectFinished();
}

}  // namespace
}  // namespace SessionTest
