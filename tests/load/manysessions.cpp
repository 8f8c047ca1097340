#include "tests/load/manysessions.h"

#include <array>

#include "tests/load/descriptors.h"
#include "tests/load/smallthreads.h"
#include "tests/support/payload.h"
#include "tests/support/tempdir.h"

namespace LoadTest {
namespace {

using namespace RVN_FTP_CLIENT;
using TestSupport::ReadFile;
using TestSupport::SamePayload;

constexpr int kDirectory = 20;  // sessions whose files are in one directory
constexpr std::size_t kSize = 20'000;

// Where all sessions wait for each other.
enum EMeeting { kLoggedIn, kRetrieving, kStoring, kMeetings };

std::string DirectoryOf(int nSession) {
    return "d" + std::to_string(nSession / kDirectory);
}

std::string NameOf(int nSession) {
    return "f" + std::to_string(nSession);
}

// Takes part in every meeting that is left when its session has failed.
class CMember {
public:
    explicit CMember(CBarrier& barrier) : m_barrier(barrier) {}
    ~CMember() {
        if (m_nMeeting < kMeetings) m_barrier.Leave();
    }
    CMember(const CMember&) = delete;
    CMember& operator=(const CMember&) = delete;

    void Meet(EMeeting eMeeting) {
        if (m_nMeeting != eMeeting) return;
        ++m_nMeeting;
        m_barrier.Meet();
    }

private:
    CBarrier& m_barrier;
    int m_nMeeting = 0;
};

}  // namespace

void CManySessions::Serve(int nSessions) {
    Restart({{"max_clients=0", "max_per_ip=0", "xferlog_enable=NO"}, {}, 0, false});
    ServeDirectory("up");
    for (int n = 0; n < nSessions; ++n) {
        const std::string strPath = DirectoryOf(n) + "/" + NameOf(n);
        m_contents.push_back(CServerTest::Serve(strPath, kSize + static_cast<std::size_t>(n)));
    }
}

void CManySessions::Run(int nSessions, std::size_t uDescriptors) {
    AllowDescriptors(uDescriptors + 1'000);
    Serve(nSessions);
    std::array<std::size_t, kMeetings> counts{};
    CBarrier barrier(nSessions, [&counts](int nMeeting) {
        counts.at(static_cast<std::size_t>(nMeeting)) = OpenDescriptors();
    });
    m_pBarrier = &barrier;
    CSmallThreads(nSessions, [this](int nSession) { Work(nSession); }).Join();
    std::printf(
        "%d sessions: %zu descriptors open when all had logged in, %zu in their retrieves, "
        "%zu in their stores; the highest that was polled is %d\n",
        nSessions, counts[kLoggedIn], counts[kRetrieving], counts[kStoring], HighestPolled());
    EXPECT_GE(counts[kLoggedIn], static_cast<std::size_t>(nSessions));
    EXPECT_GE(counts[kRetrieving], uDescriptors);
    EXPECT_GE(counts[kStoring], uDescriptors);
}

void CManySessions::Work(int nSession) {
    CMember member(*m_pBarrier);
    CFtpClient client(Server().Host(), Server().Port(), Server().User(),
                      TQ_UTIL::CcipheString(Server().Password()));
    client.setParam(20, 1, 5);  // the machine is busy with all of them
    const unsigned int uLogin = m_logins.Run([&client] { return client.Login(); });
    EXPECT_EQ(Code(uLogin), FTP_OK) << "session " << nSession;
    member.Meet(kLoggedIn);

    const std::string strName = NameOf(nSession);
    const std::string strBack = Local(strName);
    ServerTest::CListing listing;
    EXPECT_EQ(Code(client.ListFile(DirectoryOf(nSession), listing.m_entries)), FTP_OK);
    const TkFileInfo* pOwn = listing.Find(strName);
    const std::string& strContent = m_contents[static_cast<std::size_t>(nSession)];
    EXPECT_TRUE(pOwn != nullptr && pOwn->strFileSize == std::to_string(strContent.size()))
        << listing.m_entries.size() << " entries, none of them " << strName << " with its size";

    FtpTransferOptions options;
    options.bVerify = true;
    options.uBlockSize = nSession % 2 == 0 ? 1024 : 65536;
    EMeeting eMeeting = kRetrieving;
    options.progress = [&member, &eMeeting](unsigned long long) {
        member.Meet(eMeeting);
        return true;
    };
    client.setTransferOptions(options);
    const std::string strRemote = DirectoryOf(nSession) + "/" + strName;
    EXPECT_EQ(Code(client.GetOneFile(strRemote, strBack, false)), FTP_OK) << strRemote;
    eMeeting = kStoring;
    EXPECT_EQ(Code(client.PutOneFileToFile(strBack, "up/" + strName)), FTP_OK) << strRemote;
    EXPECT_EQ(Code(client.Close()), FTP_OK);
    EXPECT_TRUE(SamePayload(strContent, ReadFile(strBack))) << "retrieved: " << strName;
    EXPECT_TRUE(SamePayload(strContent, ReadFile(Served("up/" + strName))))
        << "stored: " << strName;
}

}  // namespace LoadTest
