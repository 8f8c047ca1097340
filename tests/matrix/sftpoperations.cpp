// CSftpClient, and each operation of the sessions that it sets up with the stand-alone wrapper.

#include <fmt/format.h>

#include <algorithm>

#include "tests/matrix/operation.h"
#include "tests/sftpserver/hostsession.h"
#include "tests/support/tempdir.h"

namespace MatrixTest {
namespace {

namespace fs = std::filesystem;

SFTP_String Text(const std::string& strText) {
    return SFTP_String(strText.c_str());
}

TQ_UTIL::StFTPAccountInfo Account(const CCell& cell) {
    TQ_UTIL::StFTPAccountInfo account;
    account.strHost = "127.0.0.1";
    account.nPort = cell.Server().Port();
    account.strUserName = cell.Server().User();
    account.cipherPassword = TQ_UTIL::CcipheString(cell.Server().Password());
    account.strHostKeyFormat = "OPENSSH";
    account.strHostKey = cell.Server().HostKey();
    return account;
}

// A session, connected and until the end of the object.
class CSession {
public:
    explicit CSession(CCell& cell) : CSession(cell, Account(cell)) {
        if (m_session->connect() != SFTP_OK) m_strConnect = "connect: " + m_session.Error() + "; ";
    }

    // Not connected.
    CSession(CCell& cell, const TQ_UTIL::StFTPAccountInfo& account)
        : m_cell(cell), m_session(account) {
        m_session->setTimeout(10);
    }

    SFTP_Session_Wrp* operator->() { return m_session.operator->(); }

    // The cell's path as the server takes it: relative to the directory of the login.
    SFTP_String Path(const std::string& strName = "") const {
        return Text(m_cell.Remote(strName).substr(1));
    }

    // "success", or the session's error with its number.
    std::string Result(int nResult) {
        const std::string strText =
            nResult == SFTP_OK ? "success" : m_cell.Neutral(m_session.Error());
        m_cell.Note(strText);
        return m_strConnect + strText;
    }

private:
    CCell& m_cell;
    TestSupport::HostSession m_session;
    std::string m_strConnect;
};

std::string InfoText(const SFTP_FileInfo& info) {
    const bool bFile = info.ucType == SFTP_TYPE_FILE;
    return fmt::format("{}{} {:04o}", "-dl?"[std::min<unsigned int>(info.ucType, 3)],
                       bFile ? " " + std::to_string(info.ullSize) : "", info.uPermission);
}

class CCollector : public SFTP_DirVisitor {
public:
    bool entry(const SFTP_FileInfo& info) override {
        m_lines.push_back(InfoText(info) + " " + info.pszName);
        return true;
    }

    std::string AsText() {
        std::sort(m_lines.begin(), m_lines.end());
        return m_lines.empty() ? "nothing" : fmt::format("{}", fmt::join(m_lines, ", "));
    }

private:
    std::vector<std::string> m_lines;
};

// Ends a transfer in its middle.
class CCanceller : public SFTP_Progress {
public:
    bool moved(std::uint64_t ullDone, std::uint64_t /*ullTotal*/) override {
        return ullDone < 100000;
    }
};

class CSink : public SFTP_Sink {
public:
    bool take(const void* pData, std::size_t nSize) override {
        m_strBytes.append(static_cast<const char*>(pData), nSize);
        return true;
    }
    std::string m_strBytes;
};

class CSource : public SFTP_Source {
public:
    explicit CSource(const std::string& strBytes) : m_strBytes(strBytes) {}
    bool give(void* pBuffer, std::size_t nRoom, std::size_t* pSize) override {
        *pSize = m_strBytes.copy(static_cast<char*>(pBuffer), nRoom, m_nGiven);
        m_nGiven += *pSize;
        return true;
    }
    bool arrived(std::uint64_t /*ullDone*/) override { return true; }

private:
    std::string m_strBytes;
    std::size_t m_nGiven = 0;
};

std::string Get(CCell& cell, const std::string& strName, const std::string& strBytes) {
    cell.Serve(strName, strBytes);
    CSession session(cell);
    const std::string strResult =
        session.Result(session->getFile(session.Path(strName), Text(cell.Local("got")), nullptr));
    return strResult + "; " + cell.IsLocal("got", strBytes);
}

std::string GetRefused(CCell& cell, const std::string& strName) {
    cell.Keep("got", "old");
    CSession session(cell);
    const std::string strResult =
        session.Result(session->getFile(session.Path(strName), Text(cell.Local("got")), nullptr));
    return strResult + "; the old local file: " + cell.IsLocal("got", "old") + "; " +
           cell.LocalNames();
}

std::string Put(CCell& cell, const std::string& strName, const std::string& strBytes) {
    cell.Keep("source", strBytes);
    CSession session(cell);
    const std::string strResult = session.Result(
        session->putFile(Text(cell.Local("source")), session.Path(strName), nullptr));
    return strResult + "; " + cell.IsServed(strName, strBytes);
}

void Lock(const CCell& cell) {
    cell.Serve("locked/file", "old");
    fs::permissions(cell.Served("locked"), fs::perms::owner_read | fs::perms::owner_exec);
}

std::string List(CCell& cell, const std::string& strName) {
    CSession session(cell);
    CCollector found;
    const std::string strResult = session.Result(session->readDir(session.Path(strName), found));
    return strResult + "; " + found.AsText();
}

std::string Stat(CCell& cell, const std::string& strName, bool bLink) {
    CSession session(cell);
    SFTP_FileInfo info = {};
    const int nResult = bLink ? session->statLink(session.Path(strName), info)
                              : session->stat(session.Path(strName), info);
    return session.Result(nResult) + (nResult == SFTP_OK ? "; " + InfoText(info) : "");
}

// Of an operation on one path.
std::string Changed(CCell& cell, int (SFTP_Session_Wrp::*operation)(const SFTP_String&),
                    const std::string& strName) {
    CSession session(cell);
    const std::string strResult =
        session.Result((session.operator->()->*operation)(session.Path(strName)));
    return strResult + "; left: " + cell.ServedNames();
}

constexpr EModes kOnce = EModes::Once;
constexpr const char* kSame = nullptr;

}  // namespace

const std::vector<SOperation>& SftpOperations() {
    static const std::vector<SOperation> operations = {
        {"SFTP sessions", "getSFTPSession, connect, disconnect, closeSession, release", kOnce,
         [](CCell& cell) {
             CSession session(cell);
             std::string strText = session.Result(session->disconnect());
             strText += ", " + session.Result(session->closeSession());
             return strText;
         },
         "success, success", kSame},
        {"SFTP sessions", "connect, wrong password", kOnce,
         [](CCell& cell) {
             TQ_UTIL::StFTPAccountInfo account = Account(cell);
             account.cipherPassword = TQ_UTIL::CcipheString("wrong");
             CSession session(cell, account);
             return std::to_string(session->connect());
         },
         "7", kSame},
        {"SFTP sessions", "connect, another host key than expected", kOnce,
         [](CCell& cell) {
             TQ_UTIL::StFTPAccountInfo account = Account(cell);
             account.strHostKey[account.strHostKey.size() / 2] ^= 1;
             CSession session(cell, account);
             return std::to_string(session->connect());
         },
         "6", kSame},
        {"SFTP sessions", "preferHostKeys, setConnectTimeout, connect", kOnce,
         [](CCell& cell) {
             CSession session(cell, Account(cell));
             std::string strText = session.Result(session->preferHostKeys(Text("ssh-ed25519")));
             strText += ", " + session.Result(session->setConnectTimeout(5));
             return strText + ", " + session.Result(session->connect());
         },
         "success, success, success", kSame},
        {"SFTP sessions", "realPath of \".\"", kOnce,
         [](CCell& cell) {
             CSession session(cell);
             SFTP_String absolute;
             const std::string strResult = session.Result(session->realPath(Text("."), absolute));
             const std::string strPath = absolute.c_str() == nullptr ? "" : absolute.c_str();
             return strResult + "; " +
                    (strPath == cell.Server().Root() ? "the directory of the login" : strPath);
         },
         "success; the directory of the login", kSame},

        {"SFTP directories", "readDir", kOnce,
         [](CCell& cell) {
             cell.Serve("dir/file", Bytes());
             cell.Serve("dir/.hidden", "");
             cell.Serve(std::string("dir/") + kBlank, "1");
             cell.Serve(std::string("dir/") + kUtf8, "12");
             cell.ServeDirectory("dir/sub");
             fs::create_symlink("file", cell.Served("dir/link"));
             return List(cell, "dir");
         },
         "success; - 0 0644 .hidden, - 1 0644 with two blanks.bin, - 2 0644 größe 漢字.bin, "
         "- 4259 0644 file, d 0755 sub, l 0777 link",
         kSame},
        {"SFTP directories", "readDir, 500 entries", kOnce,
         [](CCell& cell) {
             for (int n = 0; n < 500; ++n)
                 cell.Serve(fmt::format("sub/file {:03}", n), "12345");
             const std::string strText = List(cell, "sub");
             return strText.substr(0, strText.find(';')) +
                    fmt::format(", {} entries",
                                std::count(strText.begin(), strText.end(), ',') + 1);
         },
         "success, 500 entries", kSame},
        {"SFTP directories", "readDir, empty directory", kOnce,
         [](CCell& cell) { return List(cell, ""); }, "success; nothing", kSame},
        {"SFTP directories", "readDir, missing directory", kOnce,
         [](CCell& cell) { return List(cell, "missing"); },
         "12 list missing: no such file or directory; nothing", kSame},
        {"SFTP directories", "makeDir, name in UTF-8", kOnce,
         [](CCell& cell) { return Changed(cell, &SFTP_Session_Wrp::makeDir, kUtf8); },
         "success; left: größe 漢字.bin/", kSame},
        {"SFTP directories", "makeDir, there already", kOnce,
         [](CCell& cell) {
             cell.ServeDirectory("sub");
             return Changed(cell, &SFTP_Session_Wrp::makeDir, "sub");
         },
         "14 make directory sub: it exists already; left: sub/", kSame},
        {"SFTP directories", "makeDir, where the server may not write", kOnce,
         [](CCell& cell) {
             Lock(cell);
             return Changed(cell, &SFTP_Session_Wrp::makeDir, "locked/new");
         },
         "13 make directory locked/new: permission denied; left: locked/, locked/file", kSame},
        {"SFTP directories", "removeDir", kOnce,
         [](CCell& cell) {
             cell.ServeDirectory(kBlank);
             return Changed(cell, &SFTP_Session_Wrp::removeDir, kBlank);
         },
         "success; left: nothing", kSame},
        {"SFTP directories", "removeDir, with a file in it", kOnce,
         [](CCell& cell) {
             cell.Serve("sub/file", "12345");
             return Changed(cell, &SFTP_Session_Wrp::removeDir, "sub");
         },
         "15 remove directory sub: the server says \"Failure\" (status 4); left: sub/, sub/file",
         kSame},
        {"SFTP directories", "removeDir, missing directory", kOnce,
         [](CCell& cell) { return Changed(cell, &SFTP_Session_Wrp::removeDir, "missing"); },
         "12 remove directory missing: no such file or directory; left: nothing", kSame},

        {"SFTP files", "stat of a link to a file", kOnce,
         [](CCell& cell) {
             cell.Serve("file", "12345");
             fs::create_symlink("file", cell.Served("link"));
             return Stat(cell, "link", false);
         },
         "success; - 5 0644", kSame},
        {"SFTP files", "statLink of a link", kOnce,
         [](CCell& cell) {
             cell.Serve("file", "12345");
             fs::create_symlink("file", cell.Served("link"));
             return Stat(cell, "link", true);
         },
         "success; l 0777", kSame},
        {"SFTP files", "stat, missing file", kOnce,
         [](CCell& cell) { return Stat(cell, "missing", false); },
         "12 stat missing: no such file or directory", kSame},
        {"SFTP files", "setModified, setPermission, stat", kOnce,
         [](CCell& cell) {
             cell.Serve("file", "12345");
             CSession session(cell);
             std::string strText =
                 session.Result(session->setModified(session.Path("file"), 1684328700));
             strText += ", " + session.Result(session->setPermission(session.Path("file"), 0640));
             SFTP_FileInfo info = {};
             strText += ", " + session.Result(session->stat(session.Path("file"), info));
             return strText + fmt::format("; {}, {}", info.llModified, InfoText(info));
         },
         "success, success, success; 1684328700, - 5 0640", kSame},
        {"SFTP files", "remove, names with blanks and in UTF-8", kOnce,
         [](CCell& cell) {
             cell.Serve(std::string(kBlank) + "/" + kUtf8, "12345");
             return Changed(cell, &SFTP_Session_Wrp::remove, std::string(kBlank) + "/" + kUtf8);
         },
         "success; left: with two blanks.bin/", kSame},
        {"SFTP files", "remove, missing file", kOnce,
         [](CCell& cell) { return Changed(cell, &SFTP_Session_Wrp::remove, "missing"); },
         "12 remove missing: no such file or directory; left: nothing", kSame},
        {"SFTP files", "remove, a directory", kOnce,
         [](CCell& cell) {
             cell.ServeDirectory("sub");
             return Changed(cell, &SFTP_Session_Wrp::remove, "sub");
         },
         "15 remove sub: the server says \"Failure\" (status 4); left: sub/", kSame},
        {"SFTP files", "remove, where the server may not write", kOnce,
         [](CCell& cell) {
             Lock(cell);
             return Changed(cell, &SFTP_Session_Wrp::remove, "locked/file");
         },
         "13 remove locked/file: permission denied; left: locked/, locked/file", kSame},
        {"SFTP files", "rename", kOnce,
         [](CCell& cell) {
             cell.Serve(kBlank, "12345");
             CSession session(cell);
             const std::string strResult =
                 session.Result(session->rename(session.Path(kBlank), session.Path(kUtf8)));
             return strResult + "; " + cell.ServedNames();
         },
         "success; größe 漢字.bin", kSame},
        {"SFTP files", "rename, target there already", kOnce,
         [](CCell& cell) {
             cell.Serve("a", "new");
             cell.Serve("b", "old");
             CSession session(cell);
             const std::string strResult =
                 session.Result(session->rename(session.Path("a"), session.Path("b")));
             return strResult + "; " + cell.ServedNames() + "; b " + cell.IsServed("b", "old");
         },
         "14 rename a to b: it exists already; a, b; b whole", kSame},
        {"SFTP files", "replace, target there already", kOnce,
         [](CCell& cell) {
             cell.Serve("a", "new");
             cell.Serve("b", "old");
             CSession session(cell);
             const std::string strResult =
                 session.Result(session->replace(session.Path("a"), session.Path("b")));
             return strResult + "; " + cell.ServedNames() + "; b " + cell.IsServed("b", "new");
         },
         "success; b; b whole", kSame},
        {"SFTP files", "openFile, writeFile, readFile, closeFile", kOnce,
         [](CCell& cell) {
             CSession session(cell);
             SFTP_File* pFile = nullptr;
             std::string strText = session.Result(
                 session->openFile(session.Path("file"),
                                   SFTP_OPEN_READ | SFTP_OPEN_WRITE | SFTP_OPEN_CREATE, &pFile));
             strText += ", " + session.Result(
                                   session->writeFile(pFile, 0, Bytes().data(), Bytes().size()));
             std::string strRead(5000, '\0');
             std::size_t nRead = 0;
             strText += ", " + session.Result(session->readFile(pFile, 1000, strRead.data(),
                                                                strRead.size(), &nRead));
             strRead.resize(nRead);
             strText += ", " + session.Result(session->closeFile(pFile));
             return strText + "; " + cell.IsServed("file", Bytes()) + "; " +
                    (strRead == Bytes().substr(1000) ? "read as written" : "read otherwise");
         },
         "success, success, success, success; whole; read as written", kSame},
        {"SFTP files", "openFile, exclusive, file there already", kOnce,
         [](CCell& cell) {
             cell.Serve("file", "12345");
             CSession session(cell);
             SFTP_File* pFile = nullptr;
             const int nResult = session->openFile(
                 session.Path("file"), SFTP_OPEN_WRITE | SFTP_OPEN_CREATE | SFTP_OPEN_EXCLUSIVE,
                 &pFile);
             const std::string strResult = session.Result(nResult);
             if (pFile != nullptr) session->closeFile(pFile);
             return strResult;
         },
         "14 open file: it exists already", kSame},
        {"SFTP files", "readAll of 1 MiB from an offset", kOnce,
         [](CCell& cell) {
             cell.Serve("file", Mebibyte());
             CSession session(cell);
             SFTP_File* pFile = nullptr;
             std::string strText =
                 session.Result(session->openFile(session.Path("file"), SFTP_OPEN_READ, &pFile));
             CSink sink;
             strText += ", " + session.Result(session->readAll(pFile, 12345, sink));
             strText += ", " + session.Result(session->closeFile(pFile));
             return strText + "; " +
                    (sink.m_strBytes == Mebibyte().substr(12345) ? "the bytes" : "other bytes");
         },
         "success, success, success; the bytes", kSame},
        {"SFTP files", "writeAll of 1 MiB", kOnce,
         [](CCell& cell) {
             CSession session(cell);
             SFTP_File* pFile = nullptr;
             std::string strText = session.Result(session->openFile(
                 session.Path("file"), SFTP_OPEN_WRITE | SFTP_OPEN_CREATE, &pFile));
             CSource source(Mebibyte());
             strText += ", " + session.Result(session->writeAll(pFile, 0, source));
             strText += ", " + session.Result(session->closeFile(pFile));
             return strText + "; " + cell.IsServed("file", Mebibyte());
         },
         "success, success, success; whole", kSame},

        {"SFTP transfers", "getFile, bytes of all values", kOnce,
         [](CCell& cell) { return Get(cell, "file", Bytes()); }, "success; whole", kSame},
        {"SFTP transfers", "getFile, empty file", kOnce,
         [](CCell& cell) { return Get(cell, "file", ""); }, "success; whole", kSame},
        {"SFTP transfers", "getFile, 1 MiB", kOnce,
         [](CCell& cell) { return Get(cell, "file", Mebibyte()); }, "success; whole", kSame},
        {"SFTP transfers", "getFile, name with blanks", kOnce,
         [](CCell& cell) { return Get(cell, kBlank, Bytes()); }, "success; whole", kSame},
        {"SFTP transfers", "getFile, name in UTF-8", kOnce,
         [](CCell& cell) { return Get(cell, kUtf8, Bytes()); }, "success; whole", kSame},
        {"SFTP transfers", "getFile, missing file", kOnce,
         [](CCell& cell) { return GetRefused(cell, "missing"); },
         "12 open missing: no such file or directory; the old local file: whole; got", kSame},
        {"SFTP transfers", "getFile, file that the server may not read", kOnce,
         [](CCell& cell) {
             cell.Serve("secret", "secret");
             fs::permissions(cell.Served("secret"), fs::perms::none);
             return GetRefused(cell, "secret");
         },
         "13 open secret: permission denied; the old local file: whole; got", kSame},
        {"SFTP transfers", "getFile, cancelled by progress; the session goes on", kOnce,
         [](CCell& cell) {
             cell.Serve("file", Mebibyte());
             CSession session(cell);
             CCanceller canceller;
             std::string strText = session.Result(
                 session->getFile(session.Path("file"), Text(cell.Local("got")), &canceller));
             strText += "; " + session.Result(session->getFile(session.Path("file"),
                                                               Text(cell.Local("again")), nullptr));
             return strText + ", " + cell.IsLocal("again", Mebibyte()) + "; " + cell.LocalNames();
         },
         "17 cancelled; success, whole; again", kSame},
        {"SFTP transfers", "putFile, bytes of all values", kOnce,
         [](CCell& cell) { return Put(cell, "file", Bytes()); }, "success; whole", kSame},
        {"SFTP transfers", "putFile, empty file", kOnce,
         [](CCell& cell) { return Put(cell, "file", ""); }, "success; whole", kSame},
        {"SFTP transfers", "putFile, 1 MiB", kOnce,
         [](CCell& cell) { return Put(cell, "file", Mebibyte()); }, "success; whole", kSame},
        {"SFTP transfers", "putFile, name with blanks", kOnce,
         [](CCell& cell) { return Put(cell, kBlank, Bytes()); }, "success; whole", kSame},
        {"SFTP transfers", "putFile, name in UTF-8", kOnce,
         [](CCell& cell) { return Put(cell, kUtf8, Bytes()); }, "success; whole", kSame},
        {"SFTP transfers", "putFile, over a longer file", kOnce,
         [](CCell& cell) {
             cell.Serve("file", Mebibyte());
             return Put(cell, "file", Bytes());
         },
         "success; whole", kSame},
        {"SFTP transfers", "putFile, into a missing directory", kOnce,
         [](CCell& cell) { return Put(cell, "missing/file", Bytes()); },
         "12 open missing/file: no such file or directory; missing", kSame},
        {"SFTP transfers", "putFile, into a directory that the server may not write", kOnce,
         [](CCell& cell) {
             Lock(cell);
             return Put(cell, "locked/new", Bytes());
         },
         "13 open locked/new: permission denied; missing", kSame},
        {"SFTP transfers", "putFile, missing local file", kOnce,
         [](CCell& cell) {
             CSession session(cell);
             const int nResult =
                 session->putFile(Text(cell.Local("missing")), session.Path("file"), nullptr);
             return std::to_string(nResult) + "; served: " + cell.ServedNames();
         },
         "16; served: nothing", kSame},
    };
    return operations;
}

}  // namespace MatrixTest
