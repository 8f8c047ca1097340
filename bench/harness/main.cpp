// HARNESS WORK: one piece of work with one library. Prints how much was done: log-ins, entries or
// files.
//
//   login N                        log in and close, N times
//   list DIR                       list DIR
//   get DIR N LOCAL                fetch DIR/f0 ... DIR/f(N-1) into LOCAL, as one batch
//   put DIR N LOCAL                store them from LOCAL into DIR
//   sessions S COPIES DIR N LOCAL  fetch them COPIES times, into LOCAL/0, LOCAL/1 ..., with S
//                                  sessions side by side, which take the copies by turns
//
// The server comes from BENCH_ADDRESS, BENCH_PORT, BENCH_USER and BENCH_PASSWORD, for SFTP also
// from BENCH_KEY and BENCH_HOST_KEY; how it is done from BENCH_BLOCK and BENCH_SAME_RULES.

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <future>
#include <stdexcept>
#include <string>

#include "bench/harness/peer.h"

namespace {

std::string Setting(const char* pszName, const char* pszDefault = nullptr) {
    const char* const pszValue = std::getenv(pszName);
    if (pszValue != nullptr) return pszValue;
    if (pszDefault == nullptr) throw std::runtime_error(std::string(pszName) + " is not set");
    return pszDefault;
}

std::unique_ptr<CPeer> Peer() {
    SServer server;
    server.strAddress = Setting("BENCH_ADDRESS");
    server.usPort = static_cast<unsigned short>(std::stoi(Setting("BENCH_PORT")));
    server.strUser = Setting("BENCH_USER");
    server.strPassword = Setting("BENCH_PASSWORD");
    server.strKeyFile = Setting("BENCH_KEY", "");
    server.strHostKey = Setting("BENCH_HOST_KEY", "");
    SManner manner;
    manner.nBlock = std::stoul(Setting("BENCH_BLOCK", "0"));
    manner.bSameRules = Setting("BENCH_SAME_RULES", "0") == "1";
    return MakePeer(server, manner);
}

CPeer::Batch Files(const std::string& strDir, int nCount, const std::string& strLocal) {
    CPeer::Batch batch;
    for (int n = 0; n < nCount; ++n) {
        const std::string strName = "/f" + std::to_string(n);
        batch.emplace_back(strDir + strName, strLocal + strName);
    }
    return batch;
}

std::size_t LogIns(int nCount) {
    for (int n = 0; n < nCount; ++n) {
        const auto peer = Peer();
        peer->Login();
        peer->Close();
    }
    return static_cast<std::size_t>(nCount);
}

struct SCopies {
    int nSessions = 0;
    int nCopies = 0;
    std::string strDir;
    int nFiles = 0;
    std::string strLocal;
};

std::size_t FetchCopies(const SCopies& copies, int nFirst) {
    std::size_t nDone = 0;
    const auto peer = Peer();
    peer->Login();
    for (int n = nFirst; n < copies.nCopies; n += copies.nSessions) {
        const CPeer::Batch batch =
            Files(copies.strDir, copies.nFiles, copies.strLocal + "/" + std::to_string(n));
        peer->Get(batch);
        nDone += batch.size();
    }
    peer->Close();
    return nDone;
}

std::size_t FetchSideBySide(const SCopies& copies) {
    std::vector<std::future<std::size_t>> sessions;
    for (int n = 0; n < copies.nSessions; ++n) {
        sessions.push_back(
            std::async(std::launch::async, [&copies, n] { return FetchCopies(copies, n); }));
    }
    std::size_t nDone = 0;
    for (auto& session : sessions)
        nDone += session.get();
    return nDone;
}

std::size_t OneSession(const std::vector<std::string>& words) {
    const auto peer = Peer();
    peer->Login();
    std::size_t nDone = 0;
    if (words.size() == 2 && words[0] == "list") {
        nDone = peer->List(words[1]);
    } else if (words.size() == 4 && (words[0] == "get" || words[0] == "put")) {
        const CPeer::Batch batch = Files(words[1], std::stoi(words[2]), words[3]);
        if (words[0] == "get")
            peer->Get(batch);
        else
            peer->Put(batch);
        nDone = batch.size();
    } else {
        throw std::runtime_error("unknown work");
    }
    peer->Close();
    return nDone;
}

std::size_t Run(const std::vector<std::string>& words) {
    if (words.size() == 2 && words[0] == "login") return LogIns(std::stoi(words[1]));
    if (words.size() == 6 && words[0] == "sessions") {
        return FetchSideBySide(
            {std::stoi(words[1]), std::stoi(words[2]), words[3], std::stoi(words[4]), words[5]});
    }
    return OneSession(words);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        std::printf("%zu\n", Run({argv + 1, argv + argc}));
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
}
