// Disks without room. What could not be written is not reported; the session stays usable.

#include <string>
#include <vector>

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
using TestSupport::ReadFile;
using TestSupport::SamePayload;

constexpr std::size_t kTooLarge = 1000000;

class FullDisk : public CServerTest {
protected:
    void ExpectInStep(CSession& session) const {
        const std::string strBytes = Serve("other", 3000);
        EXPECT_EQ(Code(session->RemoveFile("missing")), FTP_DELE_REFUSED);
        EXPECT_EQ(Code(session->GetOneFile("other", Local("other"), false)), FTP_OK);
        EXPECT_TRUE(SamePayload(strBytes, ReadFile(Local("other"))));
    }
};

TEST_F(FullDisk, AGetOntoADeviceWithoutRoomEnds) {
    Serve("small", 100);
    Serve("large", kTooLarge);
    CSession session(Server());
    for (const char* pszName : {"small", "large"}) {
        EXPECT_EQ(Code(session->GetOneFile(pszName, "/dev/full", false)), FTP_OK) << pszName;
        ExpectInStep(session);
    }
}

TEST_F(FullDisk, AGetKeepsWhatHadRoom) {
    const CTinyDisk disk;
    REQUIRE_TINY_DISK(disk);
    const std::string strBytes = Serve("file", kTooLarge);
    const fs::path local = disk.Path() / "file";
    CSession session(Server());
    EXPECT_EQ(Code(session->GetOneFile("file", local, false)), FTP_OK);
    const std::string strKept = ReadFile(local);
    EXPECT_GT(strKept.size(), 0U);
    EXPECT_LE(strKept.size(), CTinyDisk::kSize);
    EXPECT_TRUE(SamePayload(strBytes.substr(0, strKept.size()), strKept));
    ExpectInStep(session);
}

TEST_F(FullDisk, APutOntoAServerWithoutRoomEnds) {
    const CTinyDisk disk;
    REQUIRE_TINY_DISK(disk);
    SServerOptions onDisk;
    onDisk.root = disk.Path() / "root";
    Restart(onDisk);
    const std::string strBytes = Keep("file", kTooLarge);
    CSession session(Server());
    EXPECT_EQ(Code(session->PutOneFileToFile(Local("file"), "file")), FTP_OK);
    const std::string strKept = ReadFile(Served("file"));
    EXPECT_LE(strKept.size(), CTinyDisk::kSize);
    EXPECT_TRUE(SamePayload(strBytes.substr(0, strKept.size()), strKept));
    EXPECT_EQ(Code(session->RemoveFile("file")), FTP_OK);
    ExpectInStep(session);
}

}  // namespace
}  // namespace ServerTest
