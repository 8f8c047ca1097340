#ifndef QEL_FTPCLIENT_H
#define QEL_FTPCLIENT_H

#include <functional>
#include <string>
#include <vector>

#include "platform/cipher.h"

namespace RVN_FTP_CLIENT {

class CFtpClientImpl;

// The parameters of one connection.
struct FTPConnInfo {
    std::string strHostIP;              // server; dotted IPv4, see CFtpClient
    unsigned short usPort = 0;          // control port
    std::string strUser;                // user name
    TQ_UTIL::CcipheString strPassword;  // made plain only while PASS is sent
};

// One file of a batch. Source and destination, not local and remote: which of the two is remote
// depends on the direction.
struct Ftp_File_Pair {
    std::string strSrcFile;  // GetFile: remote path; PutFile: local path
    std::string strDstFile;  // GetFile: local path; PutFile: remote path
};

// One entry of a directory listing.
struct TkFileInfo {
    std::string strFileName;       // a link's own name, without its target
    std::string strModifyTime;     // "2019-03-03" or "2019-03-03 12:30"; of a DOS-style listing the
                                   // server's own columns
    std::string strFileSize;       // as the server wrote it; "0" for a directory of a DOS listing
    unsigned char ucFileType = 0;  // 0 file, 1 directory, 2 symbolic link
};

// What a session may do beyond the classic behaviour; see CFtpClient::setTransferOptions. The
// defaults are the classic behaviour.
struct FtpTransferOptions {
    // Bytes of one receive or send on the data connection, 1024 to 1048576; others are clamped.
    unsigned int uBlockSize = 1024;

    // A transfer that did not demonstrably finish is an error. A retrieve grows as local path +
    // ".part", which replaces the target when complete and is removed after a failure; a store
    // opens the local file before the server hears of it. A session that is out of step sends
    // nothing more.
    bool bVerify = false;

    // Follow a server that announces an address other than its own: the port counts, the connection
    // goes to the control connection's host all the same, so that a server can send the client
    // nowhere else.
    bool bAnyDataAddress = false;

    // The longest listing taken, in bytes of its text; 0: no limit.
    unsigned long long ullMaxListing = 0;

    // Called with the bytes of the current file moved so far, at least once a file that the server
    // did not refuse, in the thread that called the operation. False cancels the transfer and, in a
    // batch, what follows it. Must not throw and must not use the session.
    std::function<bool(unsigned long long)> progress;
};

// An FTP session with one server account (RFC 959, passive mode, TYPE I).
//
// Lifecycle: construct, setParam if wanted, Login, operations, Close, destroy. Destruction sends
// nothing and closes no socket; call Close first.
//
// Every operation but setParam and getFTPConnInfo blocks until it is done and returns a result code
// of ftpresult.h, 0 for success. After a failed operation the session stays open and Close is still
// due. Allocation failures are thrown; nothing else is.
//
// Remote paths are relative to the session root, the directory the server reported at login: "a/b"
// and "/a/b" both name what lies below it. They are UTF-8 and limited to 260 bytes after joining.
// Local paths are in the local encoding.
//
// The host must be the dotted IPv4 address that the server also announces for data connections.
//
// One object is used by one thread at a time; different objects are independent. The first object
// makes the process ignore SIGPIPE, for good.
class __attribute__((visibility("default"))) CFtpClient {
public:
    // Takes copies of all four; nothing is sent yet.
    CFtpClient(const std::string& host, unsigned short port, const std::string& user,
               const TQ_UTIL::CcipheString& password);
    CFtpClient(FTPConnInfo& info);

    virtual ~CFtpClient();

    CFtpClient(const CFtpClient&) = delete;
    CFtpClient& operator=(const CFtpClient&) = delete;

    // The order of the virtual operations is part of the binary interface.

    // connTimeout: seconds of the first connect attempt and of the first wait for a reply;
    // retryTimes: further attempts, 0 for none; retryTimeout: seconds of each of these.
    // Not checked; without this call 5, 2, 2.
    virtual void setParam(unsigned short connTimeout, unsigned short retryTimes,
                          unsigned short retryTimeout);

    // Connects, logs in and takes the directory that the server reports as the session root.
    virtual unsigned int Login();

    // Sends QUIT and closes the sockets, the latter also when the former fails.
    virtual unsigned int Close();

    // CWD below the root. Other operations do not depend on it.
    virtual unsigned int ChangeDir(const std::string& dir);

    // Appends the entries of a directory. The vector and the entries, made with new, are the
    // caller's to delete. Left out: "." and "..", entries that nobody may read or write, lines of
    // unknown form. A listing that breaks off gives what came, with result 0.
    virtual unsigned int ListFile(const std::string& dir, std::vector<TkFileInfo*>& files);

    // 0 when the directory's listing shows exactly this name; FTP_NO_SUCH_FILE otherwise, whatever
    // the reason. A path needs a "/" in front of a name in the root itself.
    virtual unsigned int checkOneFileExist(const std::string& dir, const std::string& name);
    virtual unsigned int checkOneFileExist(const std::string& path);

    // Retrieves one file. The flag has no effect. The local file is created or overwritten; a
    // transfer that breaks off leaves what came, with result 0.
    virtual unsigned int GetOneFile(const std::string& remote, const std::string& local, bool flag);

    // Stores one file under a remote name, or under its own name in a remote directory. The server
    // creates the file before the local one is opened: a missing local file leaves an empty one.
    virtual unsigned int PutOneFileToFile(const std::string& local, const std::string& remoteFile);
    virtual unsigned int PutOneFileToPath(const std::string& local, const std::string& remoteDir);

    // Batches, in vector order, up to the first failure. Files already moved stay.
    // The flag has no effect.
    virtual unsigned int GetFile(std::vector<Ftp_File_Pair>& files, bool flag);
    virtual unsigned int PutFile(std::vector<Ftp_File_Pair>& files);

    virtual unsigned int RemoveFile(const std::string& path);

    // Creates a directory and the levels above it that are missing. 0 when all exist already.
    virtual unsigned int MakeDir(const std::string& dir);

    // Deletes the files directly inside, then the directory. With a subdirectory in it the
    // directory stays, its files gone, and the server's refusal is the result.
    virtual unsigned int RemoveDir(const std::string& dir);

    virtual void getFTPConnInfo(FTPConnInfo& info);

    // Takes a copy, for all operations from now on. Any time between two operations.
    void setTransferOptions(const FtpTransferOptions& options);

private:
    CFtpClientImpl* m_pImpl;
};

}  // namespace RVN_FTP_CLIENT

#endif
