// Prints the layout of everything that crosses a library boundary: sizes and offsets of records,
// positions in virtual tables, numbers of enumerators. What it prints is compared with a committed
// text; see CMakeLists.txt.
//
// Virtual tables are those of the Itanium C++ ABI (section 2.3, member pointers; 2.5.3).

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <type_traits>

#include "include/ftpclient.h"
#include "include/ftpresult.h"
#include "include/sftpclient.h"
#include "platform/logging.h"

namespace {

// Position in the virtual table, counted from 1; 0 for an operation that is not virtual.
template <class TOperation>
std::size_t Position(TOperation operation) {
    std::uintptr_t words[2] = {};
    static_assert(sizeof(operation) == sizeof(words), "a function address and an adjustment");
    std::memcpy(words, &operation, sizeof(words));
#if defined(__aarch64__)
    return words[1] % 2 == 1 ? words[0] / sizeof(void*) + 1 : 0;
#else
    return words[0] % 2 == 1 ? (words[0] - 1) / sizeof(void*) + 1 : 0;
#endif
}

// Entries of an interface's virtual table: where the first operation of a derived class comes.
template <class TInterface>
struct SDerived : TInterface {
    using TInterface::TInterface;
    virtual void Next() {}
};

template <class TInterface>
void Table(const char* pszName) {
    std::printf("table %s: %zu entries, destructor %s\n", pszName,
                Position(&SDerived<TInterface>::Next) - 1,
                std::has_virtual_destructor<TInterface>::value ? "virtual" : "not virtual");
}

template <class TRecord>
void Record(const char* pszName) {
    std::printf("record %s: size %zu, aligned to %zu\n", pszName, sizeof(TRecord),
                alignof(TRecord));
}

// offsetof is not promised for these records; the addresses of a real one are.
template <class TRecord, class TField>
void Field(const TRecord& record, const char* pszName, const TField& field) {
    const auto uOffset =
        reinterpret_cast<std::uintptr_t>(&field) - reinterpret_cast<std::uintptr_t>(&record);
    std::printf("    %4zu %s, size %zu\n", static_cast<std::size_t>(uOffset), pszName,
                sizeof(TField));
}

#define FIELD(record, name) Field(record, #name, record.name)
#define OPERATION(type, name) std::printf("    %3zu %s\n", Position(&type::name), #name)
#define OVERLOAD(type, name, result, ...)                                                 \
    std::printf("    %3zu %s(%s)\n",                                                      \
                Position(static_cast<result (type::*)(__VA_ARGS__)>(&type::name)), #name, \
                #__VA_ARGS__)
#define NUMBER(name) std::printf("    0x%08x %s\n", static_cast<unsigned int>(name), #name)

using namespace RVN_FTP_CLIENT;

void PrintFtpRecords() {
    const FTPConnInfo connection{};
    Record<FTPConnInfo>("FTPConnInfo");
    FIELD(connection, strHostIP);
    FIELD(connection, usPort);
    FIELD(connection, strUser);
    FIELD(connection, strPassword);

    const Ftp_File_Pair pair{};
    Record<Ftp_File_Pair>("Ftp_File_Pair");
    FIELD(pair, strSrcFile);
    FIELD(pair, strDstFile);

    const TkFileInfo entry{};
    Record<TkFileInfo>("TkFileInfo");
    FIELD(entry, strFileName);
    FIELD(entry, strModifyTime);
    FIELD(entry, strFileSize);
    FIELD(entry, ucFileType);

    const FtpTransferOptions options{};
    Record<FtpTransferOptions>("FtpTransferOptions");
    FIELD(options, uBlockSize);
    FIELD(options, bVerify);
    FIELD(options, bAnyDataAddress);
    FIELD(options, ullMaxListing);
    FIELD(options, progress);
}

void PrintFtpClient() {
    Record<CFtpClient>("CFtpClient");
    Table<CFtpClient>("CFtpClient");
    OPERATION(CFtpClient, setParam);
    OPERATION(CFtpClient, Login);
    OPERATION(CFtpClient, Close);
    OPERATION(CFtpClient, ChangeDir);
    OPERATION(CFtpClient, ListFile);
    OVERLOAD(CFtpClient, checkOneFileExist, unsigned int, const std::string&, const std::string&);
    OVERLOAD(CFtpClient, checkOneFileExist, unsigned int, const std::string&);
    OPERATION(CFtpClient, GetOneFile);
    OPERATION(CFtpClient, PutOneFileToFile);
    OPERATION(CFtpClient, PutOneFileToPath);
    OPERATION(CFtpClient, GetFile);
    OPERATION(CFtpClient, PutFile);
    OPERATION(CFtpClient, RemoveFile);
    OPERATION(CFtpClient, MakeDir);
    OPERATION(CFtpClient, RemoveDir);
    OPERATION(CFtpClient, getFTPConnInfo);
    OPERATION(CFtpClient, setTransferOptions);
}

void PrintFtpResults() {
    std::printf("enum FtpResult: size %zu\n", sizeof(FtpResult));
    NUMBER(FTP_OK);
    NUMBER(FTP_CONNECT_FAILED);
    NUMBER(FTP_SEND_FAILED);
    NUMBER(FTP_NO_REPLY);
    NUMBER(FTP_LOCAL_OPEN_FAILED);
    NUMBER(FTP_LOCAL_CREATE_FAILED);
    NUMBER(FTP_LOGIN_REFUSED);
    NUMBER(FTP_CWD_REFUSED);
    NUMBER(FTP_MKD_REFUSED);
    NUMBER(FTP_RMD_REFUSED);
    NUMBER(FTP_DELE_REFUSED);
    NUMBER(FTP_PERMISSION_DENIED);
    NUMBER(FTP_NO_SUCH_FILE);
    NUMBER(FTP_REPLY_421);
    NUMBER(FTP_REPLY_425);
    NUMBER(FTP_REPLY_426);
    NUMBER(FTP_REPLY_450);
    NUMBER(FTP_REPLY_451);
    NUMBER(FTP_REPLY_452);
    NUMBER(FTP_REPLY_501);
    NUMBER(FTP_ALREADY_EXISTS);
    NUMBER(FTP_REPLY_553);
    NUMBER(FTP_REPLY_552);
    NUMBER(FTP_REPLY_550);
    NUMBER(FTP_REPLY_530);
    NUMBER(FTP_CLOSE_FAILED);
    NUMBER(FTP_SERVER_SHUTDOWN);
    NUMBER(FTP_DATA_BROKEN);
    NUMBER(FTP_LOCAL_IO_FAILED);
    NUMBER(FTP_CANCELLED);
    NUMBER(FTP_LISTING_TOO_LONG);
    NUMBER(FTP_OUT_OF_STEP);
    NUMBER(FTP_BAD_PASV_REPLY);
    NUMBER(FTP_UNKNOWN_REPLY);
}

void PrintSftpRecords() {
    const TQ_UTIL::StFTPAccountInfo account{};
    Record<TQ_UTIL::StFTPAccountInfo>("TQ_UTIL::StFTPAccountInfo");
    FIELD(account, strHost);
    FIELD(account, strUserName);
    FIELD(account, cipherPassword);
    FIELD(account, strAuthType);
    FIELD(account, cipherPassphrase);
    FIELD(account, strPrivateKeyFile);
    FIELD(account, nPort);
    FIELD(account, strCheckHostKey);
    FIELD(account, strHostKeyFormat);
    FIELD(account, strHostKey);

    const StSFTPConnectionInfo connection{};
    Record<StSFTPConnectionInfo>("StSFTPConnectionInfo");
    FIELD(connection, pfnFreeSession);
    FIELD(connection, pSession);
    FIELD(connection, pSessionCB);
    FIELD(connection, pfnFiniLibrary);
    FIELD(connection, pfnGetLastError);
    FIELD(connection, pfnGetErrorDesc);
    FIELD(connection, pAceDLL);

    const SFTP_Vector<int> list(0);
    Record<SFTP_Vector<int>>("SFTP_Vector<int>");
    FIELD(list, data);
    FIELD(list, capacity);
    FIELD(list, size);
    FIELD(list, state);

    const SFTP_FileInfo info{};
    Record<SFTP_FileInfo>("SFTP_FileInfo");
    FIELD(info, pszName);
    FIELD(info, ullSize);
    FIELD(info, llModified);
    FIELD(info, uPermission);
    FIELD(info, ucType);

    Record<SFTP_String>("SFTP_String");
    Record<TQ_UTIL::CcipheString>("TQ_UTIL::CcipheString");
    Record<TQ_UTIL::WBAutoPassword>("TQ_UTIL::WBAutoPassword");
    Record<LocationInfo>("LocationInfo");
    Record<_TraceFunction>("_TraceFunction");
}

void PrintSession() {
    Table<SFTP_Session_Wrp>("SFTP_Session_Wrp");
    OPERATION(SFTP_Session_Wrp, setServerInfo);
    OPERATION(SFTP_Session_Wrp, setAuthTypeList);
    OPERATION(SFTP_Session_Wrp, setRSAPrivateKey);
    OPERATION(SFTP_Session_Wrp, setPassword);
    OPERATION(SFTP_Session_Wrp, setCipherList);
    OPERATION(SFTP_Session_Wrp, setMacList);
    OPERATION(SFTP_Session_Wrp, setCompression);
    OPERATION(SFTP_Session_Wrp, setKeyExchangeList);
    OPERATION(SFTP_Session_Wrp, setSessionCallback);
    OPERATION(SFTP_Session_Wrp, connect);
    OPERATION(SFTP_Session_Wrp, disconnect);
    OPERATION(SFTP_Session_Wrp, closeSession);
    OPERATION(SFTP_Session_Wrp, lastError);
    OPERATION(SFTP_Session_Wrp, lastErrorText);
    OPERATION(SFTP_Session_Wrp, readDir);
    OPERATION(SFTP_Session_Wrp, stat);
    OPERATION(SFTP_Session_Wrp, makeDir);
    OPERATION(SFTP_Session_Wrp, removeDir);
    OPERATION(SFTP_Session_Wrp, remove);
    OPERATION(SFTP_Session_Wrp, rename);
    OPERATION(SFTP_Session_Wrp, openFile);
    OPERATION(SFTP_Session_Wrp, readFile);
    OPERATION(SFTP_Session_Wrp, writeFile);
    OPERATION(SFTP_Session_Wrp, closeFile);
    OPERATION(SFTP_Session_Wrp, getFile);
    OPERATION(SFTP_Session_Wrp, putFile);
    OPERATION(SFTP_Session_Wrp, realPath);
    OPERATION(SFTP_Session_Wrp, setTimeout);
    OPERATION(SFTP_Session_Wrp, setSessionOption);
    OPERATION(SFTP_Session_Wrp, setHostKeyList);
}

void PrintOtherTables() {
    Table<SFTP_GlobalCTX>("SFTP_GlobalCTX");
    OPERATION(SFTP_GlobalCTX, setGlobalOption);

    Table<SFTP_SessionCB>("SFTP_SessionCB");
    OPERATION(SFTP_SessionCB, firstCallback);
    OPERATION(SFTP_SessionCB, secondCallback);
    OPERATION(SFTP_SessionCB, thirdCallback);
    OPERATION(SFTP_SessionCB, verifyHostKey);
    OPERATION(SFTP_SessionCB, fifthCallback);

    Table<SFTP_DirVisitor>("SFTP_DirVisitor");
    OPERATION(SFTP_DirVisitor, entry);
    Table<SFTP_Progress>("SFTP_Progress");
    OPERATION(SFTP_Progress, moved);
    Table<SFTP_Vector<int>>("SFTP_Vector<int>");

    Table<TQ_UTIL::ISovAdapter>("TQ_UTIL::ISovAdapter");
    OPERATION(TQ_UTIL::ISovAdapter, Decipher);

    Table<TQ_UTIL::WBAutoPassword>("TQ_UTIL::WBAutoPassword");
    OPERATION(AutoPassword, GetPassword);
    OPERATION(AutoPassword, GetLength);
    OVERLOAD(AutoPassword, SetPassword, unsigned int, const char*);
    OVERLOAD(AutoPassword, SetPassword, unsigned int, const char*, unsigned int);
}

void PrintSftpNumbers() {
    std::printf("enum ESftpError: size %zu\n", sizeof(ESftpError));
    NUMBER(SFTP_OK);
    NUMBER(SFTP_ERR_UNSUPPORTED);
    NUMBER(SFTP_ERR_ARGUMENT);
    NUMBER(SFTP_ERR_MEMORY);
    NUMBER(SFTP_ERR_ALGORITHMS);
    NUMBER(SFTP_ERR_CONNECT);
    NUMBER(SFTP_ERR_HOST_KEY);
    NUMBER(SFTP_ERR_AUTH);
    NUMBER(SFTP_ERR_PRIVATE_KEY);
    NUMBER(SFTP_ERR_NOT_CONNECTED);
    NUMBER(SFTP_ERR_LOST);
    NUMBER(SFTP_ERR_TIMEOUT);
    NUMBER(SFTP_ERR_NO_SUCH_PATH);
    NUMBER(SFTP_ERR_PERMISSION);
    NUMBER(SFTP_ERR_EXISTS);
    NUMBER(SFTP_ERR_REMOTE);
    NUMBER(SFTP_ERR_LOCAL_FILE);
    NUMBER(SFTP_ERR_CANCELLED);
    std::printf("enum ESftpFileType\n");
    NUMBER(SFTP_TYPE_FILE);
    NUMBER(SFTP_TYPE_DIRECTORY);
    NUMBER(SFTP_TYPE_LINK);
    NUMBER(SFTP_TYPE_OTHER);
    std::printf("enum ESftpOpen\n");
    NUMBER(SFTP_OPEN_READ);
    NUMBER(SFTP_OPEN_WRITE);
    NUMBER(SFTP_OPEN_CREATE);
    NUMBER(SFTP_OPEN_TRUNCATE);
    NUMBER(SFTP_OPEN_EXCLUSIVE);
}

}  // namespace

int main() {
    PrintFtpRecords();
    PrintFtpClient();
    PrintFtpResults();
    PrintSftpRecords();
    PrintSession();
    PrintOtherTables();
    PrintSftpNumbers();
    return 0;
}
