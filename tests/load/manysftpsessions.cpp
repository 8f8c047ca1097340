#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "tests/load/barrier.h"
#include "tests/load/descriptors.h"
#include "tests/load/sftpload.h"
#include "tests/load/smallthreads.h"
#include "tests/support/payload.h"

namespace LoadTest {
namespace {

using namespace TestSupport;

// Where all sessions wait for each other.
enum EMeeting { kStoring, kRetrieving, kMeetings };

// Meets the other sessions in the course of a transfer.
class CMeeting : public SFTP_Progress {
public:
    explicit CMeeting(CBarrier& barrier) : m_barrier(barrier) {}
    ~CMeeting() {
        if (!m_bMet) m_barrier.Leave();
    }
    CMeeting(const CMeeting&) = delete;
    CMeeting& operator=(const CMeeting&) = delete;

    bool moved(std::uint64_t /*ullDone*/, std::uint64_t /*ullTotal*/) override {
        if (!m_bMet) m_barrier.Meet();
        m_bMet = true;
        return true;
    }

private:
    CBarrier& m_barrier;
    bool m_bMet = false;
};

class CNames : public SFTP_DirVisitor {
public:
    bool entry(const SFTP_FileInfo& info) override {
        m_names.emplace_back(info.pszName);
        return true;
    }
    bool Has(const std::string& strName) const {
        return std::find(m_names.begin(), m_names.end(), strName) != m_names.end();
    }

private:
    std::vector<std::string> m_names;
};

SFTP_String Text(const std::string& strText) {
    return SFTP_String(strText.c_str());
}

}  // namespace

void RunManySftpSessions(int nSessions, std::size_t uDescriptors) {
    const OpenSshServer server;
    const TempDir local;
    std::array<std::size_t, kMeetings> counts{};
    const auto count = [&counts](EMeeting eMeeting) {
        return [&counts, eMeeting](int) { counts.at(eMeeting) = OpenDescriptors(); };
    };
    CBarrier storing(nSessions, count(kStoring));
    CBarrier retrieving(nSessions, count(kRetrieving));
    CSlots logins(16);

    CSmallThreads(nSessions, [&](int nSession) {
        CMeeting inStore(storing);
        CMeeting inRetrieve(retrieving);
        const std::string strName = "f" + std::to_string(nSession);
        const std::string strBytes = Payload(300'000, static_cast<std::uint64_t>(nSession) + 1);
        WriteFile(local.File(strName), strBytes);
        const std::string strBack = local.File(strName + "-back");
        HostSession session(PasswordAccount(server));
        ASSERT_EQ(logins.Run([&] { return session->connect(); }), SFTP_OK) << session.Error();
        const SFTP_String remote = Text(server.File(strName));
        ASSERT_EQ(session->putFile(Text(local.File(strName)), remote, &inStore), SFTP_OK)
            << session.Error();
        CNames names;
        ASSERT_EQ(session->readDir(Text(server.Directory()), names), SFTP_OK) << session.Error();
        EXPECT_TRUE(names.Has(strName));
        ASSERT_EQ(session->getFile(remote, Text(strBack), &inRetrieve), SFTP_OK) << session.Error();
        EXPECT_TRUE(SamePayload(strBytes, ReadFile(strBack))) << strName;
    }).Join();

    std::printf("%d sessions: %zu descriptors open in their stores, %zu in their retrieves\n",
                nSessions, counts[kStoring], counts[kRetrieving]);
    EXPECT_GE(counts[kStoring], uDescriptors);
    EXPECT_GE(counts[kRetrieving], uDescriptors);
    EXPECT_FALSE(WrapperIsLoaded());
}

}  // namespace LoadTest
