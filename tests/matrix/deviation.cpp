#include "tests/matrix/deviation.h"

namespace MatrixTest {
namespace {

constexpr const char* kAlike = "as without bVerify";

}  // namespace

const char* SDeviation::Given(bool bVerified) const {
    return bVerified && pszVerified != kAlike ? pszVerified : pszClassic;
}

const std::vector<SNote>& Notes() {
    static const std::vector<SNote> notes = {
        {"own-words",
         "vsftpd gives no reason with a refusal: \"550 Failed to open file.\", \"550 Delete "
         "operation failed.\". The library tells a missing name from a forbidden one by the "
         "server's words; without them it returns what the code alone says, that the file is "
         "unavailable or that the change, creation or removal was refused. Nothing is changed "
         "on either side."},
        {"553",
         "The server refuses a store with 553 and gives the reason in words (\"Permission "
         "denied\", \"Is a directory\"). The library looks at the words of 501 and 550 only, "
         "so that the result is what 553 means by itself, file name not allowed. The others "
         "answer 550."},
        {"dot",
         "The server's listings leave out names that begin with a dot, which it is told by its "
         "configuration to do or not (vsftpd: force_dot_files, proftpd: ListOptions, "
         "pure-ftpd: --displaydotfiles). RemoveDir and rmdir remove the files that are listed; "
         "with another one left the directory stays, and the server's refusal is the result."},
        {"utf8",
         "The server does not know OPTS UTF8 ON (pure-ftpd answers 504, pyftpdlib and "
         "inetutils-ftpd 501, aioftp 502). Names in listings are then left as they come "
         "instead of being converted from UTF-8 to the local encoding, which in a UTF-8 locale "
         "is the same: all names of this table arrive. qelftp check makes a note of it."},
        {"dos-types",
         "A DOS listing tells files from directories and has no permissions: a link is listed "
         "as a file, here with the size of the link (proftpd) or of what it leads to "
         "(pyftpdlib), and files that nobody may read are listed with the others."},
        {"dos-date", "Times of a DOS listing are handed on as the server wrote them."},
        {"dos-noon",
         "proftpd's DOS style writes five past one in the afternoon as \"01:05\", without AM "
         "or PM. The library hands this on as it is, and qelftp has to take it for the early "
         "morning: a file that was sent after noon looks older than the local one, and put -r "
         "and mirror send it again each time. Nothing is lost by that."},
        {"rest",
         "After a listing that the client breaks off, here because it got longer than "
         "ullMaxListing, proftpd and pure-ftpd send what they had still in their buffers in "
         "front of the next listing of the same session: entries of the earlier listing, the "
         "last of them run together with the first of the new one. proftpd sometimes breaks "
         "the next listing off as well (426), which only bVerify tells. After "
         "FTP_LISTING_TOO_LONG a new session is due with both. If the server had sent all of "
         "the first listing before the client ended the connection, the second one is as it "
         "should be."},
        {"abort",
         "A transfer that the client breaks off, here because it got longer than ullMaxListing "
         "or was cancelled, ends the whole session without a reply (inetutils-ftpd: listings; "
         "aioftp: all). The operation itself returns what it should; the next one gets no "
         "usable reply and Close fails, after which a new session is due. If the server had "
         "sent all of a listing before the client ended the connection, the session goes on."},
        {"dele",
         "DELE removes empty directories, too: RemoveFile and rm succeed with one, and so "
         "RemoveDir and rmdir succeed with a directory that has empty directories in it."},
        {"exists",
         "aioftp says of a missing name \"550 path does not exists\". The word \"exists\" "
         "makes this FTP_ALREADY_EXISTS: it stands in what servers say when a name is there "
         "already. checkOneFileExist, and qelftp's exists, are right all the same, since they "
         "look at the listing."},
        {"any451",
         "Whatever the operating system refuses is 451 with aioftp, which is FTP_REPLY_451, "
         "local error at the server."},
        {"late",
         "aioftp says that the transfer begins, 150, before it opens the file, and 451 when it "
         "cannot be opened. Classically the code of the closing reply does not count: "
         "GetOneFile gives success with an empty local file, PutOneFileToFile success without "
         "a file on the server. With bVerify, as in qelftp, it is a failure: for a store the "
         "code of that reply; for a retrieve, whose data connection aioftp leaves open, "
         "FTP_DATA_BROKEN after 5 s of silence. If the two replies arrive together, the transfer "
         "is refused at once, with and without bVerify."},
        {"links", "aioftp lists a link as what it leads to."},
        {"status", "The same status number in other words, which are shown as they come."},
        {"lstat",
         "mod_sftp follows a link also when it is asked for the link itself (SSH_FXP_LSTAT): "
         "statLink describes the file behind it."},
    };
    return notes;
}

const std::vector<SDeviation>& Deviations() {
    static const std::vector<SDeviation> deviations = {
        {"vsftpd", "GetOneFile, missing file",
         "file unavailable (0x3bb00019); the old local file: whole; got", kAlike, "own-words"},
        {"vsftpd", "GetOneFile, file that the server may not read",
         "file unavailable (0x3bb00019); the old local file: whole; got", kAlike, "own-words"},
        {"vsftpd", "PutOneFileToFile, into a directory that the server may not write",
         "file name not allowed (0x3bb00017); missing", kAlike, "553"},
        {"vsftpd", "PutOneFileToFile, over a directory",
         "file name not allowed (0x3bb00017); no file", kAlike, "553"},
        {"vsftpd", "GetFile, batch with a missing file", "file unavailable (0x3bb00019); local: a",
         kAlike, "own-words"},
        {"vsftpd", "ChangeDir, missing directory", "directory change refused (0x3bb00009)", nullptr,
         "own-words"},
        {"vsftpd", "MakeDir, name of a file",
         "directory creation refused (0x3bb0000a); there: file", nullptr, "own-words"},
        {"vsftpd", "MakeDir, where the server may not write",
         "directory creation refused (0x3bb0000a); there: locked/, locked/file", nullptr,
         "own-words"},
        {"vsftpd", "RemoveDir, with a file whose name begins with a dot",
         "directory removal refused (0x3bb0000b); left: sub/, sub/.hidden", nullptr, "dot"},
        {"vsftpd", "RemoveDir, missing directory",
         "directory change refused (0x3bb00009); left: nothing", nullptr, "own-words"},
        {"vsftpd", "RemoveDir, where the server may not write",
         "directory removal refused (0x3bb0000b); left: locked/, locked/sub/", nullptr,
         "own-words"},
        {"vsftpd", "ListFile, missing directory", "directory change refused (0x3bb00009); nothing",
         kAlike, "own-words"},
        {"vsftpd", "ListFile, a name that begins with a dot", "success; nothing", nullptr, "dot"},
        {"vsftpd", "GetOneFile, missing directory",
         "directory change refused (0x3bb00009); the old local file: whole; got", kAlike,
         "own-words"},
        {"vsftpd", "PutOneFileToFile, into a missing directory",
         "directory change refused (0x3bb00009); missing", kAlike, "own-words"},
        {"vsftpd", "RemoveFile, missing file", "file removal refused (0x3bb0000c); left: nothing",
         nullptr, "own-words"},
        {"vsftpd", "RemoveFile, where the server may not write",
         "file removal refused (0x3bb0000c); left: locked/, locked/file", nullptr, "own-words"},
        {"vsftpd", "ls, missing directory",
         "exit 1: qelftp: ls /missing: directory change refused (0x3bb00009); check that it is a "
         "directory",
         nullptr, "own-words"},
        {"vsftpd", "get, missing file",
         "exit 1: qelftp: get /missing: file unavailable (0x3bb00019); the old local file: whole; "
         "got",
         nullptr, "own-words"},
        {"vsftpd", "get, file that the server may not read",
         "exit 1: qelftp: get /secret: file unavailable (0x3bb00019); the old local file: whole; "
         "got",
         nullptr, "own-words"},
        {"vsftpd", "get, a missing file among others",
         "exit 1: qelftp: get /b: file unavailable (0x3bb00019) | qelftp: 2 of 3 files, 1 failed; "
         "a, c",
         nullptr, "own-words"},
        {"vsftpd", "put, into a missing directory",
         "exit 1: qelftp: put /missing/file: directory change refused (0x3bb00009); check that the "
         "directory exists (qelftp mkdir makes it); missing",
         nullptr, "own-words"},
        {"vsftpd", "put, into a directory that the server may not write",
         "exit 1: qelftp: put /locked/new: file name not allowed (0x3bb00017); missing", nullptr,
         "553"},
        {"vsftpd", "rm, missing file",
         "exit 1: qelftp: rm /missing: file removal refused (0x3bb0000c); check that it is a file; "
         "qelftp rmdir removes directories; left: nothing",
         nullptr, "own-words"},
        {"vsftpd", "rm, where the server may not write",
         "exit 1: qelftp: rm /locked/file: file removal refused (0x3bb0000c); check that it is a "
         "file; qelftp rmdir removes directories; left: locked/, locked/file",
         nullptr, "own-words"},
        {"vsftpd", "mkdir, where the server may not write",
         "exit 1: qelftp: mkdir /locked/new: directory creation refused (0x3bb0000a); left: "
         "locked/, locked/file",
         nullptr, "own-words"},
        {"vsftpd", "mkdir, name of a file",
         "exit 1: qelftp: mkdir /file: directory creation refused (0x3bb0000a); left: file",
         nullptr, "own-words"},
        {"vsftpd", "rmdir, missing directory",
         "exit 1: qelftp: rmdir /missing: directory change refused (0x3bb00009); check that the "
         "directory exists (qelftp mkdir makes it); left: nothing",
         nullptr, "own-words"},
        {"proftpd", "RemoveDir, with a file whose name begins with a dot",
         "directory removal refused (0x3bb0000b); left: sub/, sub/.hidden", nullptr, "dot"},
        {"proftpd", "ListFile, longer than ullMaxListing; the session goes on",
         "listing too long (0x3bb00023); success, other entries\n"
         "listing too long (0x3bb00023); success, 1000 entries",
         "listing too long (0x3bb00023); success, other entries\n"
         "listing too long (0x3bb00023); success, 1000 entries\n"
         "listing too long (0x3bb00023); data connection broke before the end (0x3bb00020), "
         "other entries\n"
         "listing too long (0x3bb00023); transfer aborted by the server (0x3bb00011), other "
         "entries",
         "rest"},
        {"proftpd", "ListFile, a name that begins with a dot", "success; nothing", nullptr, "dot"},
        {"proftpd_dos", "RemoveDir, with a file whose name begins with a dot",
         "directory removal refused (0x3bb0000b); left: sub/, sub/.hidden", nullptr, "dot"},
        {"proftpd_dos", "ListFile, date of a file of 17 May 2023, 13:05 UTC",
         "success; 05-17-23 01:05", nullptr, "dos-noon"},
        {"proftpd_dos", "ListFile, a symbolic link", "success; - 4 link, - 5 file", nullptr,
         "dos-types"},
        {"proftpd_dos", "ListFile, a file that nobody may read", "success; - 5 file, - 5 secret",
         nullptr, "dos-types"},
        {"proftpd_dos", "ListFile, longer than ullMaxListing; the session goes on",
         "listing too long (0x3bb00023); success, other entries\n"
         "listing too long (0x3bb00023); success, 1000 entries",
         "listing too long (0x3bb00023); success, other entries\n"
         "listing too long (0x3bb00023); success, 1000 entries\n"
         "listing too long (0x3bb00023); data connection broke before the end (0x3bb00020), "
         "other entries\n"
         "listing too long (0x3bb00023); transfer aborted by the server (0x3bb00011), other "
         "entries",
         "rest"},
        {"proftpd_dos", "ListFile, a name that begins with a dot", "success; nothing", nullptr,
         "dot"},
        {"proftpd_dos", "put -r, a nested tree, twice",
         "exit 0, 6 moved; again exit 0, 6 moved; 6 of 6 files whole, 5 directories", nullptr,
         "dos-noon"},
        {"proftpd_dos", "mirror to the server, twice",
         "exit 0, 6 moved; again exit 0, 6 moved; 6 of 6 files whole, 5 directories", nullptr,
         "dos-noon"},
        {"pureftpd", "PutOneFileToFile, into a directory that the server may not write",
         "file name not allowed (0x3bb00017); missing", kAlike, "553"},
        {"pureftpd", "PutOneFileToFile, over a directory",
         "file name not allowed (0x3bb00017); no file", kAlike, "553"},
        {"pureftpd", "RemoveDir, with a file whose name begins with a dot",
         "directory removal refused (0x3bb0000b); left: sub/, sub/.hidden", nullptr, "dot"},
        {"pureftpd", "ListFile, a name that begins with a dot", "success; nothing", nullptr, "dot"},
        {"pureftpd", "ListFile, longer than ullMaxListing; the session goes on",
         "listing too long (0x3bb00023); success, other entries\nlisting too long (0x3bb00023); "
         "success, 1000 entries",
         kAlike, "rest"},
        {"pureftpd", "check",
         "exit 0; greeting ok, login ok, root directory ok, passive address ok, data connection "
         "ok, listing ok, UTF-8 note, close ok",
         nullptr, "utf8"},
        {"pureftpd", "put, into a directory that the server may not write",
         "exit 1: qelftp: put /locked/new: file name not allowed (0x3bb00017); missing", nullptr,
         "553"},
        {"pyftpdlib", "check",
         "exit 0; greeting ok, login ok, root directory ok, passive address ok, data connection "
         "ok, listing ok, UTF-8 note, close ok",
         nullptr, "utf8"},
        {"pyftpdlib_dos", "ListFile, date of a file of 17 May 2023, 13:05 UTC",
         "success; 05-17-23 01:05PM", nullptr, "dos-date"},
        {"pyftpdlib_dos", "ListFile, a symbolic link", "success; - 5 file, - 5 link", nullptr,
         "dos-types"},
        {"pyftpdlib_dos", "ListFile, a file that nobody may read", "success; - 5 file, - 5 secret",
         nullptr, "dos-types"},
        {"pyftpdlib_dos", "check",
         "exit 0; greeting ok, login ok, root directory ok, passive address ok, data connection "
         "ok, listing ok, UTF-8 note, close ok",
         nullptr, "utf8"},
        {"inetutils", "PutOneFileToFile, into a directory that the server may not write",
         "file name not allowed (0x3bb00017); missing", kAlike, "553"},
        {"inetutils", "PutOneFileToFile, over a directory",
         "file name not allowed (0x3bb00017); no file", kAlike, "553"},
        {"inetutils", "RemoveDir, with a directory in it", "success; left: nothing", nullptr,
         "dele"},
        {"inetutils", "ListFile, longer than ullMaxListing; the session goes on",
         "listing too long (0x3bb00023); no usable reply from the server (0x3bb00003), other "
         "entries; close: session could not be closed in order (0x3bb0001b)\nlisting too long "
         "(0x3bb00023); success, 1000 entries",
         kAlike, "abort"},
        {"inetutils", "RemoveFile, a directory", "success; left: nothing", nullptr, "dele"},
        {"inetutils", "check",
         "exit 0; greeting ok, login ok, root directory ok, passive address ok, data connection "
         "ok, listing ok, UTF-8 note, close ok",
         nullptr, "utf8"},
        {"inetutils", "put, into a directory that the server may not write",
         "exit 1: qelftp: put /locked/new: file name not allowed (0x3bb00017); missing", nullptr,
         "553"},
        {"inetutils", "rm, a directory", "exit 0; left: nothing", nullptr, "dele"},
        {"inetutils", "rmdir, with a directory in it", "exit 0; left: nothing", nullptr, "dele"},
        {"aioftp", "GetOneFile, missing file",
         "already exists (0x3bb00016); the old local file: whole; got", kAlike, "exists"},
        {"aioftp", "GetOneFile, file that the server may not read",
         "success; the old local file: 0 of 3 bytes; got\nlocal error at the server (0x3bb00013); "
         "the old local file: whole; got",
         "data connection broke before the end (0x3bb00020); the old local file: whole; got\n"
         "local error at the server (0x3bb00013); the old local file: whole; got",
         "late"},
        {"aioftp", "PutOneFileToFile, into a directory that the server may not write",
         "success; missing\nlocal error at the server (0x3bb00013); missing",
         "local error at the server (0x3bb00013); missing", "late"},
        {"aioftp", "PutOneFileToFile, over a directory",
         "success; no file\nlocal error at the server (0x3bb00013); no file",
         "local error at the server (0x3bb00013); no file", "late"},
        {"aioftp", "GetFile, batch with a missing file", "already exists (0x3bb00016); local: a",
         kAlike, "exists"},
        {"aioftp", "ChangeDir, missing directory", "already exists (0x3bb00016)", nullptr,
         "exists"},
        {"aioftp", "MakeDir, where the server may not write",
         "local error at the server (0x3bb00013); there: locked/, locked/file", nullptr, "any451"},
        {"aioftp", "RemoveDir, with a directory in it",
         "local error at the server (0x3bb00013); left: sub/, sub/inner/", nullptr, "any451"},
        {"aioftp", "RemoveDir, missing directory", "already exists (0x3bb00016); left: nothing",
         nullptr, "exists"},
        {"aioftp", "RemoveDir, where the server may not write",
         "local error at the server (0x3bb00013); left: locked/, locked/sub/", nullptr, "any451"},
        {"aioftp", "ListFile, missing directory", "already exists (0x3bb00016); nothing", kAlike,
         "exists"},
        {"aioftp", "ListFile, a symbolic link", "success; - 5 file, - 5 link", nullptr, "links"},
        {"aioftp", "ListFile, longer than ullMaxListing; the session goes on",
         "listing too long (0x3bb00023); no usable reply from the server (0x3bb00003), other "
         "entries; close: session could not be closed in order (0x3bb0001b)\nlisting too long "
         "(0x3bb00023); success, 1000 entries",
         kAlike, "abort"},
        {"aioftp", "GetOneFile, cancelled by progress; the session goes on",
         "cancelled (0x3bb00022); no usable reply from the server (0x3bb00003), missing; close: "
         "session could not be closed in order (0x3bb0001b)",
         kAlike, "abort"},
        {"aioftp", "GetOneFile, missing directory",
         "already exists (0x3bb00016); the old local file: whole; got", kAlike, "exists"},
        {"aioftp", "PutOneFileToFile, into a missing directory",
         "already exists (0x3bb00016); missing", kAlike, "exists"},
        {"aioftp", "RemoveFile, missing file", "already exists (0x3bb00016); left: nothing",
         nullptr, "exists"},
        {"aioftp", "RemoveFile, where the server may not write",
         "local error at the server (0x3bb00013); left: locked/, locked/file", nullptr, "any451"},
        {"aioftp", "check",
         "exit 0; greeting ok, login ok, root directory ok, passive address ok, data connection "
         "ok, listing ok, UTF-8 note, close ok",
         nullptr, "utf8"},
        {"aioftp", "ls, missing directory",
         "exit 1: qelftp: ls /missing: already exists (0x3bb00016)", nullptr, "exists"},
        {"aioftp", "get, missing file",
         "exit 1: qelftp: get /missing: already exists (0x3bb00016); the old local file: whole; "
         "got",
         nullptr, "exists"},
        {"aioftp", "get, file that the server may not read",
         "exit 1: qelftp: get /secret: local error at the server (0x3bb00013); the old local file: "
         "whole; got\nexit 1: qelftp: get /secret: data connection broke before the end "
         "(0x3bb00020); the old local file: whole; got",
         nullptr, "late"},
        {"aioftp", "get, a missing file among others",
         "exit 1: qelftp: get /b: already exists (0x3bb00016) | qelftp: 2 of 3 files, 1 failed; a, "
         "c",
         nullptr, "exists"},
        {"aioftp", "put, into a missing directory",
         "exit 1: qelftp: put /missing/file: already exists (0x3bb00016); missing", nullptr,
         "exists"},
        {"aioftp", "put, into a directory that the server may not write",
         "exit 1: qelftp: put /locked/new: local error at the server (0x3bb00013); missing",
         nullptr, "late"},
        {"aioftp", "rm, missing file",
         "exit 1: qelftp: rm /missing: already exists (0x3bb00016); left: nothing", nullptr,
         "exists"},
        {"aioftp", "rm, where the server may not write",
         "exit 1: qelftp: rm /locked/file: local error at the server (0x3bb00013); left: locked/, "
         "locked/file",
         nullptr, "any451"},
        {"aioftp", "mkdir, where the server may not write",
         "exit 1: qelftp: mkdir /locked/new: local error at the server (0x3bb00013); left: "
         "locked/, locked/file",
         nullptr, "any451"},
        {"aioftp", "rmdir, missing directory",
         "exit 1: qelftp: rmdir /missing: already exists (0x3bb00016); left: nothing", nullptr,
         "exists"},
        {"aioftp", "rmdir, with a directory in it",
         "exit 1: qelftp: rmdir /sub: local error at the server (0x3bb00013); left: sub/, "
         "sub/inner/",
         nullptr, "any451"},
        {"proftpd_sftp", "removeDir, with a file in it",
         "15 remove directory sub: the server says \"Directory is not empty\" (status 4); left: "
         "sub/, sub/file",
         nullptr, "status"},
        {"proftpd_sftp", "statLink of a link", "success; - 5 0644", nullptr, "lstat"},
        {"proftpd_sftp", "remove, a directory",
         "15 remove sub: the server says \"File is a directory\" (status 4); left: sub/", nullptr,
         "status"},
        {"proftpd_sftp", "rm, a directory",
         "exit 1: qelftp: rm /sub: the server refuses: remove sub: the server says \"File is a "
         "directory\" (status 4) (SFTP error 15); check that it is a file; qelftp rmdir removes "
         "directories; left: sub/",
         nullptr, "status"},
        {"proftpd_sftp", "rmdir, with a directory in it",
         "exit 1: qelftp: rmdir /sub: the server refuses: remove directory sub: the server says "
         "\"Directory is not empty\" (status 4) (SFTP error 15); check that it is a directory "
         "without directories in it; left: sub/, sub/inner/",
         nullptr, "status"},
    };
    return deviations;
}

const SDeviation* FindDeviation(const std::string& strColumn, const std::string& strOperation) {
    for (const SDeviation& deviation : Deviations()) {
        if (deviation.pszColumn == strColumn && deviation.pszOperation == strOperation)
            return &deviation;
    }
    return nullptr;
}

}  // namespace MatrixTest
