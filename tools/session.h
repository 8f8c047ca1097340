#ifndef QEL_TOOLS_SESSION_H
#define QEL_TOOLS_SESSION_H

#include <string>
#include <vector>

#include "platform/cipher.h"

namespace qelftp {

// The three values of CFtpClient::setParam.
struct SConnectOptions {
    unsigned short usTimeout = 5;       // seconds
    unsigned short usRetries = 2;       // attempts after the first
    unsigned short usRetryTimeout = 2;  // seconds of each of these
};

// Everything it takes to log in.
struct SConnection {
    std::string strHost;     // as the user wrote it, for messages
    std::string strAddress;  // dotted IPv4
    unsigned short usPort = 0;
    std::string strUser;
    TQ_UTIL::CcipheString password;
    SConnectOptions options;
};

enum class EEntryType { File, Directory, Link };

// One line of a listing. The texts are the server's and may hold any bytes.
struct SEntry {
    EEntryType eType = EEntryType::File;
    std::string strSize;
    std::string strTime;
    std::string strName;  // in the local encoding
};

// One file to move.
struct STransfer {
    std::string strRemote;  // UTF-8, begins with "/"
    std::string strLocal;   // in the local encoding
};

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

    // Batches, in order, up to the first failure. The error names each file that failed.
    virtual void Get(const std::vector<STransfer>& batch) = 0;
    virtual void Put(const std::vector<STransfer>& batch) = 0;

    virtual void Remove(const std::string& strPath) = 0;

    // Makes missing levels above, too; a directory that exists already is no error.
    virtual void MakeDir(const std::string& strDir) = 0;

    // Removes the files directly inside, then the directory.
    virtual void RemoveDir(const std::string& strDir) = 0;

    // Whether the listing of the path's directory shows its name. A directory that is missing
    // itself means false; any other failure is thrown.
    virtual bool Exists(const std::string& strPath) = 0;
};

}  // namespace qelftp

#endif
