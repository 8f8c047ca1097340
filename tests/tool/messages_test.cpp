// What the program says when an operation failed.

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include "include/ftpresult.h"
#include "tools/failure.h"
#include "tools/ftpfailure.h"

using namespace qelftp;
using namespace RVN_FTP_CLIENT;

namespace {

struct SRow {
    const char* pszOperation;
    const char* pszSubject;
    unsigned int uCode;
    const char* pszExpected;
};

TEST(FtpFailure, NamesOperationPathMeaningAndNumberAndAdvisesWhereItCan) {
    for (const SRow& row : {
             SRow{"get", "/a/b.txt", FTP_NO_SUCH_FILE,
                  "get /a/b.txt: no such file or directory (0x3bb0000e)"},
             SRow{"put", "/a", FTP_PERMISSION_DENIED, "put /a: permission denied (0x3bb0000d)"},
             SRow{"login", "h:21", FTP_LOGIN_REFUSED,
                  "login h:21: login refused (0x3bb00007); check the user name and "
                  "QELFTP_PASSWORD"},
             SRow{"login", "h:21", FTP_REPLY_530,
                  "login h:21: not logged in (0x3bb0001a); check the user name and "
                  "QELFTP_PASSWORD"},
             SRow{"login", "h:21", FTP_CONNECT_FAILED,
                  "login h:21: connection could not be made (0x3bb00001); check host and port, "
                  "that a server runs there, and firewalls between"},
             SRow{"ls", "/", FTP_CONNECT_FAILED,
                  "ls /: connection could not be made (0x3bb00001); the data connection is meant: "
                  "check firewalls between, and the server's passive ports"},
             SRow{"get", "/x", FTP_BAD_PASV_REPLY,
                  "get /x: passive mode reply not understood (0x40070019); for data connections, "
                  "the server must announce the address it was reached at"},
             SRow{"ls", "/f", FTP_CWD_REFUSED,
                  "ls /f: directory change refused (0x3bb00009); check that it is a directory"},
             SRow{"put", "/d/f", FTP_CWD_REFUSED,
                  "put /d/f: directory change refused (0x3bb00009); check that the directory "
                  "exists (qelftp mkdir makes it)"},
             SRow{"rm", "/d", FTP_DELE_REFUSED,
                  "rm /d: file removal refused (0x3bb0000c); check that it is a file; qelftp rmdir "
                  "removes directories"},
             SRow{"rmdir", "/d", FTP_RMD_REFUSED,
                  "rmdir /d: directory removal refused (0x3bb0000b); check that it is a directory "
                  "without directories in it"},
             SRow{"close", "h:21", FTP_CLOSE_FAILED,
                  "close h:21: session could not be closed in order (0x3bb0001b); the connection "
                  "was lost; files moved last may be incomplete, and so may a listing"},
             SRow{"get", "/x", 0x12345678, "get /x: unknown result code (0x12345678)"},
             SRow{"get", "/x", 7, "get /x: unknown result code (0x00000007)"},
             SRow{"get", "/\x1b[2J", FTP_REPLY_450, "get /\\x1b[2J: file busy (0x3bb00012)"},
         }) {
        EXPECT_EQ(FailureText(FtpFailure(row.pszOperation, row.pszSubject, row.uCode)),
                  row.pszExpected);
    }
}

TEST(FtpFailure, TellsOfTheLimitOfRemotePaths) {
    const std::string strLongest = "/" + std::string(259, 'x');
    EXPECT_EQ(FtpFailure("rm", strLongest, FTP_NO_SUCH_FILE).strAdvice, "");
    EXPECT_EQ(FtpFailure("rm", strLongest + "x", FTP_NO_SUCH_FILE).strAdvice,
              "remote paths are limited to 260 bytes");
}

TEST(LocalFailure, NamesThePathAndTheSystemsReason) {
    EXPECT_EQ(FailureText(LocalFailure("put", "a b\x1b", ENOENT)),
              "put a b\\x1b: No such file or directory");
}

}  // namespace
