#ifndef QEL_PLATFORM_SFTPWRAPPER_H
#define QEL_PLATFORM_SFTPWRAPPER_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

// The SFTP wrapper library, libkavo_sftp_wrapper.so: opened at run time by every connection, never
// linked. This header is all that the library and the wrapper share.
//
// Ownership across the boundary: what one side allocates it also frees, with one exception. Blocks
// inside SFTP_String and SFTP_Vector come from kavo_sftp_malloc, which both sides bind to the same
// definition; such an object may be filled on one side and destroyed on the other. Directory
// listings are handed over entry by entry to a visitor, so that no list changes owner at all.
//
// Errors: no operation throws across the boundary. 0 is success; the codes are ESftpError.
//
// Threads: the entry points may be called from any thread at any time. One session is used by one
// thread at a time; different sessions are independent.
//
// Texts are zero-terminated; remote paths are UTF-8. C++11 suffices.

extern "C" {

// The wrapper's allocator, linked and not looked up. Stores a block of `size` bytes, aligned as
// malloc does, and returns 0; returns -1 when there is no memory, and then stores null.
int kavo_sftp_malloc(void** out, std::size_t size);

// Null is allowed.
void kavo_sftp_free(void* block);

}  // extern "C"

// What an operation returns and lastError() repeats. The library itself tells only 0 from the rest.
enum ESftpError {
    SFTP_OK = 0,
    SFTP_ERR_UNSUPPORTED = 1,    // this wrapper has no such operation
    SFTP_ERR_ARGUMENT = 2,       // null or empty where a value is needed, a call out of order
    SFTP_ERR_MEMORY = 3,         //
    SFTP_ERR_ALGORITHMS = 4,     // a configured list has no entry that the wrapper knows
    SFTP_ERR_CONNECT = 5,        // address, TCP connection, or no algorithm in common
    SFTP_ERR_HOST_KEY = 6,       // verifyHostKey refused the server's key; no secret was sent
    SFTP_ERR_AUTH = 7,           // the server refused every configured way to log in
    SFTP_ERR_PRIVATE_KEY = 8,    // key file unreadable, of unknown form, or wrong passphrase
    SFTP_ERR_NOT_CONNECTED = 9,  //
    SFTP_ERR_LOST = 10,          // the connection broke; only closeSession is of use
    SFTP_ERR_TIMEOUT = 11,       // the server fell silent; only closeSession is of use
    SFTP_ERR_NO_SUCH_PATH = 12,
    SFTP_ERR_PERMISSION = 13,
    SFTP_ERR_EXISTS = 14,
    SFTP_ERR_REMOTE = 15,      // any other refusal of the server
    SFTP_ERR_LOCAL_FILE = 16,  // the local file could not be opened, read or written
    SFTP_ERR_CANCELLED = 17    // a visitor or a progress callback said so
};

// A zero-terminated text on its way across the boundary. It may carry a password, so that the
// bytes are wiped before they are freed.
class SFTP_String {
public:
    SFTP_String() : m_pszText(nullptr) {}

    // Takes a copy. Null stays null; without memory the text is null, too.
    explicit SFTP_String(const char* pszText) : m_pszText(nullptr) { Assign(pszText); }

    SFTP_String(const SFTP_String& other) : m_pszText(nullptr) { Assign(other.m_pszText); }

    SFTP_String& operator=(const SFTP_String& other) {
        if (this != &other) {
            Wipe();
            Assign(other.m_pszText);
        }
        return *this;
    }

    ~SFTP_String() { Wipe(); }

    // May be null. Valid until the object is assigned to or destroyed.
    const char* c_str() const { return m_pszText; }

private:
    void Assign(const char* pszText) {
        if (pszText == nullptr) return;
        const std::size_t nSize = std::strlen(pszText) + 1;
        void* pBlock = nullptr;
        if (kavo_sftp_malloc(&pBlock, nSize) != 0 || pBlock == nullptr) return;
        m_pszText = static_cast<char*>(std::memcpy(pBlock, pszText, nSize));
    }

    void Wipe() {
        if (m_pszText == nullptr) return;
        // Through a volatile pointer: stores into memory that is freed next would be dropped.
        for (volatile char* pByte = m_pszText; *pByte != '\0'; ++pByte)
            *pByte = '\0';
        kavo_sftp_free(m_pszText);
        m_pszText = nullptr;
    }

    char* m_pszText;
};

// The wrapper's growable array. Plain fields, read by both sides; their order and the virtual
// table of two (destructor, deleting destructor) are part of the interface.
//
// An allocation failure is kept in `state`; the object can still be destroyed. Not copyable.
template <class T>
class SFTP_Vector {
    static_assert(std::is_trivially_copyable<T>::value, "elements are moved as bytes");

public:
    explicit SFTP_Vector(std::uint64_t uCapacity) : data(nullptr), capacity(0), size(0), state(0) {
        if (uCapacity == 0) return;
        void* pBlock = nullptr;
        const bool bAllocated = Allocate(uCapacity, &pBlock);
        data = static_cast<T*>(pBlock);  // after a failure as the allocator left it
        if (bAllocated) capacity = uCapacity;
    }

    virtual ~SFTP_Vector() {
        if (data != nullptr) kavo_sftp_free(data);
    }

    SFTP_Vector(const SFTP_Vector&) = delete;
    SFTP_Vector& operator=(const SFTP_Vector&) = delete;

    // Returns 0, or -1 when memory ran out, now or earlier. The elements so far stay.
    int append(T value) {
        if (state == kFailed) return -1;
        if (size >= capacity && !Grow()) return -1;
        data[size++] = value;
        return 0;
    }

    T* data;                 // null or `capacity` elements of kavo_sftp_malloc
    std::uint64_t capacity;  // elements
    std::uint64_t size;      // elements
    std::uint32_t state;     // all bits set after an allocation failure, else 0

private:
    enum : std::uint32_t { kFailed = 0xFFFFFFFFU };

    // A zeroed block, or false with `state` set.
    bool Allocate(std::uint64_t uElements, void** ppBlock) {
        const bool bFits = uElements <= SIZE_MAX / sizeof(T);
        const std::size_t nBytes = bFits ? static_cast<std::size_t>(uElements) * sizeof(T) : 0;
        if (!bFits || kavo_sftp_malloc(ppBlock, nBytes) == -1 || *ppBlock == nullptr) {
            state = kFailed;
            return false;
        }
        std::memset(*ppBlock, 0, nBytes);
        return true;
    }

    bool Grow() {
        const std::uint64_t uGrown = capacity * 2 + 2;
        void* pBlock = nullptr;
        if (!Allocate(uGrown, &pBlock)) return false;
        if (data != nullptr) {
            std::memcpy(pBlock, data, static_cast<std::size_t>(size) * sizeof(T));
            kavo_sftp_free(data);
        }
        data = static_cast<T*>(pBlock);
        capacity = uGrown;
        return true;
    }
};

// What the wrapper asks its user during a connection, from the thread that runs the session. The
// user owns the object, which outlives the session it is registered with. The order is part of the
// interface; the destructor takes the sixth and seventh entry. The stand-alone wrapper calls
// verifyHostKey only.
class SFTP_SessionCB {
public:
    virtual int firstCallback(const void* pFirst, const void* pSecond) = 0;
    virtual int secondCallback(const void* pFirst, const void* pSecond) = 0;
    virtual int thirdCallback(const void* pFirst, const void* pSecond) = 0;

    // Asked once per connect, after the key exchange and before any secret is sent. serverKey: type
    // and base64 blob as in a known_hosts file, "ssh-ed25519 AAAA...", without comment or line end.
    // The stand-alone wrapper passes the server's address and port first.
    // Returns 0 to go on, 2 to refuse, which ends the connect.
    virtual int verifyHostKey(const SFTP_String& host, unsigned int uPort,
                              const SFTP_String& serverKey) = 0;

    virtual void fifthCallback(const void* pFirst, const void* pSecond) = 0;

    virtual ~SFTP_SessionCB() = default;
};

// One file or directory, as the server describes it.
struct SFTP_FileInfo {
    const char* pszName;        // without its directory; valid during the call that shows it
    std::uint64_t ullSize;      // bytes
    std::int64_t llModified;    // seconds since 1970-01-01 UTC; 0 when the server gave none
    std::uint32_t uPermission;  // the low twelve bits of a Unix mode; 0 when the server gave none
    unsigned char ucType;       // ESftpFileType
};

enum ESftpFileType {
    SFTP_TYPE_FILE = 0,
    SFTP_TYPE_DIRECTORY = 1,
    SFTP_TYPE_LINK = 2,  // the link itself; its target is what stat() describes
    SFTP_TYPE_OTHER = 3  // device, pipe, socket, or not told
};

// Is shown a directory's entries one by one. The user's; used during the call only.
class SFTP_DirVisitor {
public:
    // False stops the listing, which then returns SFTP_ERR_CANCELLED. Must not throw.
    virtual bool entry(const SFTP_FileInfo& info) = 0;

protected:
    ~SFTP_DirVisitor() = default;
};

// Is told how far a transfer is. The user's; used during the call only.
class SFTP_Progress {
public:
    // ullDone: bytes of this file moved so far; ullTotal: its size at the start, 0 when unknown.
    // Called at least once a file, and at the end. False cancels the transfer. Must not throw.
    virtual bool moved(std::uint64_t ullDone, std::uint64_t ullTotal) = 0;

protected:
    ~SFTP_Progress() = default;
};

// Takes a file's bytes as they are read. The user's; used during the call only.
class SFTP_Sink {
public:
    // The next nSize bytes, at least one. False ends the reading, which then returns
    // SFTP_ERR_CANCELLED. Must not throw.
    virtual bool take(const void* pData, std::size_t nSize) = 0;

protected:
    ~SFTP_Sink() = default;
};

// Gives a file's bytes to be written. The user's; used during the call only.
class SFTP_Source {
public:
    // Stores the next bytes and their number, which is less than nRoom only at the end and 0 after
    // it. False ends the writing, which then returns SFTP_ERR_CANCELLED. Must not throw.
    virtual bool give(void* pBuffer, std::size_t nRoom, std::size_t* pSize) = 0;

    // ullDone: bytes of this call that the server has confirmed so far. False as above.
    virtual bool arrived(std::uint64_t ullDone) = 0;

protected:
    ~SFTP_Source() = default;
};

// How a remote file is opened; combined by |.
enum ESftpOpen {
    SFTP_OPEN_READ = 1,
    SFTP_OPEN_WRITE = 2,
    SFTP_OPEN_CREATE = 4,     // make it when it is missing
    SFTP_OPEN_TRUNCATE = 8,   // empty it when it exists
    SFTP_OPEN_EXCLUSIVE = 16  // with CREATE: fail when it exists
};

class SFTP_File;  // an open remote file; the session's

// One session: configured, connected, used, closed, then freed by SFTP_freeSession and never by
// delete. The library calls the operations without a default body here; the position in the
// virtual table, counted from 1, is the interface and stands beside each. All other operations are
// the stand-alone wrapper's; a wrapper that lacks one answers SFTP_ERR_UNSUPPORTED.
//
// Arguments are the caller's and are copied where they are needed later, secrets included, which
// the session wipes when it has logged in, and at the latest when it is freed.
class SFTP_Session_Wrp {
public:
    // 1. Server name or address, port, user. Nothing is sent before connect().
    virtual int setServerInfo(const SFTP_String& host, unsigned int uPort,
                              const SFTP_String& user) = 0;
    // 2. Identifiers of ways to log in, the preferred one first.
    virtual int setAuthTypeList(const SFTP_Vector<int>& list) = 0;
    virtual int reserved03() { return SFTP_ERR_UNSUPPORTED; }
    // 4. Path of a private key file; the format, always 1: OpenSSH or PEM; *pResult: the wrapper's
    // detail; the passphrase, empty when there is none. The stand-alone wrapper takes ED25519 and
    // ECDSA keys as well. An error code means that the key cannot be used.
    virtual int setRSAPrivateKey(const SFTP_String& keyFile, int nFormat, int* pResult,
                                 const SFTP_String& passphrase) = 0;
    // 5. Used for password authentication and to answer keyboard-interactive prompts.
    virtual int setPassword(const SFTP_String& password) = 0;
    // 6, 7. Identifiers, the preferred one first; for both directions.
    virtual int setCipherList(const SFTP_Vector<int>& list) = 0;
    virtual int setMacList(const SFTP_Vector<int>& list) = 0;
    // 8. One identifier.
    virtual int setCompression(unsigned int uCompression) = 0;
    // 9.
    virtual int setKeyExchangeList(const SFTP_Vector<int>& list) = 0;
    // 10. Stays the caller's and must outlive closeSession().
    virtual int setSessionCallback(SFTP_SessionCB* pCallback) = 0;

    // 11. Connects, has the host key verified, logs in and starts the SFTP subsystem. Blocks; see
    // setTimeout. After a failure the session may be connected again.
    virtual int connect() { return SFTP_ERR_UNSUPPORTED; }
    // 12. Ends the connection and closes its files; the settings stay, except wiped secrets.
    virtual int disconnect() { return SFTP_ERR_UNSUPPORTED; }
    // 13. Ends the connection if there is one; afterwards the session can only be freed.
    virtual int closeSession() = 0;

    // 14, 15. Of the last operation on this session that failed. The text is one line for people,
    // never null, never holds a secret, and is valid until the next operation.
    virtual int lastError() { return SFTP_ERR_UNSUPPORTED; }
    virtual const char* lastErrorText() { return ""; }

    // 16. Shows every entry but "." and "..", in the server's order.
    virtual int readDir(const SFTP_String& /*path*/, SFTP_DirVisitor& /*visitor*/) {
        return SFTP_ERR_UNSUPPORTED;
    }
    // 17. Follows links. info.pszName is null afterwards.
    virtual int stat(const SFTP_String& /*path*/, SFTP_FileInfo& /*info*/) {
        return SFTP_ERR_UNSUPPORTED;
    }
    // 18. One level; the mode is 0777 less the server's mask.
    virtual int makeDir(const SFTP_String& /*path*/) { return SFTP_ERR_UNSUPPORTED; }
    // 19. An empty directory.
    virtual int removeDir(const SFTP_String& /*path*/) { return SFTP_ERR_UNSUPPORTED; }
    // 20. A file or a link.
    virtual int remove(const SFTP_String& /*path*/) { return SFTP_ERR_UNSUPPORTED; }
    // 21. Fails when the target exists.
    virtual int rename(const SFTP_String& /*from*/, const SFTP_String& /*to*/) {
        return SFTP_ERR_UNSUPPORTED;
    }
    // 22. nOpen: of ESftpOpen. *ppFile is null after a failure; else closeFile it.
    virtual int openFile(const SFTP_String& /*path*/, int /*nOpen*/, SFTP_File** /*ppFile*/) {
        return SFTP_ERR_UNSUPPORTED;
    }
    // 23. Reads at an offset, up to nSize bytes; *pRead less than that only at the end of the file.
    virtual int readFile(SFTP_File* /*pFile*/, std::uint64_t /*ullOffset*/, void* /*pBuffer*/,
                         std::size_t /*nSize*/, std::size_t* /*pRead*/) {
        return SFTP_ERR_UNSUPPORTED;
    }
    // 24. Writes all nSize bytes at an offset; after a failure some may have been written.
    virtual int writeFile(SFTP_File* /*pFile*/, std::uint64_t /*ullOffset*/,
                          const void* /*pBuffer*/, std::size_t /*nSize*/) {
        return SFTP_ERR_UNSUPPORTED;
    }
    // 25. The handle is gone whatever the result, which tells whether all writes arrived.
    virtual int closeFile(SFTP_File* /*pFile*/) { return SFTP_ERR_UNSUPPORTED; }

    // 26. Retrieves a file. It grows as local path + ".part", which is renamed when complete and
    // removed after a failure: an existing local file is replaced whole or not at all. The
    // progress may be null. The local path is in the local encoding.
    virtual int getFile(const SFTP_String& /*remote*/, const SFTP_String& /*local*/,
                        SFTP_Progress* /*pProgress*/) {
        return SFTP_ERR_UNSUPPORTED;
    }
    // 27. Stores a file, creating or emptying the remote one once the local one is open. After a
    // failure what arrived stays.
    virtual int putFile(const SFTP_String& /*local*/, const SFTP_String& /*remote*/,
                        SFTP_Progress* /*pProgress*/) {
        return SFTP_ERR_UNSUPPORTED;
    }
    // 28. The absolute form of a path; "." gives the directory that relative paths start from.
    virtual int realPath(const SFTP_String& /*path*/, SFTP_String& /*absolute*/) {
        return SFTP_ERR_UNSUPPORTED;
    }
    // 29. Seconds that connecting and each answer may take; 0 restores the wrapper's default.
    virtual int setTimeout(unsigned int /*uSeconds*/) { return SFTP_ERR_UNSUPPORTED; }

    virtual int reserved30() { return SFTP_ERR_UNSUPPORTED; }
    // 31. Types of host keys as in known_hosts, separated by commas ("ssh-rsa,ssh-ed25519"): their
    // algorithms are moved to the front of the list of position 67, as far as it has them. For the
    // next connect(); an empty text ends the preference.
    virtual int preferHostKeys(const SFTP_String& /*types*/) { return SFTP_ERR_UNSUPPORTED; }
    // 32. Reads from an offset to the end, with many requests on their way, and gives the bytes in
    // their order: what the sink has got is always an unbroken piece of the file.
    virtual int readAll(SFTP_File* /*pFile*/, std::uint64_t /*ullOffset*/, SFTP_Sink& /*sink*/) {
        return SFTP_ERR_UNSUPPORTED;
    }
    // 33. Writes all that the source gives, from an offset on, with many requests on their way.
    // After a failure the remote file is cut behind the last byte that arrived without a gap, as
    // far as the server can still be told: it can be continued from its length.
    virtual int writeAll(SFTP_File* /*pFile*/, std::uint64_t /*ullOffset*/,
                         SFTP_Source& /*source*/) {
        return SFTP_ERR_UNSUPPORTED;
    }
    // 34. Sets the time of modification, seconds since 1970-01-01 UTC, and that of access with it.
    // The protocol has 32 bits for it: other times are SFTP_ERR_ARGUMENT.
    virtual int setModified(const SFTP_String& /*path*/, std::int64_t /*llModified*/) {
        return SFTP_ERR_UNSUPPORTED;
    }
    // 35. The low twelve bits of a Unix mode.
    virtual int setPermission(const SFTP_String& /*path*/, std::uint32_t /*uPermission*/) {
        return SFTP_ERR_UNSUPPORTED;
    }
    // 36. Renames a file over another, which it replaces in one step where the server has
    // posix-rename@openssh.com. Elsewhere an existing target is removed first: for a moment there
    // is none, and if the connection breaks just then only the source is left.
    virtual int replace(const SFTP_String& /*from*/, const SFTP_String& /*to*/) {
        return SFTP_ERR_UNSUPPORTED;
    }
    // 37. As stat(), of a link itself.
    virtual int statLink(const SFTP_String& /*path*/, SFTP_FileInfo& /*info*/) {
        return SFTP_ERR_UNSUPPORTED;
    }
    // 38. Seconds that reaching the server's port may take; 0, as at the start: as setTimeout says.
    virtual int setConnectTimeout(unsigned int /*uSeconds*/) { return SFTP_ERR_UNSUPPORTED; }

    virtual int reserved39() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved40() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved41() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved42() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved43() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved44() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved45() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved46() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved47() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved48() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved49() { return SFTP_ERR_UNSUPPORTED; }

    // 50. The library passes 15 once, after the server; the stand-alone wrapper has no option that
    // this would choose and takes it as given.
    virtual int setSessionOption(int nOption) = 0;

    virtual int reserved51() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved52() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved53() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved54() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved55() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved56() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved57() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved58() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved59() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved60() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved61() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved62() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved63() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved64() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved65() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved66() { return SFTP_ERR_UNSUPPORTED; }

    // 67. Identifiers of host key types, the preferred one first.
    virtual int setHostKeyList(const SFTP_Vector<int>& list) = 0;

protected:
    ~SFTP_Session_Wrp() = default;
};

// The wrapper's process-wide settings; the wrapper's own object, never freed by its users.
class SFTP_GlobalCTX {
public:
    virtual int reserved01() { return SFTP_ERR_UNSUPPORTED; }
    virtual int reserved02() { return SFTP_ERR_UNSUPPORTED; }
    // 3. The library passes 15 before it makes a session. Called from several threads at once.
    virtual int setGlobalOption(int nOption) = 0;

protected:
    ~SFTP_GlobalCTX() = default;
};

extern "C" {

// The entry points, looked up by these names without the leading "PFN_".

// Every connection calls it once and SFTP_finiLibrary once at its end, also while others are open:
// the wrapper counts. Returns -1 when the wrapper cannot be used.
typedef int (*PFN_SFTP_initLibrary)();
typedef void (*PFN_SFTP_finiLibrary)();

// Frees a session, closed or not, and wipes its secrets. Null is allowed.
typedef void (*PFN_SFTP_freeSession)(SFTP_Session_Wrp* pSession);

// lastError() and lastErrorText() of a session.
typedef int (*PFN_SFTP_getLastError)(SFTP_Session_Wrp* pSession);
typedef const char* (*PFN_SFTP_getErrorDesc)(SFTP_Session_Wrp* pSession);

// Never null.
typedef SFTP_GlobalCTX* (*PFN_SFTP_getGlobalCTX)();

// A session without settings, or null.
typedef SFTP_Session_Wrp* (*PFN_SFTP_getNewSession)();

}  // extern "C"

#endif
