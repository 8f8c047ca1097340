#ifndef QEL_TESTS_SESSION_TRANSFEROPTIONS_H
#define QEL_TESTS_SESSION_TRANSFEROPTIONS_H

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "include/ftpresult.h"
#include "tests/session/fixture.h"
#include "tests/support/payload.h"
#include "tests/support/tempdir.h"

// What the tests of CFtpClient::setTransferOptions share.

namespace SessionTest {

using RVN_FTP_CLIENT::Ftp_File_Pair;
using RVN_FTP_CLIENT::FtpTransferOptions;
using RVN_FTP_CLIENT::TkFileInfo;

// Seconds and numbers of setParam.
struct SPatience {
    unsigned short usConnTimeout;
    unsigned short usRetryTimes;
    unsigned short usRetryTimeout;
};

// So long that one needless wait for a reply exceeds kNoWait.
constexpr SPatience kPatient{5, 2, 2};
constexpr SPatience kHasty{1, 1, 1};
constexpr long long kNoWait = 4000;  // ms

inline FtpTransferOptions Verified() {
    FtpTransferOptions options;
    options.bVerify = true;
    return options;
}

// A session with options, which is logged in and plays the steps. At its end it must be in step:
// the next command's reply is its own, and nothing is left behind that.
class COptionsSession {
public:
    COptionsSession(const std::vector<SStep>& script, const FtpTransferOptions& options,
                    const SPatience& patience = kPatient)
        : m_server(Whole(script)), m_client(m_server) {
        RecordingLog::Clear();
        m_client.setParam(patience.usConnTimeout, patience.usRetryTimes, patience.usRetryTimeout);
        m_client.setTransferOptions(options);
        EXPECT_EQ(m_client.Login(), 0U);
    }
    ~COptionsSession() {
        EXPECT_EQ(m_client.RemoveFile("in step"), RVN_FTP_CLIENT::FTP_REPLY_450)
            << "the session is out of step";
        m_client.CloseInOrder();
        m_server.ExpectFinished();
    }
    COptionsSession(const COptionsSession&) = delete;
    COptionsSession& operator=(const COptionsSession&) = delete;

    CClient* operator->() { return &m_client; }
    std::vector<std::string> Commands() const { return m_server.Commands(); }
    std::vector<std::string> Uploads() const { return m_server.Uploads(); }

private:
    static std::vector<SStep> Whole(std::vector<SStep> script) {
        script.insert(script.begin(), LogIn());
        script.push_back(On("DELE /srv/data/in step", "450 in step"));
        script.push_back(Quit());
        return script;
    }

    ScriptedServer m_server;
    CClient m_client;
};

// From TYPE to the transfer command of the file "f" in the root, and what the server does then.
inline std::vector<SStep> Transfer(const std::string& strCommand, std::vector<SStep> steps) {
    steps.insert(steps.begin(), {TypeImage(), Cwd(kRoot), Passive(), Expect(strCommand + " f")});
    return steps;
}
inline std::vector<SStep> Retr(const std::vector<SStep>& steps) {
    return Transfer("RETR", steps);
}
inline std::vector<SStep> Stor(const std::vector<SStep>& steps) {
    return Transfer("STOR", steps);
}

// Of the root.
inline std::vector<SStep> List(std::vector<SStep> steps) {
    steps.insert(steps.begin(), {Cwd("/srv/data/"), Passive(), Expect("LIST")});
    return steps;
}

inline SStep SayLine(const std::string& strReply) {
    return Say(strReply + "\r\n");
}

// Bytes that no command asked for: they come once the test lets them, and not together with the
// reply before.
inline SStep Late(const std::string& strBytes) {
    return Sequence({Hold(), Say(strBytes), Hold()});
}
// Returns when they wait for the client.
inline void LetItBeLate(ScriptedServer& server) {
    for (int i = 0; i < 2; ++i) {
        server.WaitUntilHeld();
        server.Release();
    }
}

// A reply and the result that stands for it.
struct SReplyRow {
    const char* pszReply;
    unsigned int uResult;
};

// The names in a directory, sorted.
inline std::vector<std::string> NamesIn(const std::filesystem::path& directory) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

// The local side of a retrieve, in a directory of its own: a target that exists or does not.
class CTarget {
public:
    explicit CTarget(bool bExists) : m_bExists(bExists) {
        if (!m_bExists) return;
        WriteFile(Path(), kOld);
        EXPECT_EQ(::chmod(Path().c_str(), kMode), 0);
    }

    std::string Path() const { return m_directory.File("f"); }
    std::string Part() const { return Path() + ".part"; }
    const std::filesystem::path& Directory() const { return m_directory.Path(); }

    // The target is as it was, and nothing else is there.
    void ExpectUntouched() const {
        if (!m_bExists) {
            EXPECT_EQ(NamesIn(Directory()), std::vector<std::string>{});
            return;
        }
        EXPECT_EQ(NamesIn(Directory()), std::vector<std::string>{"f"});
        EXPECT_EQ(ReadFile(Path()), kOld);
        EXPECT_EQ(Mode(), kMode);
    }
    // The target holds these bytes with the permissions that it had, and nothing else is there.
    void ExpectReplaced(const std::string& strBytes) const {
        EXPECT_EQ(NamesIn(Directory()), std::vector<std::string>{"f"});
        EXPECT_TRUE(SamePayload(strBytes, ReadFile(Path())));
        if (m_bExists) {
            EXPECT_EQ(Mode(), kMode);
        }
    }

    static constexpr const char* kOld = "what was there before";

private:
    static constexpr mode_t kMode = 0604;

    mode_t Mode() const {
        struct stat now {};
        EXPECT_EQ(::stat(Path().c_str(), &now), 0);
        return now.st_mode & 07777U;
    }

    TempDir m_directory;
    bool m_bExists;
};

// The local side of a store.
class CSource {
public:
    explicit CSource(const std::string& strBytes) { WriteFile(Path(), strBytes); }
    std::string Path() const { return m_directory.File("source"); }

private:
    TempDir m_directory;
};

// Entries of a listing, which are the caller's to delete. Begins with one of the caller's own, so
// that a test sees whether a failed listing left the vector alone.
class CEntries {
public:
    CEntries() { m_entries.push_back(m_pOwn); }
    ~CEntries() {
        for (const TkFileInfo* pEntry : m_entries)
            delete pEntry;
    }
    CEntries(const CEntries&) = delete;
    CEntries& operator=(const CEntries&) = delete;

    void ExpectUntouched() const {
        EXPECT_EQ(m_entries.size(), 1U);
        EXPECT_EQ(m_entries.at(0), m_pOwn);
    }
    // Names, without the caller's own.
    std::vector<std::string> Added() const {
        std::vector<std::string> names;
        for (std::size_t i = 1; i < m_entries.size(); ++i)
            names.push_back(m_entries[i]->strFileName);
        return names;
    }

    std::vector<TkFileInfo*> m_entries;

private:
    TkFileInfo* m_pOwn = new TkFileInfo;
};

}  // namespace SessionTest

#endif
