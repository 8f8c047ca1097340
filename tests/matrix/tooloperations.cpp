// qelftp, each command.

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/matrix/operation.h"
#include "tests/support/tempdir.h"
#include "tests/tool/childprocess.h"

namespace MatrixTest {
namespace {

namespace fs = std::filesystem;
using ToolTest::Arguments;
using ToolTest::SRun;

std::string HostAndPort(const CCell& cell) {
    return "127.0.0.1:" + std::to_string(cell.Server().Port());
}

std::string Url(const CCell& cell, const std::string& strName = "") {
    const char* pszScheme = cell.Column().eProtocol == EProtocol::Ftp ? "ftp://" : "sftp://";
    return pszScheme + cell.Server().User() + "@" + HostAndPort(cell) + cell.Remote(strName);
}

// The program's dialogue goes into the cell's; what remains of its standard error are failures.
SRun RunWith(CCell& cell, const std::string& strPassword, Arguments arguments) {
    TestSupport::WriteFile(cell.Home("known_hosts"),
                           "[127.0.0.1]:" + std::to_string(cell.Server().Port()) + " " +
                               cell.Server().HostKey() + "\n");
    arguments.insert(arguments.begin(), {"--quiet", "--verbose", "--connect-timeout", "15",
                                         "--known-hosts", cell.Home("known_hosts")});
    ToolTest::SSurroundings surroundings;
    surroundings.strDirectory = cell.Local();
    surroundings.environment = {{"HOME", cell.Home()},
                                {"QELFTP_PASSWORD", strPassword},
                                {"QEL_LOG_LEVEL", "info"},
                                {"QEL_LOG_FILE", cell.Home("log")}};
    SRun run = ToolTest::RunTool(arguments, surroundings);
    std::istringstream lines(run.strErr);
    run.strErr.clear();
    for (std::string strLine; std::getline(lines, strLine);) {
        cell.Note(strLine);
        if (strLine.rfind("> ", 0) != 0 && strLine.rfind("< ", 0) != 0) {
            run.strErr += (run.strErr.empty() ? "" : " | ") + cell.Neutral(strLine);
        }
    }
    if (fs::exists(cell.Home("log"))) cell.Note(TestSupport::ReadFile(cell.Home("log")));
    return run;
}

SRun Run(CCell& cell, const Arguments& arguments) {
    return RunWith(cell, cell.Server().Password(), arguments);
}

// "exit 0", or "exit 1: qelftp: ..."
std::string Ended(const SRun& run) {
    return fmt::format("exit {}{}", run.nExit, run.strErr.empty() ? "" : ": " + run.strErr);
}

// A run that prints nothing.
std::string Silent(CCell& cell, const Arguments& arguments) {
    const SRun run = Run(cell, arguments);
    return Ended(run) + (run.strOut.empty() ? "" : "; printed " + run.strOut);
}

std::size_t Lines(const std::string& strText) {
    return static_cast<std::size_t>(std::count(strText.begin(), strText.end(), '\n'));
}

// "file 5 name, directory name": of ls --json.
std::string Entries(const SRun& run) {
    std::istringstream lines(run.strOut);
    std::vector<std::string> entries;
    for (std::string strLine; std::getline(lines, strLine);) {
        const nlohmann::json entry = nlohmann::json::parse(strLine);
        const auto& size = entry["size"];
        entries.push_back(
            entry["type"] == "file"
                ? fmt::format("file {} {}", size.dump(), entry["name"].get<std::string>())
                : fmt::format("{} {}", entry["type"].get<std::string>(),
                              entry["name"].get<std::string>()));
    }
    std::sort(entries.begin(), entries.end());
    return Ended(run) + "; " +
           (entries.empty() ? "nothing" : fmt::format("{}", fmt::join(entries, ", ")));
}

// "greeting ok, login ok": of check --json.
std::string Steps(const SRun& run) {
    std::istringstream lines(run.strOut);
    std::vector<std::string> steps;
    for (std::string strLine; std::getline(lines, strLine);) {
        const nlohmann::json step = nlohmann::json::parse(strLine);
        steps.push_back(step["step"].get<std::string>() + " " + step["result"].get<std::string>());
    }
    return fmt::format("{}; {}", Ended(run), fmt::join(steps, ", "));
}

void ServeTree(const CCell& cell, const std::string& strTop) {
    for (const std::string& strFile : TreeFiles())
        cell.Serve(strTop + "/" + strFile, TreeBytes(strFile));
    cell.ServeDirectory(strTop + "/one/empty directory");
    SetTimes(cell.Served(), kThatDay + 60);
}

void KeepTree(const CCell& cell, const std::string& strTop) {
    for (const std::string& strFile : TreeFiles())
        cell.Keep(strTop + "/" + strFile, TreeBytes(strFile));
    fs::create_directories(cell.Local(strTop + "/one/empty directory"));
    SetTimes(cell.Local(), kThatDay);
}

// "6 of 6 files whole, 4 directories", or what is amiss.
template <class TIs>
std::string TreeText(const std::string& strTop, const std::string& strNames, TIs is) {
    std::size_t nWhole = 0;
    std::string strAmiss;
    for (const std::string& strFile : TreeFiles()) {
        const std::string strIs = is(strTop + "/" + strFile, TreeBytes(strFile));
        nWhole += strIs == "whole" ? 1 : 0;
        if (strIs != "whole") strAmiss += ", " + strFile + " " + strIs;
    }
    const auto nDirectories = std::count(strNames.begin(), strNames.end(), ',') + 1 -
                              static_cast<std::ptrdiff_t>(TreeFiles().size());
    return fmt::format("{} of {} files whole, {} directories{}", nWhole, TreeFiles().size(),
                       nDirectories, strAmiss);
}

std::string LocalTree(const CCell& cell, const std::string& strTop) {
    return TreeText(strTop, cell.LocalNames(strTop),
                    [&](const std::string& strFile, const std::string& strBytes) {
                        return cell.IsLocal(strFile, strBytes);
                    });
}

std::string ServedTree(const CCell& cell, const std::string& strTop) {
    return TreeText(strTop, cell.ServedNames(strTop),
                    [&](const std::string& strFile, const std::string& strBytes) {
                        return cell.IsServed(strFile, strBytes);
                    });
}

// A command whose second run finds nothing to do, a minute after the first one had sent its files.
std::string Twice(CCell& cell, const Arguments& arguments) {
    const SRun first = Run(cell, arguments);
    SetTimes(cell.Served(), kThatDay + 60);
    const SRun second = Run(cell, arguments);
    return fmt::format("{}, {} moved; again {}, {} moved", Ended(first), Lines(first.strOut),
                       Ended(second), Lines(second.strOut));
}

void Lock(const CCell& cell) {
    cell.Serve("locked/file", "old");
    fs::permissions(cell.Served("locked"), fs::perms::owner_read | fs::perms::owner_exec);
}

std::string GetRefused(CCell& cell, const std::string& strName) {
    cell.Keep("got", "old");
    const SRun run = Run(cell, {"get", "--retries", "0", Url(cell, strName), "got"});
    return CText() << Ended(run) << "; the old local file: " << cell.IsLocal("got", "old") << "; "
                   << cell.LocalNames();
}

std::string PutRefused(CCell& cell, const std::string& strName) {
    cell.Keep("source", "12345");
    return CText() << Silent(cell, {"put", "--retries", "0", "source", Url(cell, strName)}) << "; "
                   << cell.IsServed(strName, "12345");
}

std::string Remove(CCell& cell, const char* pszCommand, const std::string& strName) {
    return CText() << Silent(cell, {pszCommand, Url(cell, strName)})
                   << "; left: " << cell.ServedNames();
}

constexpr EModes kOnce = EModes::Once;
constexpr const char* kSame = nullptr;
constexpr const char* kGroup = "qelftp";
constexpr const char* kFailing = "qelftp, what it refuses and what is refused";

// What is told of failures depends on the protocol: these are run on either, expected differently.
std::string LsMissing(CCell& cell) {
    return Silent(cell, {"ls", Url(cell, "missing")});
}
std::string GetMissing(CCell& cell) {
    return GetRefused(cell, "missing");
}
std::string GetUnreadable(CCell& cell) {
    cell.Serve("secret", "12345");
    fs::permissions(cell.Served("secret"), fs::perms::none);
    return GetRefused(cell, "secret");
}
std::string GetMissingAmongOthers(CCell& cell) {
    cell.Serve("a", "first");
    cell.Serve("c", "third");
    const SRun run = Run(cell, {"get", Url(cell, "a"), Url(cell, "b"), Url(cell, "c"), "."});
    return CText() << Ended(run) << "; " << cell.LocalNames();
}
std::string PutIntoMissing(CCell& cell) {
    return PutRefused(cell, "missing/file");
}
std::string PutIntoLocked(CCell& cell) {
    Lock(cell);
    return PutRefused(cell, "locked/new");
}
std::string RmMissing(CCell& cell) {
    return Remove(cell, "rm", "missing");
}
std::string RmDirectory(CCell& cell) {
    cell.ServeDirectory("sub");
    return Remove(cell, "rm", "sub");
}
std::string RmLocked(CCell& cell) {
    Lock(cell);
    return Remove(cell, "rm", "locked/file");
}
std::string MkdirLocked(CCell& cell) {
    Lock(cell);
    return Remove(cell, "mkdir", "locked/new");
}
std::string MkdirFile(CCell& cell) {
    cell.Serve("file", "12345");
    return Remove(cell, "mkdir", "file");
}
std::string RmdirMissing(CCell& cell) {
    return Remove(cell, "rmdir", "missing");
}
std::string RmdirWithDirectory(CCell& cell) {
    cell.Serve("sub/file", "12345");
    cell.ServeDirectory("sub/inner");
    return Remove(cell, "rmdir", "sub");
}
std::string ExistsMissing(CCell& cell) {
    return Silent(cell, {"exists", Url(cell, "missing")});
}
std::string WrongPassword(CCell& cell) {
    const SRun run = RunWith(cell, "wrong", {"ls", Url(cell)});
    return Ended(run);
}
std::string ContinueGet(CCell& cell) {
    cell.Serve("file", Mebibyte());
    cell.Keep("got.part", Mebibyte().substr(0, 700000));
    const SRun run = Run(cell, {"get", "-c", Url(cell, "file"), "got"});
    return CText() << Ended(run) << "; " << cell.IsLocal("got", Mebibyte());
}
std::string ContinuePut(CCell& cell) {
    cell.Keep("source", Mebibyte());
    cell.Serve("file.part", Mebibyte().substr(0, 700000));
    const SRun run = Run(cell, {"put", "-c", "source", Url(cell, "file")});
    return CText() << Ended(run) << "; " << cell.IsServed("file", Mebibyte());
}
std::string Check(CCell& cell) {
    return Steps(Run(cell, {"check", "--json", Url(cell).substr(0, Url(cell).rfind('/'))}));
}

}  // namespace

const std::vector<SOperation>& ToolOperations() {
    static const std::vector<SOperation> operations = {
        {kGroup, "ls, plain", kOnce,
         [](CCell& cell) {
             cell.Serve("file", Bytes());
             cell.ServeDirectory("sub");
             const SRun run = Run(cell, {"ls", Url(cell)});
             const bool bShown = run.strOut.find("file  4259  ") == 0 &&
                                 run.strOut.find("\ndir   ") != std::string::npos;
             return fmt::format("{}; {} lines{}", Ended(run), Lines(run.strOut),
                                bShown ? "" : ":\n" + run.strOut);
         },
         "exit 0; 2 lines", kSame},
        {kGroup, "ls --json, files and directories", kOnce,
         [](CCell& cell) {
             cell.Serve("empty", "");
             cell.Serve("file", Bytes());
             cell.Serve(kBlank, "1");
             cell.Serve(kUtf8, "12");
             cell.ServeDirectory("sub");
             return Entries(Run(cell, {"ls", "--json", Url(cell)}));
         },
         "exit 0; directory sub, file 0 empty, file 1 with two blanks.bin, file 2 größe 漢字.bin, "
         "file 4259 file",
         kSame},
        {kGroup, "ls, empty directory", kOnce,
         [](CCell& cell) {
             return Entries(Run(cell, {"ls", "--json", Url(cell)}));
         },
         "exit 0; nothing", kSame},
        {kGroup, "ls, a pattern", kOnce,
         [](CCell& cell) {
             for (const char* pszName : {"file", kBlank, kUtf8})
                 cell.Serve(pszName, "12345");
             return Entries(Run(cell, {"ls", "--json", Url(cell, "*.b?[n]")}));
         },
         "exit 0; file 5 größe 漢字.bin, file 5 with two blanks.bin", kSame},
        {kGroup, "get, one file", kOnce,
         [](CCell& cell) -> std::string {
             cell.Serve("file", Bytes());
             return CText() << Silent(cell, {"get", Url(cell, "file"), "got"}) << "; "
                            << cell.IsLocal("got", Bytes());
         },
         "exit 0; whole", kSame},
        {kGroup, "get, an empty one, one of 1 MiB, names with blanks and in UTF-8", kOnce,
         [](CCell& cell) -> std::string {
             cell.Serve("empty", "");
             cell.Serve("large", Mebibyte());
             cell.Serve(kBlank, Bytes());
             cell.Serve(kUtf8, Bytes());
             return CText() << Silent(cell, {"get", Url(cell, "empty"), Url(cell, "large"),
                                             Url(cell, kBlank), Url(cell, kUtf8), "."})
                            << "; " << cell.IsLocal("empty", "") << ", "
                            << cell.IsLocal("large", Mebibyte()) << ", "
                            << cell.IsLocal(kBlank, Bytes()) << ", "
                            << cell.IsLocal(kUtf8, Bytes());
         },
         "exit 0; whole, whole, whole, whole", kSame},
        {kGroup, "get, a pattern", kOnce,
         [](CCell& cell) -> std::string {
             for (const char* pszName : {"file", kBlank, kUtf8})
                 cell.Serve(pszName, "12345");
             return CText() << Silent(cell, {"get", Url(cell, "*.bin"), "."}) << "; "
                            << cell.LocalNames();
         },
         "exit 0; größe 漢字.bin, with two blanks.bin", kSame},
        {kGroup, "get -r, a nested tree, twice", kOnce,
         [](CCell& cell) -> std::string {
             ServeTree(cell, "tree");
             return CText() << Twice(cell, {"get", "-r", "--json", Url(cell, "tree"), "."}) << "; "
                            << LocalTree(cell, "tree");
         },
         "exit 0, 6 moved; again exit 0, 0 moved; 6 of 6 files whole, 5 directories", kSame},
        {kGroup, "get -r --jobs 4", kOnce,
         [](CCell& cell) -> std::string {
             ServeTree(cell, "tree");
             return CText() << Silent(cell, {"get", "-r", "--jobs", "4", Url(cell, "tree"), "."})
                            << "; " << LocalTree(cell, "tree");
         },
         "exit 0; 6 of 6 files whole, 5 directories", kSame},
        {kGroup, "put, one file", kOnce,
         [](CCell& cell) -> std::string {
             cell.Keep("source", Bytes());
             return CText() << Silent(cell, {"put", "source", Url(cell, "file")}) << "; "
                            << cell.IsServed("file", Bytes()) << "; " << cell.ServedNames();
         },
         "exit 0; whole; file", kSame},
        {kGroup, "put, over a longer file", kOnce,
         [](CCell& cell) -> std::string {
             cell.Keep("source", Bytes());
             cell.Serve("file", Mebibyte());
             return CText() << Silent(cell, {"put", "source", Url(cell, "file")}) << "; "
                            << cell.IsServed("file", Bytes()) << "; " << cell.ServedNames();
         },
         "exit 0; whole; file", kSame},
        {kGroup, "put, an empty one, one of 1 MiB, names with blanks and in UTF-8", kOnce,
         [](CCell& cell) -> std::string {
             cell.Keep("empty", "");
             cell.Keep("large", Mebibyte());
             cell.Keep(kBlank, Bytes());
             cell.Keep(kUtf8, Bytes());
             return CText() << Silent(cell,
                                      {"put", "empty", "large", kBlank, kUtf8, Url(cell) + "/"})
                            << "; " << cell.IsServed("empty", "") << ", "
                            << cell.IsServed("large", Mebibyte()) << ", "
                            << cell.IsServed(kBlank, Bytes()) << ", "
                            << cell.IsServed(kUtf8, Bytes());
         },
         "exit 0; whole, whole, whole, whole", kSame},
        {kGroup, "put -r, a nested tree, twice", kOnce,
         [](CCell& cell) -> std::string {
             KeepTree(cell, "tree");
             return CText() << Twice(cell, {"put", "-r", "--json", "tree", Url(cell)}) << "; "
                            << ServedTree(cell, "tree");
         },
         "exit 0, 6 moved; again exit 0, 0 moved; 6 of 6 files whole, 5 directories", kSame},
        {kGroup, "put -r --jobs 4", kOnce,
         [](CCell& cell) -> std::string {
             KeepTree(cell, "tree");
             return CText() << Silent(cell, {"put", "-r", "--jobs", "4", "tree", Url(cell)}) << "; "
                            << ServedTree(cell, "tree");
         },
         "exit 0; 6 of 6 files whole, 5 directories", kSame},
        {kGroup, "mirror from the server, twice", kOnce,
         [](CCell& cell) -> std::string {
             ServeTree(cell, "tree");
             return CText() << Twice(cell, {"mirror", "--json", Url(cell, "tree"), "copy"}) << "; "
                            << LocalTree(cell, "copy");
         },
         "exit 0, 6 moved; again exit 0, 0 moved; 6 of 6 files whole, 5 directories", kSame},
        {kGroup, "mirror to the server, twice", kOnce,
         [](CCell& cell) -> std::string {
             KeepTree(cell, "tree");
             return CText() << Twice(cell, {"mirror", "--json", "tree", Url(cell, "copy")}) << "; "
                            << ServedTree(cell, "copy");
         },
         "exit 0, 6 moved; again exit 0, 0 moved; 6 of 6 files whole, 5 directories", kSame},
        {kGroup, "mirror --delete from the server", kOnce,
         [](CCell& cell) -> std::string {
             cell.Serve("tree/a", "12345");
             cell.Keep("copy/a", "12345");
             cell.Keep(std::string("copy/sub/") + kUtf8, "12345");
             const SRun run = Run(cell, {"mirror", "--delete", "--yes", Url(cell, "tree"), "copy"});
             return CText() << Ended(run) << "; " << cell.LocalNames("copy");
         },
         "exit 0; a", kSame},
        {kGroup, "mirror --delete to the server", kOnce,
         [](CCell& cell) -> std::string {
             cell.Keep("tree/a", "12345");
             cell.Serve("copy/a", "123");
             cell.Serve(std::string("copy/sub/") + kUtf8, "12345");
             cell.Serve(std::string("copy/sub/") + kBlank, "12345");
             const SRun run = Run(cell, {"mirror", "--delete", "--yes", "tree", Url(cell, "copy")});
             return CText() << Ended(run) << "; " << cell.ServedNames("copy") << "; "
                            << cell.IsServed("copy/a", "12345");
         },
         "exit 0; a; whole", kSame},
        {kGroup, "rm, name with blanks", kOnce,
         [](CCell& cell) {
             cell.Serve(kBlank, "12345");
             return Remove(cell, "rm", kBlank);
         },
         "exit 0; left: nothing", kSame},
        {kGroup, "rm, name in UTF-8", kOnce,
         [](CCell& cell) {
             cell.Serve(kUtf8, "12345");
             return Remove(cell, "rm", kUtf8);
         },
         "exit 0; left: nothing", kSame},
        {kGroup, "rm, a pattern", kOnce,
         [](CCell& cell) {
             for (const char* pszName : {"file", kBlank, kUtf8})
                 cell.Serve(pszName, "12345");
             return Remove(cell, "rm", "*.bin");
         },
         "exit 0; left: file", kSame},
        {kGroup, "mkdir, three levels", kOnce,
         [](CCell& cell) { return Remove(cell, "mkdir", std::string("one/") + kUtf8 + "/three"); },
         "exit 0; left: one/, one/größe 漢字.bin/, one/größe 漢字.bin/three/", kSame},
        {kGroup, "mkdir, there already", kOnce,
         [](CCell& cell) {
             cell.ServeDirectory("sub");
             return Remove(cell, "mkdir", "sub");
         },
         "exit 0; left: sub/", kSame},
        {kGroup, "rmdir, with files", kOnce,
         [](CCell& cell) {
             for (const char* pszName : {"plain", kBlank, kUtf8})
                 cell.Serve(std::string("sub/") + pszName, "12345");
             return Remove(cell, "rmdir", "sub");
         },
         "exit 0; left: nothing", kSame},
        {kGroup, "exists, a file and a directory", kOnce,
         [](CCell& cell) -> std::string {
             cell.Serve(std::string("sub/") + kUtf8, "12345");
             return CText() << Silent(cell, {"exists", Url(cell, std::string("sub/") + kUtf8)})
                            << "; " << Silent(cell, {"exists", Url(cell, "sub")}) << "; "
                            << Silent(cell, {"exists", Url(cell)});
         },
         "exit 0; exit 0; exit 0", kSame},
    };
    return operations;
}

const std::vector<SOperation>& ToolFtpOperations() {
    static const std::vector<SOperation> operations = {
        {kFailing, "check", kOnce, Check,
         "exit 0; greeting ok, login ok, root directory ok, passive address ok, data connection "
         "ok, listing ok, UTF-8 ok, close ok",
         kSame},
        {kFailing, "ls, wrong password", kOnce, WrongPassword,
         "exit 1: qelftp: login HOST: login refused (0x3bb00007); check the user name and "
         "QELFTP_PASSWORD",
         kSame},
        {kFailing, "ls, missing directory", kOnce, LsMissing,
         "exit 1: qelftp: ls /missing: no such file or directory (0x3bb0000e)", kSame},
        {kFailing, "get, missing file", kOnce, GetMissing,
         "exit 1: qelftp: get /missing: no such file or directory (0x3bb0000e); the old local "
         "file: whole; got",
         kSame},
        {kFailing, "get, file that the server may not read", kOnce, GetUnreadable,
         "exit 1: qelftp: get /secret: permission denied (0x3bb0000d); the old local file: whole; "
         "got",
         kSame},
        {kFailing, "get, a missing file among others", kOnce, GetMissingAmongOthers,
         "exit 1: qelftp: get /b: no such file or directory (0x3bb0000e) | qelftp: 2 of 3 files, 1 "
         "failed; a, c",
         kSame},
        {kFailing, "get -c", kOnce, ContinueGet,
         "exit 2: qelftp: ftp:// cannot add to a half file: -c is for sftp:// | Try 'qelftp get "
         "--help'.; missing",
         kSame},
        {kFailing, "put, into a missing directory", kOnce, PutIntoMissing,
         "exit 1: qelftp: put /missing/file: no such file or directory (0x3bb0000e); missing",
         kSame},
        {kFailing, "put, into a directory that the server may not write", kOnce, PutIntoLocked,
         "exit 1: qelftp: put /locked/new: permission denied (0x3bb0000d); missing", kSame},
        {kFailing, "put -c", kOnce, ContinuePut,
         "exit 2: qelftp: ftp:// cannot add to a half file: -c is for sftp:// | Try 'qelftp put "
         "--help'.; missing",
         kSame},
        {kFailing, "rm, missing file", kOnce, RmMissing,
         "exit 1: qelftp: rm /missing: no such file or directory (0x3bb0000e); left: nothing",
         kSame},
        {kFailing, "rm, a directory", kOnce, RmDirectory,
         "exit 1: qelftp: rm /sub: file removal refused (0x3bb0000c); check that it is a file; "
         "qelftp "
         "rmdir removes directories; left: sub/",
         kSame},
        {kFailing, "rm, where the server may not write", kOnce, RmLocked,
         "exit 1: qelftp: rm /locked/file: permission denied (0x3bb0000d); left: locked/, "
         "locked/file",
         kSame},
        {kFailing, "mkdir, where the server may not write", kOnce, MkdirLocked,
         "exit 1: qelftp: mkdir /locked/new: permission denied (0x3bb0000d); left: locked/, "
         "locked/file",
         kSame},
        {kFailing, "mkdir, name of a file", kOnce, MkdirFile,
         "exit 1: qelftp: mkdir /file: already exists (0x3bb00016); left: file", kSame},
        {kFailing, "rmdir, missing directory", kOnce, RmdirMissing,
         "exit 1: qelftp: rmdir /missing: no such file or directory (0x3bb0000e); left: nothing",
         kSame},
        {kFailing, "rmdir, with a directory in it", kOnce, RmdirWithDirectory,
         "exit 1: qelftp: rmdir /sub: directory removal refused (0x3bb0000b); check that it is a "
         "directory without directories in it; left: sub/, sub/inner/",
         kSame},
        {kFailing, "exists, missing file", kOnce, ExistsMissing,
         "exit 1: qelftp: exists /missing: no such file or directory (0x3bb0000e)", kSame},
    };
    return operations;
}

const std::vector<SOperation>& ToolSftpOperations() {
    static const std::vector<SOperation> operations = {
        {kFailing, "check", kOnce, Check, "exit 0; login ok, listing ok, close ok", kSame},
        {kFailing, "ls, wrong password", kOnce, WrongPassword,
         "exit 1: qelftp: login HOST: login refused (SFTP error 7); check the user name and "
         "QELFTP_PASSWORD, or the key of --identity",
         kSame},
        {kFailing, "ls, missing directory", kOnce, LsMissing,
         "exit 1: qelftp: ls /missing: no such file or directory (SFTP error 12)", kSame},
        {kFailing, "get, missing file", kOnce, GetMissing,
         "exit 1: qelftp: get /missing: no such file or directory (SFTP error 12); the old local "
         "file: whole; got",
         kSame},
        {kFailing, "get, file that the server may not read", kOnce, GetUnreadable,
         "exit 1: qelftp: get /secret: permission denied (SFTP error 13); the old local file: "
         "whole; got",
         kSame},
        {kFailing, "get, a missing file among others", kOnce, GetMissingAmongOthers,
         "exit 1: qelftp: get /b: no such file or directory (SFTP error 12) | qelftp: 2 of 3 "
         "files, 1 failed; a, c",
         kSame},
        {kFailing, "get -c", kOnce, ContinueGet, "exit 0; whole", kSame},
        {kFailing, "put, into a missing directory", kOnce, PutIntoMissing,
         "exit 1: qelftp: put /missing/file: no such file or directory (SFTP error 12); check that "
         "the directory exists (qelftp mkdir makes it); missing",
         kSame},
        {kFailing, "put, into a directory that the server may not write", kOnce, PutIntoLocked,
         "exit 1: qelftp: put /locked/new: permission denied (SFTP error 13); the directory must "
         "allow new files: they replace the old ones when they are complete; missing",
         kSame},
        {kFailing, "put -c", kOnce, ContinuePut, "exit 0; whole", kSame},
        {kFailing, "rm, missing file", kOnce, RmMissing,
         "exit 1: qelftp: rm /missing: no such file or directory (SFTP error 12); left: nothing",
         kSame},
        {kFailing, "rm, a directory", kOnce, RmDirectory,
         "exit 1: qelftp: rm /sub: the server refuses: remove sub: the server says \"Failure\" "
         "(status 4) (SFTP error 15); check that it is a file; qelftp rmdir removes directories; "
         "left: sub/",
         kSame},
        {kFailing, "rm, where the server may not write", kOnce, RmLocked,
         "exit 1: qelftp: rm /locked/file: permission denied (SFTP error 13); left: locked/, "
         "locked/file",
         kSame},
        {kFailing, "mkdir, where the server may not write", kOnce, MkdirLocked,
         "exit 1: qelftp: mkdir /locked/new: permission denied (SFTP error 13); left: locked/, "
         "locked/file",
         kSame},
        {kFailing, "mkdir, name of a file", kOnce, MkdirFile,
         "exit 1: qelftp: mkdir /file: it exists already (SFTP error 14); left: file", kSame},
        {kFailing, "rmdir, missing directory", kOnce, RmdirMissing,
         "exit 1: qelftp: rmdir /missing: no such file or directory (SFTP error 12); left: nothing",
         kSame},
        {kFailing, "rmdir, with a directory in it", kOnce, RmdirWithDirectory,
         "exit 1: qelftp: rmdir /sub: the server refuses: remove directory sub: the server says "
         "\"Failure\" (status 4) (SFTP error 15); check that it is a directory without directories "
         "in it; left: sub/, sub/inner/",
         kSame},
        {kFailing, "exists, missing file", kOnce, ExistsMissing,
         "exit 1: qelftp: exists /missing: no such file or directory (SFTP error 12)", kSame},
    };
    return operations;
}

}  // namespace MatrixTest
