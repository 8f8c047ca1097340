#include "tests/tool/fakesession.h"

#include <algorithm>

using namespace qelftp;

namespace ToolTest {
namespace {

class FakeSession : public CSession {
public:
    FakeSession(FakeServer& server, int nNumber) : m_server(server), m_nNumber(nNumber) {
        Note("open", "");
    }
    ~FakeSession() override { Note("close", ""); }

    void Close() override {}
    std::vector<SEntry> List(const std::string& strDir) override {
        Note("ls", strDir);
        const auto found = m_server.directories.find(strDir);
        if (found == m_server.directories.end()) {
            throw COperationError(Trouble("no directory " + strDir, true));
        }
        return found->second;
    }
    std::optional<SEntry> Find(const std::string& strPath) override {
        Note("find", strPath);
        const std::size_t nName = strPath.rfind('/') + 1;
        const std::string strDir = nName == 1 ? "/" : strPath.substr(0, nName - 1);
        for (const SEntry& entry : m_server.directories[strDir])
            if (entry.strName == strPath.substr(nName)) return entry;
        return {};
    }
    void GetFile(const STransfer& transfer, bool, const FProgress& progress) override {
        Note("get", transfer.strRemote);
        if (m_server.get) m_server.get(m_nNumber, transfer, progress);
    }
    void PutFile(const STransfer& transfer, bool, const FProgress& progress) override {
        Note("put", transfer.strRemote);
        if (m_server.put) m_server.put(m_nNumber, transfer, progress);
    }
    bool CanContinue() const override { return false; }
    bool PutIsWhole() const override { return m_server.bPutIsWhole; }
    bool PutNeedsCheck() const override { return true; }
    bool SetModified(const std::string& strPath, std::int64_t) override {
        Note("settime", strPath);
        return true;
    }
    void Remove(const std::string& strPath) override { Note("rm", strPath); }
    void MakeDir(const std::string& strDir) override { Note("mkdir", strDir); }
    void RemoveDir(const std::string& strDir) override { Note("rmdir", strDir); }
    SFailure NotThere(const std::string& strOperation, const std::string& strPath) const override {
        return {strOperation, strPath, "not there", std::nullopt, ""};
    }

private:
    void Note(const std::string& strWhat, const std::string& strPath) {
        m_server.Note(strWhat + " " + std::to_string(m_nNumber) +
                      (strPath.empty() ? "" : " " + strPath));
    }

    FakeServer& m_server;
    const int m_nNumber;
};

}  // namespace

FOpenSession FakeServer::Opener() {
    return [this]() -> std::unique_ptr<CSession> {
        int nNumber = 0;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            nNumber = ++m_nSessions;
        }
        if (open) open(nNumber);
        return std::make_unique<FakeSession>(*this, nNumber);
    };
}

std::vector<std::string> FakeServer::Log() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_log;
}

int FakeServer::Count(const std::string& strLine) const {
    const std::vector<std::string> log = Log();
    return static_cast<int>(std::count(log.begin(), log.end(), strLine));
}

void FakeServer::Note(const std::string& strLine) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_log.push_back(strLine);
}

void FakeReport::Started(std::size_t nJob, const STransfer& transfer) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    lines.push_back(std::to_string(nJob) + " start " + transfer.strRemote);
}

void FakeReport::Finished(std::size_t nJob, const SFileOutcome& outcome) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    lines.push_back(std::to_string(nJob) + (outcome.failures.empty() ? " end " : " fail ") +
                    outcome.transfer.strRemote);
}

}  // namespace ToolTest
