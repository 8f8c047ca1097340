// A file of 1 GiB each way, compared by checksum.

#include <gtest/gtest.h>

#include <fstream>
#include <string>

#include "tests/sftpserver/hostsession.h"
#include "tests/sftpserver/opensshserver.h"
#include "tests/support/payload.h"

namespace {

using namespace TestSupport;

constexpr std::uint64_t kPieces = 64;
constexpr std::size_t kPieceSize = std::size_t{16} << 20;

std::string ChecksumOf(const std::string& strPath, const TempDir& temp) {
    SChildOptions options;
    options.strOutputFile = temp.File("checksum");
    std::remove(options.strOutputFile.c_str());
    EXPECT_EQ(RunProgram({"/usr/bin/sha256sum", strPath}, options), 0);
    return ReadFile(options.strOutputFile).substr(0, 64);
}

TEST(LargeFile, ArrivesWholeBothWays) {
    OpenSshServer server;
    const TempDir temp;
    {
        std::ofstream file(temp.File("f"), std::ios::binary);
        for (std::uint64_t uPiece = 0; uPiece < kPieces; ++uPiece)
            file << Payload(kPieceSize, uPiece);
        ASSERT_TRUE(file.flush());
    }
    const std::string strChecksum = ChecksumOf(temp.File("f"), temp);
    ASSERT_EQ(strChecksum.size(), 64U);

    HostSession session(PasswordAccount(server));
    ASSERT_EQ(session->connect(), SFTP_OK) << session.Error();
    const SFTP_String remote(server.File("f").c_str());
    ASSERT_EQ(session->putFile(SFTP_String(temp.File("f").c_str()), remote, nullptr), SFTP_OK)
        << session.Error();
    EXPECT_EQ(ChecksumOf(server.File("f"), temp), strChecksum);
    std::remove(temp.File("f").c_str());
    ASSERT_EQ(session->getFile(remote, SFTP_String(temp.File("g").c_str()), nullptr), SFTP_OK)
        << session.Error();
    EXPECT_EQ(ChecksumOf(temp.File("g"), temp), strChecksum);
}

}  // namespace
