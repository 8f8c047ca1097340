// The size of one receive or send on the data connection. A program of its own, since it stands
// between the library and the system calls in another way than the others.

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <string>
#include <vector>

#include "tests/session/blocks.h"
#include "tests/session/transferoptions.h"

namespace SessionTest {
namespace {

using namespace RVN_FTP_CLIENT;

class BlockSize : public Dialogue {};

constexpr unsigned int kLargest = 1U << 20;

struct SBlock {
    unsigned int uAskedFor;
    std::size_t nUsed;
};

constexpr SBlock kBlocks[] = {
    {0, 1024},
    {1, 1024},
    {1023, 1024},
    {1024, 1024},
    {1025, 1025},
    {65536, 65536},
    {kLargest - 1, kLargest - 1},
    {kLargest, kLargest},
    {kLargest + 1, kLargest},
    {UINT_MAX, kLargest},
};

FtpTransferOptions InBlocksOf(unsigned int uBlockSize, bool bVerify) {
    FtpTransferOptions options;
    options.uBlockSize = uBlockSize;
    options.bVerify = bVerify;
    return options;
}

// A logged-in session whose requests on the data connection are recorded.
class CRecorded {
public:
    CRecorded(std::vector<SStep> script, const FtpTransferOptions& options)
        : m_server(Whole(std::move(script))), m_client(m_server) {
        m_client.setTransferOptions(options);
        EXPECT_EQ(m_client.Login(), 0U);
    }
    ~CRecorded() {
        m_client.CloseInOrder();
        m_server.ExpectFinished();
    }
    CRecorded(const CRecorded&) = delete;
    CRecorded& operator=(const CRecorded&) = delete;

    CClient* operator->() { return &m_client; }
    unsigned short ControlPort() const { return m_server.Port(); }
    std::vector<std::string> Uploads() const { return m_server.Uploads(); }

private:
    static std::vector<SStep> Whole(std::vector<SStep> script) {
        script.insert(script.begin(), LogIn());
        script.push_back(Quit());
        return script;
    }
    ScriptedServer m_server;
    CClient m_client;
};

std::vector<SStep> Served(const std::string& strBytes) {
    return Retr({SayLine("150 here"), SendData(strBytes), CloseData(), SayLine("226 sent")});
}

std::vector<SStep> Taken() {
    return Stor({SayLine("150 go"), ReceiveData(), SayLine("226 stored")});
}

TEST_F(BlockSize, IsThatOfEachReceive) {
    const std::string strBytes = Payload((3U << 20) + 17);
    for (const bool bVerify : {false, true}) {
        for (const SBlock& block : kBlocks) {
            SCOPED_TRACE(block.uAskedFor);
            const CTarget target(false);
            CRecorded session(Served(strBytes), InBlocksOf(block.uAskedFor, bVerify));
            SRequests requests;
            {
                const CRequestRecord record(session.ControlPort());
                EXPECT_EQ(session->GetOneFile("f", target.Path(), false), 0U);
                requests = record.Requests();
            }
            ASSERT_FALSE(requests.received.empty());
            const auto ends =
                std::minmax_element(requests.received.begin(), requests.received.end());
            EXPECT_EQ(*ends.first, block.nUsed);
            EXPECT_EQ(*ends.second, block.nUsed);
            target.ExpectReplaced(strBytes);
        }
    }
}

TEST_F(BlockSize, IsThatOfEachSend) {
    const std::string strBytes = Payload((3U << 20) + 17);
    const CSource source(strBytes);
    for (const bool bVerify : {false, true}) {
        for (const SBlock& block : kBlocks) {
            SCOPED_TRACE(block.uAskedFor);
            CRecorded session(Taken(), InBlocksOf(block.uAskedFor, bVerify));
            SRequests requests;
            {
                const CRequestRecord record(session.ControlPort());
                EXPECT_EQ(session->PutOneFileToFile(source.Path(), "f"), 0U);
                requests = record.Requests();
            }
            // What a send leaves over is sent again, so that there are smaller ones, too.
            ASSERT_FALSE(requests.sent.empty());
            EXPECT_EQ(requests.sent.front(), block.nUsed);
            EXPECT_EQ(*std::max_element(requests.sent.begin(), requests.sent.end()), block.nUsed);
            EXPECT_GE(requests.sent.size(), (strBytes.size() + block.nUsed - 1) / block.nUsed);
            EXPECT_TRUE(SamePayload(strBytes, session.Uploads().at(0)));
        }
    }
}

TEST_F(BlockSize, IsThatOfAListing) {
    for (const bool bVerify : {false, true}) {
        for (const SBlock& block :
             {SBlock{0, 1024}, SBlock{4096, 4096}, SBlock{UINT_MAX, kLargest}}) {
            SCOPED_TRACE(block.uAskedFor);
            CRecorded session(
                List({SayLine("150 here"), SendData("12-31-19 11:59PM 1 x\r\n"), CloseData(),
                      SayLine("226 listed"), On("OPTS UTF8 ON", "200 always")}),
                InBlocksOf(block.uAskedFor, bVerify));
            CEntries entries;
            const CRequestRecord record(session.ControlPort());
            EXPECT_EQ(session->ListFile("/", entries.m_entries), 0U);
            EXPECT_EQ(entries.Added(), std::vector<std::string>{"x"});
            ASSERT_FALSE(record.Requests().received.empty());
            EXPECT_EQ(record.Requests().received.front(), block.nUsed);
        }
    }
}

TEST_F(BlockSize, Is1024WithoutOptions) {
    const TempDir local;
    const std::string strBytes = Payload(5000);
    ScriptedServer server{LogIn(), Sequence(Served(strBytes)), Quit()};
    CClient client(server);
    ASSERT_EQ(client.Login(), 0U);
    {
        const CRequestRecord record(server.Port());
        EXPECT_EQ(client.GetOneFile("f", local.File("f"), false), 0U);
        for (const std::size_t nSize : record.Requests().received)
            EXPECT_EQ(nSize, 1024U);
        EXPECT_FALSE(record.Requests().received.empty());
    }
    client.CloseInOrder();
    server.ExpectFinished();
}

TEST_F(BlockSize, ChangesNoByte) {
    const TempDir local;
    for (const bool bVerify : {false, true}) {
        for (const std::size_t nBlock :
             {std::size_t{1024}, std::size_t{1025}, std::size_t{4096}, std::size_t{kLargest}}) {
            for (const std::size_t nSize : {std::size_t{0}, std::size_t{1}, nBlock - 1, nBlock,
                                            nBlock + 1, 2 * nBlock, 3 * nBlock + 7}) {
                SCOPED_TRACE(testing::Message() << nSize << " in blocks of " << nBlock);
                const std::string strBytes = Payload(nSize, nBlock);
                WriteFile(local.File("source"), strBytes);
                CRecorded session({Sequence(Served(strBytes)), Sequence(Taken())},
                                  InBlocksOf(static_cast<unsigned int>(nBlock), bVerify));
                EXPECT_EQ(session->GetOneFile("f", local.File("f"), false), 0U);
                EXPECT_TRUE(SamePayload(strBytes, ReadFile(local.File("f"))));
                EXPECT_EQ(session->PutOneFileToFile(local.File("source"), "f"), 0U);
                EXPECT_TRUE(SamePayload(strBytes, session.Uploads().at(0)));
            }
        }
    }
}

// The next operation has the size that was set last.
TEST_F(BlockSize, CanBeChangedBetweenTwoOperations) {
    const std::string strBytes = Payload(300000);
    const CTarget target(false);
    CRecorded session({Sequence(Served(strBytes)), Sequence(Served(strBytes))},
                      InBlocksOf(65536, true));
    for (const std::size_t nBlock : {65536U, 2048U}) {
        session->setTransferOptions(InBlocksOf(static_cast<unsigned int>(nBlock), true));
        const CRequestRecord record(session.ControlPort());
        EXPECT_EQ(session->GetOneFile("f", target.Path(), false), 0U);
        ASSERT_FALSE(record.Requests().received.empty());
        EXPECT_EQ(record.Requests().received.front(), nBlock);
    }
}

}  // namespace
}  // namespace SessionTest
