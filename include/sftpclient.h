#ifndef QEL_SFTPCLIENT_H
#define QEL_SFTPCLIENT_H

#include "platform/account.h"
#include "platform/sftpwrapper.h"

class ACE_DLL;

namespace RVN_FTP_CLIENT {

class SFTP_Session;

// One SFTP connection: what getSFTPSession set up and releaseSFTPConnection takes down. Made by the
// caller with plain new. Field order is part of the binary interface.
struct StSFTPConnectionInfo {
    PFN_SFTP_freeSession pfnFreeSession = nullptr;    // this and the other functions are the
    SFTP_Session_Wrp* pSession = nullptr;             // wrapper's: callable while it is open
    SFTP_Session* pSessionCB = nullptr;               // the record's; checks the host key
    PFN_SFTP_finiLibrary pfnFiniLibrary = nullptr;    //
    PFN_SFTP_getLastError pfnGetLastError = nullptr;  // for the caller; the library does not use it
    PFN_SFTP_getErrorDesc pfnGetErrorDesc = nullptr;  // as above
    ACE_DLL* pAceDLL = nullptr;                       // the record's; the open wrapper library
};

// SFTP sessions, set up and taken down. The wrapper library is opened at run time, the algorithms
// come from sftpAlgorithm.cfg, and connecting and moving files is done by the caller with the
// session's own operations (platform/sftpwrapper.h).
//
// Failures are a null result and a line in the host's log. Allocation failures are thrown; nothing
// else is. There is no shared state: calls for different records may run at the same time, a record
// belongs to one thread at a time.
class __attribute__((visibility("default"))) CSftpClient {
public:
    // The entry point. Fills the record and returns a session that knows the server, the user, the
    // host key to expect and the password or private key; null when it could not be set up. A
    // password or key that the session refused is only logged: connecting will fail.
    //
    // After a non-null result the record goes to releaseSFTPConnection. After null it must not: the
    // functions in it may point into an unloaded library. Delete it; if its pAceDLL is not null
    // (the configuration was unusable), delete that before. After an allocation failure it goes to
    // releaseSFTPConnection if its pSession is set, and is deleted as after null if not.
    static SFTP_Session_Wrp* getSFTPSession(StSFTPConnectionInfo* info,
                                            const TQ_UTIL::StFTPAccountInfo& account);

    // Closes and frees the session, finishes and unloads the wrapper library and deletes the
    // record, which must come from a successful getSFTPSession and not have been released. Null is
    // allowed. Always returns 0.
    static int releaseSFTPConnection(StSFTPConnectionInfo* info);

    // The first half of getSFTPSession: a session with its algorithms, which is not yet stored in
    // the record. Failures as above.
    static SFTP_Session_Wrp* getSFTPClientObject(StSFTPConnectionInfo* info);

    // Opens the wrapper library below the server path. The handle is the caller's: deleting it
    // closes the library. Null when it cannot be opened.
    static ACE_DLL* loadSftpDll();
};

}  // namespace RVN_FTP_CLIENT

#endif
