// CFtpClient, each exported operation.

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "include/ftpclient.h"
#include "include/ftpresult.h"
#include "tests/matrix/operation.h"
#include "tools/dialogue.h"

namespace MatrixTest {
namespace {

namespace fs = std::filesystem;
using namespace RVN_FTP_CLIENT;

// A session that is logged in, and closed with the object. Its dialogue goes into the cell's.
class CSession {
public:
    explicit CSession(CCell& cell) : CSession(cell, cell.Server().Password()) {
        m_uLogin = m_client.Login();
    }

    // Not logged in.
    CSession(CCell& cell, const std::string& strPassword)
        : m_cell(cell),
          m_watch(cell.Server().Port(),
                  [&cell](qelftp::EDirection eDirection, const std::string& strLine) {
                      cell.Note((eDirection == qelftp::EDirection::Sent ? "> " : "< ") + strLine);
                  }),
          m_client("127.0.0.1", cell.Server().Port(), cell.Server().User(),
                   TQ_UTIL::CcipheString(strPassword)) {
        m_client.setParam(15, 1, 1);
        SetOptions({});
    }

    ~CSession() {
        if (!m_bClosed) m_client.Close();
    }

    CSession(const CSession&) = delete;
    CSession& operator=(const CSession&) = delete;

    CFtpClient* operator->() { return &m_client; }

    // A refused transfer then costs 4 s, instead of 16.
    void ExpectRefusal() { m_client.setParam(3, 1, 1); }

    void SetOptions(FtpTransferOptions options) {
        options.bVerify = m_cell.Verifies();
        m_client.setTransferOptions(options);
    }

    // What happened, and how the session began and ended if it was not as it should be.
    std::string Ended(const std::string& strWhat) {
        m_bClosed = true;
        const unsigned int uClose = m_client.Close();
        return (m_uLogin == FTP_OK ? "" : "login: " + ResultText(m_uLogin) + "; ") + strWhat +
               (uClose == FTP_OK ? "" : "; close: " + ResultText(uClose));
    }
    std::string Ended(unsigned int uResult) { return Ended(ResultText(uResult)); }

private:
    CCell& m_cell;
    qelftp::CDialogueWatch m_watch;
    CFtpClient m_client;
    unsigned int m_uLogin = FTP_OK;
    bool m_bClosed = false;
};

// "- 5 name, d name, l name", sorted; a directory's and a link's size is the file system's
// business.
std::string EntriesText(const std::vector<TkFileInfo*>& entries) {
    std::vector<std::string> lines;
    for (const TkFileInfo* pEntry : entries) {
        const char cType = "-dl?"[std::min<unsigned int>(pEntry->ucFileType, 3)];
        lines.push_back(fmt::format("{}{} {}", cType, cType == '-' ? " " + pEntry->strFileSize : "",
                                    pEntry->strFileName));
    }
    std::sort(lines.begin(), lines.end());
    return lines.empty() ? "nothing" : fmt::format("{}", fmt::join(lines, ", "));
}

struct SListing {
    ~SListing() {
        for (const TkFileInfo* pEntry : entries)
            delete pEntry;
    }
    std::vector<TkFileInfo*> entries;
};

std::string List(CCell& cell, const std::string& strName) {
    CSession session(cell);
    SListing listing;
    const unsigned int uResult = session->ListFile(cell.Remote(strName), listing.entries);
    return session.Ended(ResultText(uResult) + "; " + EntriesText(listing.entries));
}

std::string Get(CCell& cell, const std::string& strName, const std::string& strBytes) {
    cell.Serve(strName, strBytes);
    CSession session(cell);
    const unsigned int uResult =
        session->GetOneFile(cell.Remote(strName), cell.Local("got"), false);
    return session.Ended(CText() << ResultText(uResult) << "; " << cell.IsLocal("got", strBytes));
}

// Over a local file, which a refusal with bVerify leaves as it was.
std::string GetRefused(CCell& cell, const std::string& strRemote) {
    cell.Keep("got", "old");
    CSession session(cell);
    session.ExpectRefusal();
    const unsigned int uResult = session->GetOneFile(strRemote, cell.Local("got"), false);
    return session.Ended(CText() << ResultText(uResult) << "; the old local file: "
                                 << cell.IsLocal("got", "old") << "; " << cell.LocalNames());
}

std::string Put(CCell& cell, const std::string& strName, const std::string& strBytes,
                bool bRefused = false) {
    cell.Keep("source", strBytes);
    CSession session(cell);
    if (bRefused) session.ExpectRefusal();
    const unsigned int uResult =
        session->PutOneFileToFile(cell.Local("source"), cell.Remote(strName));
    return session.Ended(CText() << ResultText(uResult) << "; "
                                 << cell.IsServed(strName, strBytes));
}

// A directory in which the server may change nothing.
std::string WriteProtected(const CCell& cell) {
    cell.Serve("locked/file", "old");
    fs::permissions(cell.Served("locked"), fs::perms::owner_read | fs::perms::owner_exec);
    return "locked";
}

std::string Exists(CCell& cell, const std::string& strDir, const std::string& strName) {
    CSession session(cell);
    const unsigned int uByBoth = session->checkOneFileExist(cell.Remote(strDir), strName);
    const unsigned int uByPath = session->checkOneFileExist(cell.Remote(strDir) + "/" + strName);
    return session.Ended(ResultText(uByBoth) +
                         (uByBoth == uByPath ? "" : "; by its path " + ResultText(uByPath)));
}

std::vector<Ftp_File_Pair> TreeBatch(const CCell& cell, bool bGet) {
    std::vector<Ftp_File_Pair> pairs;
    for (const std::string& strFile : TreeFiles()) {
        const std::string strRemote = cell.Remote(strFile);
        const std::string strLocal = cell.Local(strFile);
        pairs.push_back(bGet ? Ftp_File_Pair{strRemote, strLocal}
                             : Ftp_File_Pair{strLocal, strRemote});
    }
    return pairs;
}

std::string RemoveFile(CCell& cell, const std::string& strName) {
    CSession session(cell);
    return session.Ended(CText() << ResultText(session->RemoveFile(cell.Remote(strName)))
                                 << "; left: " << cell.ServedNames());
}

std::string MakeDir(CCell& cell, const std::string& strName) {
    CSession session(cell);
    return session.Ended(CText() << ResultText(session->MakeDir(cell.Remote(strName)))
                                 << "; there: " << cell.ServedNames());
}

std::string RemoveDir(CCell& cell, const std::string& strName) {
    CSession session(cell);
    return session.Ended(CText() << ResultText(session->RemoveDir(cell.Remote(strName)))
                                 << "; left: " << cell.ServedNames());
}

constexpr EModes kOnce = EModes::Once;
constexpr EModes kBoth = EModes::Both;
constexpr const char* kSame = nullptr;

}  // namespace

const std::vector<SOperation>& FtpOperations() {
    static const std::vector<SOperation> operations = {
        // ---- refusals that cost a wait come first, so that they run beside the others ----
        {"Retrieving", "GetOneFile, missing file", kBoth,
         [](CCell& cell) { return GetRefused(cell, cell.Remote("missing")); },
         "no such file or directory (0x3bb0000e); the old local file: whole; got", kSame},
        {"Retrieving", "GetOneFile, file that the server may not read", kBoth,
         [](CCell& cell) {
             cell.Serve("secret", "secret");
             fs::permissions(cell.Served("secret"), fs::perms::none);
             return GetRefused(cell, cell.Remote("secret"));
         },
         "permission denied (0x3bb0000d); the old local file: whole; got", kSame},
        {"Retrieving", "GetOneFile, a directory", kBoth,
         [](CCell& cell) {
             cell.ServeDirectory("sub");
             return GetRefused(cell, cell.Remote("sub"));
         },
         "file unavailable (0x3bb00019); the old local file: whole; got", kSame},
        {"Storing", "PutOneFileToFile, into a directory that the server may not write", kBoth,
         [](CCell& cell) { return Put(cell, WriteProtected(cell) + "/new", "12345", true); },
         "permission denied (0x3bb0000d); missing", kSame},
        {"Storing", "PutOneFileToFile, over a directory", kBoth,
         [](CCell& cell) {
             cell.ServeDirectory("sub");
             return Put(cell, "sub", "12345", true);
         },
         "file unavailable (0x3bb00019); no file", kSame},
        {"Retrieving", "GetFile, batch with a missing file", kBoth,
         [](CCell& cell) {
             cell.Serve("a", "first");
             cell.Serve("c", "third");
             std::vector<Ftp_File_Pair> batch = {{cell.Remote("a"), cell.Local("a")},
                                                 {cell.Remote("b"), cell.Local("b")},
                                                 {cell.Remote("c"), cell.Local("c")}};
             CSession session(cell);
             session.ExpectRefusal();
             const unsigned int uResult = session->GetFile(batch, false);
             return session.Ended(CText()
                                  << ResultText(uResult) << "; local: " << cell.LocalNames());
         },
         "no such file or directory (0x3bb0000e); local: a", kSame},

        // ---- sessions ----
        {"Sessions", "setParam, Login, getFTPConnInfo, Close", kOnce,
         [](CCell& cell) {
             CSession session(cell);
             FTPConnInfo info;
             session->getFTPConnInfo(info);
             return session.Ended(info.strUser == cell.Server().User() ? "the account's own user"
                                                                       : "user " + info.strUser);
         },
         "the account's own user", kSame},
        {"Sessions", "Login with a wrong password", kOnce,
         [](CCell& cell) {
             CSession session(cell, "wrong");
             return session.Ended(session->Login());
         },
         "login refused (0x3bb00007)", kSame},
        {"Sessions", "Login again after Close", kOnce,
         [](CCell& cell) {
             CSession session(cell);
             const unsigned int uClosed = session->Close();
             const unsigned int uAgain = session->Login();
             const unsigned int uUsed = session->ChangeDir(cell.Remote());
             return session.Ended(ResultText(uClosed) + "; " + ResultText(uAgain) + "; " +
                                  ResultText(uUsed));
         },
         "success; success; success", kSame},

        // ---- directories ----
        {"Directories", "ChangeDir", kOnce,
         [](CCell& cell) {
             CSession session(cell);
             return session.Ended(session->ChangeDir(cell.Remote()));
         },
         "success", kSame},
        {"Directories", "ChangeDir, name with blanks", kOnce,
         [](CCell& cell) {
             cell.ServeDirectory(kBlank);
             CSession session(cell);
             return session.Ended(session->ChangeDir(cell.Remote(kBlank)));
         },
         "success", kSame},
        {"Directories", "ChangeDir, name in UTF-8", kOnce,
         [](CCell& cell) {
             cell.ServeDirectory(kUtf8);
             CSession session(cell);
             return session.Ended(session->ChangeDir(cell.Remote(kUtf8)));
         },
         "success", kSame},
        {"Directories", "ChangeDir, missing directory", kOnce,
         [](CCell& cell) {
             CSession session(cell);
             return session.Ended(session->ChangeDir(cell.Remote("missing")));
         },
         "no such file or directory (0x3bb0000e)", kSame},
        {"Directories", "ChangeDir, to a file", kOnce,
         [](CCell& cell) {
             cell.Serve("file", "12345");
             CSession session(cell);
             return session.Ended(session->ChangeDir(cell.Remote("file")));
         },
         "directory change refused (0x3bb00009)", kSame},
        {"Directories", "MakeDir, three levels", kOnce,
         [](CCell& cell) { return MakeDir(cell, "one/two/three"); },
         "success; there: one/, one/two/, one/two/three/", kSame},
        {"Directories", "MakeDir, names with blanks and in UTF-8", kOnce,
         [](CCell& cell) { return MakeDir(cell, std::string(kBlank) + "/" + kUtf8); },
         "success; there: with two blanks.bin/, with two blanks.bin/größe 漢字.bin/", kSame},
        {"Directories", "MakeDir, there already", kOnce,
         [](CCell& cell) {
             cell.ServeDirectory("sub");
             return MakeDir(cell, "sub");
         },
         "success; there: sub/", kSame},
        {"Directories", "MakeDir, name of a file", kOnce,
         [](CCell& cell) {
             cell.Serve("file", "12345");
             return MakeDir(cell, "file");
         },
         "already exists (0x3bb00016); there: file", kSame},
        {"Directories", "MakeDir, where the server may not write", kOnce,
         [](CCell& cell) { return MakeDir(cell, WriteProtected(cell) + "/new"); },
         "permission denied (0x3bb0000d); there: locked/, locked/file", kSame},
        {"Directories", "RemoveDir, with files", kOnce,
         [](CCell& cell) {
             for (const char* pszName : {"plain", kBlank, kUtf8})
                 cell.Serve(std::string("sub/") + pszName, "12345");
             return RemoveDir(cell, "sub");
         },
         "success; left: nothing", kSame},
        {"Directories", "RemoveDir, with a file whose name begins with a dot", kOnce,
         [](CCell& cell) {
             cell.Serve("sub/.hidden", "12345");
             return RemoveDir(cell, "sub");
         },
         "success; left: nothing", kSame},
        {"Directories", "RemoveDir, with a directory in it", kOnce,
         [](CCell& cell) {
             cell.Serve("sub/file", "12345");
             cell.ServeDirectory("sub/inner");
             return RemoveDir(cell, "sub");
         },
         "directory removal refused (0x3bb0000b); left: sub/, sub/inner/", kSame},
        {"Directories", "RemoveDir, missing directory", kOnce,
         [](CCell& cell) { return RemoveDir(cell, "missing"); },
         "no such file or directory (0x3bb0000e); left: nothing", kSame},
        {"Directories", "RemoveDir, where the server may not write", kOnce,
         [](CCell& cell) {
             cell.ServeDirectory("locked/sub");
             fs::permissions(cell.Served("locked"), fs::perms::owner_read | fs::perms::owner_exec);
             return RemoveDir(cell, "locked/sub");
         },
         "permission denied (0x3bb0000d); left: locked/, locked/sub/", kSame},

        // ---- listings ----
        {"Listings", "ListFile, files and directories", kBoth,
         [](CCell& cell) {
             cell.Serve("dir/file", Bytes());
             cell.Serve("dir/empty", "");
             cell.Serve("dir/large", Mebibyte());
             cell.ServeDirectory("dir/sub");
             return List(cell, "dir");
         },
         "success; - 0 empty, - 1048576 large, - 4259 file, d sub", kSame},
        {"Listings", "ListFile, names with blanks and in UTF-8", kBoth,
         [](CCell& cell) {
             cell.Serve(std::string(kBlank) + "/" + kBlank, "1");
             cell.Serve(std::string(kBlank) + "/" + kUtf8, "12");
             return List(cell, kBlank);
         },
         "success; - 1 with two blanks.bin, - 2 größe 漢字.bin", kSame},
        {"Listings", "ListFile, empty directory", kBoth, [](CCell& cell) { return List(cell, ""); },
         "success; nothing", kSame},
        {"Listings", "ListFile, missing directory", kBoth,
         [](CCell& cell) { return List(cell, "missing"); },
         "no such file or directory (0x3bb0000e); nothing", kSame},
        {"Listings", "ListFile, 500 entries", kBoth,
         [](CCell& cell) {
             std::set<std::string> missing;
             for (int n = 0; n < 500; ++n) {
                 missing.insert(fmt::format("file {:03}", n));
                 cell.Serve("sub/" + *missing.rbegin(), "12345");
             }
             CSession session(cell);
             SListing listing;
             const unsigned int uResult = session->ListFile(cell.Remote("sub"), listing.entries);
             for (const TkFileInfo* pEntry : listing.entries)
                 missing.erase(pEntry->strFileName);
             return session.Ended(
                 fmt::format("{}; {} entries{}{}", ResultText(uResult), listing.entries.size(),
                             missing.empty() ? "" : " without ", fmt::join(missing, ", ")));
         },
         "success; 500 entries", kSame},
        {"Listings", "ListFile, date of a file of 17 May 2023, 13:05 UTC", kOnce,
         [](CCell& cell) {
             cell.Serve("old", "12345");
             SetTimes(cell.Served(), kThatDay);
             CSession session(cell);
             SListing listing;
             const unsigned int uResult = session->ListFile(cell.Remote(), listing.entries);
             return session.Ended(ResultText(uResult) + "; " +
                                  (listing.entries.size() == 1
                                       ? listing.entries.front()->strModifyTime
                                       : EntriesText(listing.entries)));
         },
         "success; 2023-05-17", kSame},
        {"Listings", "ListFile, a symbolic link", kOnce,
         [](CCell& cell) {
             cell.Serve("file", "12345");
             fs::create_symlink("file", cell.Served("link"));
             return List(cell, "");
         },
         "success; - 5 file, l link", kSame},
        {"Listings", "ListFile, a file that nobody may read", kOnce,
         [](CCell& cell) {
             cell.Serve("file", "12345");
             cell.Serve("secret", "12345");
             fs::permissions(cell.Served("secret"), fs::perms::none);
             return List(cell, "");
         },
         "success; - 5 file", kSame},
        {"Listings", "ListFile, a name that begins with a dot", kOnce,
         [](CCell& cell) {
             cell.Serve(".hidden", "12345");
             return List(cell, "");
         },
         "success; - 5 .hidden", kSame},
        {"Listings", "ListFile, longer than ullMaxListing; the session goes on", kBoth,
         [](CCell& cell) {
             for (int n = 0; n < 1000; ++n)
                 cell.Serve(fmt::format("sub/file {:04}", n), "12345");
             CSession session(cell);
             FtpTransferOptions options;
             options.ullMaxListing = 1000;
             session.SetOptions(options);
             SListing listing;
             const unsigned int uResult = session->ListFile(cell.Remote("sub"), listing.entries);
             session.SetOptions({});
             SListing again;
             const unsigned int uAgain = session->ListFile(cell.Remote("sub"), again.entries);
             return session.Ended(
                 ResultText(uResult) + "; " + ResultText(uAgain) + ", " +
                 (again.entries.size() == 1000 ? "1000 entries" : "other entries"));
         },
         "listing too long (0x3bb00023); success, 1000 entries", kSame},

        // ---- checks for existence ----
        {"Existence", "checkOneFileExist, both forms: a file", kBoth,
         [](CCell& cell) {
             cell.Serve("sub/file", "12345");
             return Exists(cell, "sub", "file");
         },
         "success", kSame},
        {"Existence", "checkOneFileExist, both forms: a directory", kOnce,
         [](CCell& cell) {
             cell.ServeDirectory("sub/inner");
             return Exists(cell, "sub", "inner");
         },
         "success", kSame},
        {"Existence", "checkOneFileExist, both forms: name with blanks", kOnce,
         [](CCell& cell) {
             cell.Serve(kBlank, "12345");
             return Exists(cell, "", kBlank);
         },
         "success", kSame},
        {"Existence", "checkOneFileExist, both forms: name in UTF-8", kOnce,
         [](CCell& cell) {
             cell.Serve(kUtf8, "12345");
             return Exists(cell, "", kUtf8);
         },
         "success", kSame},
        {"Existence", "checkOneFileExist, both forms: missing file", kBoth,
         [](CCell& cell) { return Exists(cell, "", "missing"); },
         "no such file or directory (0x3bb0000e)", kSame},
        {"Existence", "checkOneFileExist, both forms: missing directory", kBoth,
         [](CCell& cell) { return Exists(cell, "missing", "file"); },
         "no such file or directory (0x3bb0000e)", kSame},

        // ---- retrieving ----
        {"Retrieving", "GetOneFile, bytes of all values", kBoth,
         [](CCell& cell) { return Get(cell, "file", Bytes()); }, "success; whole", kSame},
        {"Retrieving", "GetOneFile, empty file", kBoth,
         [](CCell& cell) { return Get(cell, "file", ""); }, "success; whole", kSame},
        {"Retrieving", "GetOneFile, 1 MiB", kBoth,
         [](CCell& cell) { return Get(cell, "file", Mebibyte()); }, "success; whole", kSame},
        {"Retrieving", "GetOneFile, 1 MiB in blocks of 1 MiB (uBlockSize)", kBoth,
         [](CCell& cell) {
             cell.Serve("file", Mebibyte());
             CSession session(cell);
             FtpTransferOptions options;
             options.uBlockSize = 1U << 20U;
             session.SetOptions(options);
             const unsigned int uResult =
                 session->GetOneFile(cell.Remote("file"), cell.Local("got"), false);
             return session.Ended(CText() << ResultText(uResult) << "; "
                                          << cell.IsLocal("got", Mebibyte()));
         },
         "success; whole", kSame},
        {"Retrieving", "GetOneFile, any announced address (bAnyDataAddress)", kBoth,
         [](CCell& cell) {
             cell.Serve("file", Bytes());
             CSession session(cell);
             FtpTransferOptions options;
             options.bAnyDataAddress = true;
             session.SetOptions(options);
             const unsigned int uResult =
                 session->GetOneFile(cell.Remote("file"), cell.Local("got"), false);
             return session.Ended(CText()
                                  << ResultText(uResult) << "; " << cell.IsLocal("got", Bytes()));
         },
         "success; whole", kSame},
        {"Retrieving", "GetOneFile, cancelled by progress; the session goes on", kBoth,
         [](CCell& cell) {
             cell.Serve("large", std::string(16U << 20U, 'x'));  // more than sockets hold
             cell.Serve("file", Bytes());
             CSession session(cell);
             FtpTransferOptions options;
             options.progress = [](unsigned long long ullDone) { return ullDone < 100000; };
             session.SetOptions(options);
             const unsigned int uResult =
                 session->GetOneFile(cell.Remote("large"), cell.Local("got"), false);
             session.SetOptions({});
             const unsigned int uAgain =
                 session->GetOneFile(cell.Remote("file"), cell.Local("again"), false);
             return session.Ended(CText() << ResultText(uResult) << "; " << ResultText(uAgain)
                                          << ", " << cell.IsLocal("again", Bytes()));
         },
         "cancelled (0x3bb00022); success, whole", kSame},
        {"Retrieving", "GetOneFile, name with blanks", kBoth,
         [](CCell& cell) { return Get(cell, kBlank, Bytes()); }, "success; whole", kSame},
        {"Retrieving", "GetOneFile, name in UTF-8", kBoth,
         [](CCell& cell) { return Get(cell, kUtf8, Bytes()); }, "success; whole", kSame},
        {"Retrieving", "GetOneFile, over a longer local file", kBoth,
         [](CCell& cell) {
             cell.Keep("got", Mebibyte());
             return Get(cell, "file", Bytes());
         },
         "success; whole", kSame},
        {"Retrieving", "GetOneFile, missing directory", kBoth,
         [](CCell& cell) { return GetRefused(cell, cell.Remote("missing/file")); },
         "no such file or directory (0x3bb0000e); the old local file: whole; got", kSame},
        {"Retrieving", "GetOneFile, into a missing local directory; the session goes on", kBoth,
         [](CCell& cell) {
             cell.Serve("file", Bytes());
             CSession session(cell);
             const unsigned int uResult =
                 session->GetOneFile(cell.Remote("file"), cell.Local("missing/got"), false);
             const unsigned int uAgain =
                 session->GetOneFile(cell.Remote("file"), cell.Local("got"), false);
             return session.Ended(CText() << ResultText(uResult) << "; " << ResultText(uAgain)
                                          << ", " << cell.IsLocal("got", Bytes()));
         },
         "local file could not be created (0x3bb00006); success, whole", kSame},
        {"Retrieving", "GetFile, a nested tree", kBoth,
         [](CCell& cell) {
             std::vector<Ftp_File_Pair> batch = TreeBatch(cell, true);
             for (const std::string& strFile : TreeFiles()) {
                 cell.Serve(strFile, TreeBytes(strFile));
                 fs::create_directories(fs::path(cell.Local(strFile)).parent_path());
             }
             CSession session(cell);
             std::string strText = ResultText(session->GetFile(batch, false));
             for (const std::string& strFile : TreeFiles())
                 strText += ", " + cell.IsLocal(strFile, TreeBytes(strFile));
             return session.Ended(strText);
         },
         "success, whole, whole, whole, whole, whole, whole", kSame},

        // ---- storing ----
        {"Storing", "PutOneFileToFile, bytes of all values", kBoth,
         [](CCell& cell) { return Put(cell, "file", Bytes()); }, "success; whole", kSame},
        {"Storing", "PutOneFileToFile, empty file", kBoth,
         [](CCell& cell) { return Put(cell, "file", ""); }, "success; whole", kSame},
        {"Storing", "PutOneFileToFile, 1 MiB", kBoth,
         [](CCell& cell) { return Put(cell, "file", Mebibyte()); }, "success; whole", kSame},
        {"Storing", "PutOneFileToFile, name with blanks", kBoth,
         [](CCell& cell) { return Put(cell, kBlank, Bytes()); }, "success; whole", kSame},
        {"Storing", "PutOneFileToFile, name in UTF-8", kBoth,
         [](CCell& cell) { return Put(cell, kUtf8, Bytes()); }, "success; whole", kSame},
        {"Storing", "PutOneFileToFile, over a longer file", kBoth,
         [](CCell& cell) {
             cell.Serve("file", Mebibyte());
             return Put(cell, "file", Bytes());
         },
         "success; whole", kSame},
        {"Storing", "PutOneFileToFile, cancelled by progress; the session goes on", kBoth,
         [](CCell& cell) {
             cell.Keep("source", Mebibyte());
             CSession session(cell);
             FtpTransferOptions options;
             options.progress = [](unsigned long long ullDone) { return ullDone < 100000; };
             session.SetOptions(options);
             const unsigned int uResult =
                 session->PutOneFileToFile(cell.Local("source"), cell.Remote("file"));
             session.SetOptions({});
             const unsigned int uAgain =
                 session->PutOneFileToFile(cell.Local("source"), cell.Remote("again"));
             return session.Ended(CText() << ResultText(uResult) << "; " << ResultText(uAgain)
                                          << ", " << cell.IsServed("again", Mebibyte()));
         },
         "cancelled (0x3bb00022); success, whole", kSame},
        {"Storing", "PutOneFileToFile, into a missing directory", kBoth,
         [](CCell& cell) { return Put(cell, "missing/file", Bytes()); },
         "no such file or directory (0x3bb0000e); missing", kSame},
        {"Storing", "PutOneFileToFile, missing local file; the session goes on", kBoth,
         [](CCell& cell) {
             cell.Keep("source", Bytes());
             CSession session(cell);
             const unsigned int uResult =
                 session->PutOneFileToFile(cell.Local("missing"), cell.Remote("file"));
             const std::string strLeft = cell.ServedNames();
             const unsigned int uAgain =
                 session->PutOneFileToFile(cell.Local("source"), cell.Remote("again"));
             return session.Ended(CText()
                                  << ResultText(uResult) << ", served: " << strLeft << "; "
                                  << ResultText(uAgain) << ", " << cell.IsServed("again", Bytes()));
         },
         "local file could not be opened (0x3bb00005), served: file; success, whole",
         "local file could not be opened (0x3bb00005), served: nothing; success, whole"},
        {"Storing", "PutOneFileToPath", kBoth,
         [](CCell& cell) {
             cell.ServeDirectory("sub");
             cell.Keep(kUtf8, Bytes());
             CSession session(cell);
             const unsigned int uResult =
                 session->PutOneFileToPath(cell.Local(kUtf8), cell.Remote("sub"));
             return session.Ended(CText() << ResultText(uResult) << "; "
                                          << cell.IsServed(std::string("sub/") + kUtf8, Bytes()));
         },
         "success; whole", kSame},
        {"Storing", "PutFile, a nested tree", kBoth,
         [](CCell& cell) {
             std::vector<Ftp_File_Pair> batch = TreeBatch(cell, false);
             for (const std::string& strFile : TreeFiles()) {
                 cell.Keep(strFile, TreeBytes(strFile));
                 cell.ServeDirectory(fs::path(strFile).parent_path().string());
             }
             CSession session(cell);
             std::string strText = ResultText(session->PutFile(batch));
             for (const std::string& strFile : TreeFiles())
                 strText += ", " + cell.IsServed(strFile, TreeBytes(strFile));
             return session.Ended(strText);
         },
         "success, whole, whole, whole, whole, whole, whole", kSame},

        // ---- removing ----
        {"Removing", "RemoveFile", kOnce,
         [](CCell& cell) {
             cell.Serve("file", "12345");
             return RemoveFile(cell, "file");
         },
         "success; left: nothing", kSame},
        {"Removing", "RemoveFile, names with blanks and in UTF-8", kOnce,
         [](CCell& cell) {
             cell.Serve(std::string(kBlank) + "/" + kUtf8, "12345");
             return RemoveFile(cell, std::string(kBlank) + "/" + kUtf8);
         },
         "success; left: with two blanks.bin/", kSame},
        {"Removing", "RemoveFile, missing file", kOnce,
         [](CCell& cell) { return RemoveFile(cell, "missing"); },
         "no such file or directory (0x3bb0000e); left: nothing", kSame},
        {"Removing", "RemoveFile, a directory", kOnce,
         [](CCell& cell) {
             cell.ServeDirectory("sub");
             return RemoveFile(cell, "sub");
         },
         "file removal refused (0x3bb0000c); left: sub/", kSame},
        {"Removing", "RemoveFile, where the server may not write", kOnce,
         [](CCell& cell) { return RemoveFile(cell, WriteProtected(cell) + "/file"); },
         "permission denied (0x3bb0000d); left: locked/, locked/file", kSame},

        // ---- many operations in one session ----
        {"Sessions", "one session through all of it", kBoth,
         [](CCell& cell) {
             cell.Keep("source", Bytes());
             CSession session(cell);
             std::vector<unsigned int> results;
             for (int n = 0; n < 3; ++n) {
                 SListing listing;
                 results.push_back(session->MakeDir(cell.Remote("a/b")));
                 results.push_back(
                     session->PutOneFileToFile(cell.Local("source"), cell.Remote("a/b/file")));
                 results.push_back(session->ListFile(cell.Remote("a/b"), listing.entries));
                 results.push_back(session->checkOneFileExist(cell.Remote("a/b/file")));
                 results.push_back(
                     session->GetOneFile(cell.Remote("a/b/file"), cell.Local("got"), false));
                 results.push_back(session->RemoveFile(cell.Remote("a/b/file")));
                 results.push_back(session->RemoveDir(cell.Remote("a/b")));
                 results.push_back(session->RemoveDir(cell.Remote("a")));
             }
             std::string strWrong;
             for (const unsigned int uResult : results)
                 if (uResult != FTP_OK) strWrong += ", " + ResultText(uResult);
             return session.Ended(fmt::format("{} results{}; left: {}; {}", results.size(),
                                              strWrong, cell.ServedNames(),
                                              cell.IsLocal("got", Bytes())));
         },
         "24 results; left: nothing; whole", kSame},
    };
    return operations;
}

}  // namespace MatrixTest
