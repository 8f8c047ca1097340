// Prints how long one file takes each way by this wrapper, by qelftp, by OpenSSH's sftp and by
// curl, over loopback and over a line with a round trip of 20 ms. Not a test: the numbers are the
// machine's.
//
//     sftp_measure [MiB, 1024] [runs, 3]

#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/sftpserver/delayrelay.h"
#include "tests/sftpserver/hostsession.h"
#include "tests/sftpserver/opensshserver.h"
#include "tests/support/payload.h"

namespace {

using namespace TestSupport;

constexpr Millis kRoundTrip{20};

struct SPaths {
    std::string strLocal;   // what is sent
    std::string strRemote;  // where it goes, and what is fetched
    std::string strFetched;
};

struct SLine {
    const OpenSshServer& server;
    unsigned short usPort;
    std::string strKeyFile;
    SPaths paths;
};

void Check(bool bWorked, const std::string& strWhat) {
    if (!bWorked) throw std::runtime_error(strWhat);
}

void RunOurs(const SLine& line, bool bGet) {
    TQ_UTIL::StFTPAccountInfo account = KeyAccount(line.server, line.strKeyFile);
    account.nPort = line.usPort;
    HostSession session(account);
    Check(session->connect() == SFTP_OK, session.Error());
    const SFTP_String remote(line.paths.strRemote.c_str());
    const int nResult =
        bGet ? session->getFile(remote, SFTP_String(line.paths.strFetched.c_str()), nullptr)
             : session->putFile(SFTP_String(line.paths.strLocal.c_str()), remote, nullptr);
    Check(nResult == SFTP_OK, session.Error());
}

void RunTool(const SLine& line, bool bGet) {
    const std::string strKnownHosts = line.paths.strFetched + ".known_hosts";
    WriteFile(strKnownHosts,
              "[127.0.0.1]:" + std::to_string(line.usPort) + " " + line.server.HostKey() + "\n");
    const std::string strUrl = "sftp://" + line.server.User() +
                               "@127.0.0.1:" + std::to_string(line.usPort) + line.paths.strRemote;
    std::vector<std::string> arguments = {QELFTP_PROGRAM, bGet ? "get" : "put", "--quiet",
                                          "--identity",   line.strKeyFile,      "--known-hosts",
                                          strKnownHosts};
    if (bGet)
        arguments.insert(arguments.end(), {strUrl, line.paths.strFetched});
    else
        arguments.insert(arguments.end(), {line.paths.strLocal, strUrl});
    Check(RunProgram(arguments) == 0, "qelftp failed");
}

void RunSftp(const SLine& line, bool bGet) {
    const std::string strBatch = line.paths.strFetched + ".batch";
    WriteFile(strBatch, bGet ? "get " + line.paths.strRemote + " " + line.paths.strFetched + "\n"
                             : "put " + line.paths.strLocal + " " + line.paths.strRemote + "\n");
    Check(
        RunProgram({"/usr/bin/sftp", "-q", "-F", "none", "-b", strBatch, "-P",
                    std::to_string(line.usPort), "-i", line.strKeyFile, "-o", "IdentitiesOnly=yes",
                    "-o", "StrictHostKeyChecking=no", "-o", "UserKnownHostsFile=/dev/null", "-o",
                    "LogLevel=ERROR", line.server.User() + "@127.0.0.1"},
                   {{}, "/dev/null", false}) == 0,
        "sftp failed");
}

void RunCurl(const SLine& line, bool bGet) {
    const std::string strUrl =
        "sftp://127.0.0.1:" + std::to_string(line.usPort) + line.paths.strRemote;
    std::vector<std::string> arguments = {"/usr/bin/curl",
                                          "-q",
                                          "-s",
                                          "-S",
                                          "-k",
                                          "--user",
                                          line.server.User() + ":",
                                          "--key",
                                          line.strKeyFile,
                                          "--pubkey",
                                          line.strKeyFile + ".pub",
                                          strUrl};
    if (bGet)
        arguments.insert(arguments.end(), {"-o", line.paths.strFetched});
    else
        arguments.insert(arguments.end(), {"-T", line.paths.strLocal});
    Check(RunProgram(arguments) == 0, "curl failed");
}

struct SProgram {
    const char* pszName;
    void (*pRun)(const SLine& line, bool bGet);
};

constexpr SProgram kPrograms[] = {
    {"this wrapper", RunOurs}, {"qelftp", RunTool}, {"OpenSSH sftp", RunSftp}, {"curl", RunCurl}};

// Seconds. Tells each as it comes: over the long line some programs take minutes.
double Timed(const SLine& line, const char* pszLine, const SProgram& program, bool bGet) {
    const auto start = Clock::now();
    program.pRun(line, bGet);
    const double dSeconds = std::chrono::duration<double>(Clock::now() - start).count();
    std::fprintf(stderr, "%s, %s, %s: %.2f s\n", pszLine, program.pszName, bGet ? "get" : "put",
                 dSeconds);
    return dSeconds;
}

void Arrived(const std::string& strPath, std::size_t uSize) {
    struct stat info = {};
    Check(::stat(strPath.c_str(), &info) == 0 && static_cast<std::size_t>(info.st_size) == uSize,
          strPath + " did not arrive whole");
    std::remove(strPath.c_str());
}

// "median (fastest to slowest)" of the runs.
std::string Summary(std::vector<double> seconds) {
    std::sort(seconds.begin(), seconds.end());
    char szText[64];
    std::snprintf(szText, sizeof szText, "%6.2f (%.2f to %.2f)", seconds[seconds.size() / 2],
                  seconds.front(), seconds.back());
    return szText;
}

void Measure(const SLine& line, const char* pszLine, std::size_t uSize, int nRuns) {
    std::vector<double> gets[std::size(kPrograms)];
    std::vector<double> puts[std::size(kPrograms)];
    for (int nRun = 0; nRun < nRuns; ++nRun) {  // by turns, so that a busy minute hits all
        for (std::size_t i = 0; i < std::size(kPrograms); ++i) {
            puts[i].push_back(Timed(line, pszLine, kPrograms[i], false));
            gets[i].push_back(Timed(line, pszLine, kPrograms[i], true));
            Arrived(line.paths.strFetched, uSize);
            Arrived(line.paths.strRemote, uSize);
        }
    }
    for (std::size_t i = 0; i < std::size(kPrograms); ++i)
        std::printf("| %-9s | %-12s | %-24s | %-24s |\n", pszLine, kPrograms[i].pszName,
                    Summary(gets[i]).c_str(), Summary(puts[i]).c_str());
    std::fflush(stdout);
}

int Run(std::size_t uMegabytes, int nRuns) {
    const std::size_t uSize = uMegabytes << 20;
    // Below the login directory, as paths of qelftp are.
    OpenSshServer server({"ed25519"}, "ForceCommand internal-sftp -d /");
    const std::string strKeyFile = server.AuthorizedKey("ed25519");
    const TempDir temp;
    const SPaths paths = {temp.File("local"), server.File("remote"), temp.File("fetched")};
    WriteFile(paths.strLocal, Payload(uSize));
    const DelayRelay relay(server.Port(), kRoundTrip);
    std::printf("%zu MiB, seconds, median of %d (fastest to slowest)\n", uMegabytes, nRuns);
    std::printf(
        "| line      | program      | get                      | put                      |\n");
    std::printf(
        "|-----------|--------------|--------------------------|--------------------------|\n");
    Measure({server, server.Port(), strKeyFile, paths}, "loopback", uSize, nRuns);
    Measure({server, relay.Port(), strKeyFile, paths}, "20 ms", uSize, nRuns);
    return 0;
}

}  // namespace

int main(int nArguments, char** ppArguments) {
    try {
        const int nMegabytes = nArguments > 1 ? std::atoi(ppArguments[1]) : 1024;
        const int nRuns = nArguments > 2 ? std::atoi(ppArguments[2]) : 3;
        return Run(static_cast<std::size_t>(std::max(nMegabytes, 1)), std::max(nRuns, 1));
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return 1;
    }
}
