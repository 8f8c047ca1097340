#ifndef QEL_TOOLS_SESSION_H
#define QEL_TOOLS_SESSION_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/cipher.h"
#include "tools/failure.h"

namespace qelftp {

// The three values of CFtpClient::setParam.
struct SConnectOptions {
    unsigned short usTimeout = 5;       // seconds
    unsigned short usRetries = 2;       // attempts after the first
    unsigned short usRetryTimeout = 2;  // seconds of each of these
};

// What only SSH servers are asked for.
struct SSshOptions {
    std::string strIdentity;         // private key file; empty: the password logs in
    std::string strKnownHosts;       // empty: the user's own, ~/.ssh/known_hosts
    bool bAcceptNewHostKey = false;  // record the key of a host that has none in that file
};

// Everything it takes to log in.
struct SConnection {
    std::string strHost;     // as the user wrote it, for messages
    std::string strAddress;  // dotted IPv4
    unsigned short usPort = 0;
    std::string strUser;
    TQ_UTIL::CcipheString password;
    SConnectOptions options;
    SSshOptions ssh;
    TQ_UTIL::CcipheString passphrase;  // of ssh.strIdentity
    bool bHasPassword = true;          // false: there is only the key
};

// Entries of one directory, or of one tree, that are taken. A server that names more does not mean
// well, or should be asked for less at a time.
constexpr std::size_t kMaxEntries = 4'000'000;

enum class EEntryType { File, Directory, Link };

// One line of a listing. The texts are the server's and may hold any bytes.
struct SEntry {
    EEntryType eType = EEntryType::File;
    std::string strSize;                             // as the server wrote it, for people
    std::string strTime;                             //
    std::string strName;                             // in the local encoding
    std::optional<unsigned long long> ullSize = {};  // bytes; empty when the size is no number
    std::optional<std::int64_t> llModified =
        {};                           // seconds since 1970-01-01 UTC; empty when unknown
    unsigned int uTimePrecision = 1;  // seconds: how exact llModified is
};

// One file to move.
struct STransfer {
    std::string strRemote;  // UTF-8, begins with "/"
    std::string strLocal;   // in the local encoding
};

// Told how many bytes of a file have been moved and how many there are, 0 when that is not known.
// False cancels the transfer. Called from the thread that moves the file; must not throw.
using FProgress = std::function<bool(unsigned long long ullDone, unsigned long long ullTotal)>;

// A logged-in session with one account, whatever the protocol. Remote paths are UTF-8, begin with
// "/" and lie below the login directory. Every operation throws COperationError; the session can be
// used further after that. Destruction logs out and closes the connection.
class CSession {
public:
    CSession() = default;
    virtual ~CSession() = default;
    CSession(const CSession&) = delete;
    CSession& operator=(const CSession&) = delete;

    // Logs out and closes the connection. The only use of the session after that is its
    // destruction.
    virtual void Close() = 0;

    // The entries of a directory, in the server's order.
    virtual std::vector<SEntry> List(const std::string& strDir) = 0;

    // The entry of one path, links followed where the protocol can; empty when there is none.
    virtual std::optional<SEntry> Find(const std::string& strPath) = 0;

    // Moves one file. Retrieved: the local path is replaced when the file is complete, and is as it
    // was after a failure. Stored: after a failure the remote file may be short or missing, but is
    // as it was if the progress function was never called. What is there already is kept and added
    // to with bContinue, which needs CanContinue(). The progress function may be empty. A failure
    // that another attempt would meet again is marked as lasting.
    virtual void GetFile(const STransfer& transfer, bool bContinue, const FProgress& progress) = 0;
    virtual void PutFile(const STransfer& transfer, bool bContinue, const FProgress& progress) = 0;
    virtual bool CanContinue() const = 0;

    // Sets a remote file's time of modification. False when the protocol has no way to.
    virtual bool SetModified(const std::string& strPath, std::int64_t llModified) = 0;

    // Whether a stored file can be short although the server called it complete, so that its size
    // is worth a look.
    virtual bool PutNeedsCheck() const { return false; }

    // Whether a store that failed leaves the remote file as it was.
    virtual bool PutIsWhole() const { return false; }

    // Whether Find tells what a link leads to.
    virtual bool FindFollowsLinks() const { return true; }

    virtual void Remove(const std::string& strPath) = 0;

    // Makes missing levels above, too; a directory that exists already is no error.
    virtual void MakeDir(const std::string& strDir) = 0;

    // Removes the files directly inside, then the directory.
    virtual void RemoveDir(const std::string& strDir) = 0;

    // What there is to tell of a path that Find does not find, in the words of the protocol.
    virtual SFailure NotThere(const std::string& strOperation,
                              const std::string& strPath) const = 0;
};

}  // namespace qelftp

#endif
