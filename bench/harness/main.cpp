// HARNESS WORK: one piece of work with one library.
//
//   login N             log in and close, N times
//   list DIR            list DIR and print how many entries there are
//   get DIR N LOCAL     fetch DIR/f0 ... DIR/f(N-1) into the directory LOCAL, as one batch
//   put DIR N LOCAL     store them from there
//
// The server comes from BENCH_ADDRESS, BENCH_PORT, BENCH_USER and BENCH_PASSWORD, the block size
// from BENCH_BLOCK.

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>

#include "bench/harness/peer.h"

namespace {

std::string Setting(const char* pszName) {
    const char* const pszValue = std::getenv(pszName);
    if (pszValue == nullptr) throw std::runtime_error(std::string(pszName) + " is not set");
    return pszValue;
}

std::unique_ptr<CPeer> Peer() {
    SServer server;
    server.strAddress = Setting("BENCH_ADDRESS");
    server.usPort = static_cast<unsigned short>(std::stoi(Setting("BENCH_PORT")));
    server.strUser = Setting("BENCH_USER");
    server.strPassword = Setting("BENCH_PASSWORD");
    return MakePeer(server, std::stoul(Setting("BENCH_BLOCK")));
}

CPeer::Batch Files(const std::string& strDir, const std::string& strCount,
                   const std::string& strLocal) {
    CPeer::Batch batch;
    for (int n = 0; n < std::stoi(strCount); ++n) {
        const std::string strName = "/f" + std::to_string(n);
        batch.emplace_back(strDir + strName, strLocal + strName);
    }
    return batch;
}

void Run(const std::vector<std::string>& words) {
    if (words.size() == 2 && words[0] == "login") {
        for (int n = 0; n < std::stoi(words[1]); ++n) {
            const auto peer = Peer();
            peer->Login();
            peer->Close();
        }
        return;
    }
    const auto peer = Peer();
    peer->Login();
    if (words.size() == 2 && words[0] == "list") {
        std::printf("%zu\n", peer->List(words[1]));
    } else if (words.size() == 4 && words[0] == "get") {
        peer->Get(Files(words[1], words[2], words[3]));
    } else if (words.size() == 4 && words[0] == "put") {
        peer->Put(Files(words[1], words[2], words[3]));
    } else {
        throw std::runtime_error("unknown work");
    }
    peer->Close();
}

}  // namespace

int main(int argc, char** argv) {
    try {
        Run({argv + 1, argv + argc});
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
}
