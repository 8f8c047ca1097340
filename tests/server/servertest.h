#ifndef QEL_TESTS_SERVER_SERVERTEST_H
#define QEL_TESTS_SERVER_SERVERTEST_H

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "include/ftpclient.h"
#include "include/ftpresult.h"
#include "tests/server/scratchdirectory.h"
#include "tests/server/vsftpdserver.h"

namespace RVN_FTP_CLIENT {

// In failing checks: EXPECT_EQ(Code(client.Login()), FTP_OK).
inline FtpResult Code(unsigned int uResult) {
    return static_cast<FtpResult>(uResult);
}
void PrintTo(FtpResult eResult, std::ostream* pStream);

}  // namespace RVN_FTP_CLIENT

namespace ServerTest {

// A session that is logged in, and closed in order at the end of the scope.
class CSession {
public:
    explicit CSession(const CVsftpdServer& server);
    ~CSession();

    CSession(const CSession&) = delete;
    CSession& operator=(const CSession&) = delete;

    RVN_FTP_CLIENT::CFtpClient* operator->() { return &m_client; }

    // For a session that its server has ended: nothing is expected of its close.
    void ExpectLost() { m_eClose = RVN_FTP_CLIENT::FTP_CLOSE_FAILED; }

private:
    RVN_FTP_CLIENT::CFtpClient m_client;
    RVN_FTP_CLIENT::FtpResult m_eClose = RVN_FTP_CLIENT::FTP_OK;
};

// The listing of a directory and its entries, which the library leaves to the caller to delete.
class CListing {
public:
    CListing() = default;
    ~CListing();

    CListing(const CListing&) = delete;
    CListing& operator=(const CListing&) = delete;

    // Name, type ('-', 'd', 'l') and size, sorted: "- 2048 a.txt". A directory's or a link's size
    // is the file system's own business and left out: "d sub".
    std::vector<std::string> Lines() const;
    std::vector<std::string> Names() const;
    const RVN_FTP_CLIENT::TkFileInfo* Find(const std::string& strName) const;

    std::vector<RVN_FTP_CLIENT::TkFileInfo*> m_entries;
};

// Every test has a server and a local directory of its own. At its end no descriptor may be left
// that was not there at its start; the server's log of a failed test is kept and shown.
class CServerTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // In place of the server that SetUp started.
    void Restart(const SServerOptions& options);

    const CVsftpdServer& Server() const { return *m_pServer; }
    void StopServer() { m_pServer->Stop(); }

    std::filesystem::path Served(const std::string& strName) const;
    std::filesystem::path Local(const std::string& strName) const;

    // On the server's side, with all directories above: a file of that many bytes that depend on
    // their position, whose content is returned; a directory.
    std::string Serve(const std::string& strName, std::size_t nSize) const;
    void ServeDirectory(const std::string& strName) const;

    // The same on the client's side.
    std::string Keep(const std::string& strName, std::size_t nSize) const;

    static std::size_t OpenDescriptors();

private:
    static constexpr std::uintmax_t kRoom = 256U << 20U;

    CScratchDirectory m_local{PlaceFor(kRoom)};
    std::unique_ptr<CVsftpdServer> m_pServer;
    std::size_t m_nDescriptors = 0;
};

}  // namespace ServerTest

#endif
