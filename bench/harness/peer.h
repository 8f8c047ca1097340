#ifndef QEL_BENCH_PEER_H
#define QEL_BENCH_PEER_H

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// One client library under measurement. Each harness links one implementation of MakePeer and the
// same main program, so that all do the same work in the same surroundings.

struct SServer {
    std::string strAddress;  // dotted IPv4
    unsigned short usPort = 0;
    std::string strUser;
    std::string strPassword;
    std::string strKeyFile;  // SFTP: logs in instead of the password
    std::string strHostKey;  // SFTP: "ssh-ed25519 AAAA..."
};

struct SManner {
    // Bytes of one receive or send on the data connection, where the peer lets one choose; 0: the
    // peer's own choice.
    std::size_t nBlock = 0;

    // For the floor alone: what the library's own rules want of any client. A change of directory
    // before each file; a listing in blocks of 1,024 bytes, kept whole, its characters' encoding
    // asked for afterwards, and then made into records.
    bool bSameRules = false;
};

// Everything throws std::exception when the work is not done.
class CPeer {
public:
    virtual ~CPeer() = default;

    virtual void Login() = 0;
    virtual void Close() = 0;

    // Entries of a directory below the login directory; a peer that has no records counts lines.
    virtual std::size_t List(const std::string& strDir) = 0;

    // Remote path and local path of each file.
    using Batch = std::vector<std::pair<std::string, std::string>>;
    virtual void Get(const Batch& batch) = 0;
    virtual void Put(const Batch& batch) = 0;
};

// May be called by several threads at once.
std::unique_ptr<CPeer> MakePeer(const SServer& server, const SManner& manner);

#endif
