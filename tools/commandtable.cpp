#include "tools/commandtable.h"

#include <iterator>

#include "tools/check.h"

namespace qelftp {
namespace {

constexpr SCommand kCommands[] = {
    {"ls", RunList, 1, 1, "URL", "list a directory",
     "Prints a line for each entry, sorted by name: type (file, dir, link), size, time\n"
     "and name. Control bytes in names are shown as \\x1b and the like. Entries that\n"
     "nobody may read are left out. An empty directory prints nothing. The last part of\n"
     "the path may be a pattern of *, ? and [...].",
     "qelftp ls ftp://bob@example.org/\n"
     "qelftp ls ftp://bob@example.org:2121/reports/2024\n"
     "qelftp ls 'ftp://bob@example.org/reports/*.csv'",
     kJsonOption},

    {"get", RunGet, 1, kNoLimit, "URL... [LOCAL]", "fetch files",
     "LOCAL is a file or a directory, \".\" if it is missing. Several URLs need a\n"
     "directory, and the same user, host and port. The last part of a path may be a\n"
     "pattern of *, ? and [...]. Existing files are overwritten, when the new ones are\n"
     "complete.\n"
     "\n"
     "With -r, directories are fetched with all that is in them, into the directory LOCAL,\n"
     "which is made if it is missing: under their own name, or without it when the URL\n"
     "ends in \"/\". Files that are there already with the same size and are not older are\n"
     "left as they are, so that the same command again fetches what is missing.",
     "qelftp get ftp://bob@example.org/reports/may.csv\n"
     "qelftp get ftp://bob@example.org/reports/may.csv /tmp/copy.csv\n"
     "qelftp get 'ftp://bob@example.org/reports/*.csv' /tmp\n"
     "qelftp get -r --jobs 4 ftp://bob@example.org/reports /tmp",
     kTreeOptions | kTransferOptions | kJsonOption},

    {"put", RunPut, 2, kNoLimit, "LOCAL... URL", "send files",
     "A URL that ends in \"/\" is an existing directory, and so it is with several LOCAL:\n"
     "the files keep their names there. Existing files are overwritten. What is left of a\n"
     "file that could not be sent is removed.\n"
     "\n"
     "With -r, directories are sent with all that is in them, into the directory URL,\n"
     "which is made if it is missing: under their own name, or without it when LOCAL ends\n"
     "in \"/\". Files that are there already with the same size and are not older are left\n"
     "as they are, so that the same command again sends what is missing.",
     "qelftp put may.csv ftp://bob@example.org/reports/\n"
     "qelftp put may.csv ftp://bob@example.org/reports/may-final.csv\n"
     "qelftp put *.csv ftp://bob@example.org/reports\n"
     "qelftp put -r --jobs 4 reports ftp://bob@example.org/",
     kTreeOptions | kTransferOptions | kJsonOption},

    {"mirror", RunMirror, 2, 2, "SOURCE TARGET", "make a directory like another",
     "One of the two is a URL, the other a local directory. What is in SOURCE is moved\n"
     "into TARGET, which is made if it is missing: each file that is not there, has\n"
     "another size, or is older there. --delete removes what SOURCE has not, after a\n"
     "question on the terminal, or without one with --yes; nothing is removed when any\n"
     "directory could not be listed or any file could not be moved.",
     "qelftp mirror ftp://bob@example.org/reports reports\n"
     "qelftp mirror --dry-run --delete reports ftp://bob@example.org/reports",
     kDeleteOptions | kTransferOptions | kJsonOption},

    {"rm", RunRemove, 1, 1, "URL", "remove files",
     "The last part of the path may be a pattern of *, ? and [...], which means files\n"
     "only. There is no question and no way back.",
     "qelftp rm ftp://bob@example.org/reports/may.csv\n"
     "qelftp rm 'ftp://bob@example.org/reports/2023-*.csv'"},

    {"mkdir", RunMakeDir, 1, 1, "URL", "make a directory",
     "Makes missing directories above it, too. One that exists already is no error.",
     "qelftp mkdir ftp://bob@example.org/reports/2024/may"},

    {"rmdir", RunRemoveDir, 1, 1, "URL", "remove a directory with the files in it",
     "Removes the files directly inside, then the directory. A directory with another\n"
     "one in it stays, but its files are gone. There is no question and no way back.",
     "qelftp rmdir ftp://bob@example.org/reports/2023"},

    {"exists", RunExists, 1, 1, "URL", "test whether a file or directory exists",
     "The exit code tells: 0 if it does, 1 if it does not. Entries that nobody may read\n"
     "do not count.",
     "qelftp exists ftp://bob@example.org/reports/may.csv && echo there"},

    {"check", RunCheck, 1, 1, "URL", "tell whether a server works with the library",
     "Logs in, lists the login directory and logs out as a program on the library does,\n"
     "and prints a line for each step: ok, note or FAIL, its time, and what the server\n"
     "said. Nothing is changed there. The exit code is 0 when the server works with the\n"
     "library's defaults.",
     "qelftp check ftp://bob@example.org", kJsonOption},
};

}  // namespace

SCommandTable Commands() {
    return {kCommands, std::size(kCommands)};
}

}  // namespace qelftp
