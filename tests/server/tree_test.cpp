// A thousand small files as one batch, each way. Sessions are told to be so patient that a single
// wait for a reply that does not come would take longer than the whole batch may, however loaded
// the machine is. What a batch may cost on an idle one is timing_test.cpp's matter.

#include <chrono>

#include "tests/server/checksums.h"
#include "tests/server/filetree.h"
#include "tests/server/servertest.h"

namespace ServerTest {
namespace {

namespace fs = std::filesystem;
using namespace RVN_FTP_CLIENT;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr unsigned short kPatience = 20;  // seconds; a useless wait is two of them
constexpr auto kBound = 20s;

class Tree : public CServerTest {
protected:
    const CFileTree m_tree;
};

TEST_F(Tree, GoesToTheServerInOneBatch) {
    m_tree.MakeFiles(Local("tree"));
    const auto expected = ChecksumsBelow(Local("tree"));
    ASSERT_EQ(expected.size(), CFileTree::kFiles);
    CSession session(Server());
    session->setParam(kPatience, 1, kPatience);
    for (const std::string& strDirectory : m_tree.Directories()) {
        ASSERT_EQ(Code(session->MakeDir("tree/" + strDirectory)), FTP_OK);
    }
    std::vector<Ftp_File_Pair> batch = m_tree.Batch(Local("tree"), "tree");
    const Clock::time_point begin = Clock::now();
    EXPECT_EQ(Code(session->PutFile(batch)), FTP_OK);
    EXPECT_LT(Clock::now() - begin, kBound);
    EXPECT_EQ(ChecksumsBelow(Served("tree")), expected);
}

TEST_F(Tree, ComesFromTheServerInOneBatchTimeAfterTime) {
    m_tree.MakeFiles(Served("tree"));
    const auto expected = ChecksumsBelow(Served("tree"));
    ASSERT_EQ(expected.size(), CFileTree::kFiles);
    CSession session(Server());
    session->setParam(kPatience, 1, kPatience);
    std::vector<Ftp_File_Pair> batch = m_tree.Batch("tree", Local("tree"));
    for (int nRun = 0; nRun < 4; ++nRun) {
        fs::remove_all(Local("tree"));
        m_tree.MakeDirectories(Local("tree"));
        const Clock::time_point begin = Clock::now();
        EXPECT_EQ(Code(session->GetFile(batch, false)), FTP_OK);
        EXPECT_LT(Clock::now() - begin, kBound);
        EXPECT_EQ(ChecksumsBelow(Local("tree")), expected);
    }
}

}  // namespace
}  // namespace ServerTest
