#include "tools/commandtable.h"

#include <iterator>

namespace qelftp {
namespace {

constexpr SCommand kCommands[] = {
    {"ls", RunList, 1, 1, "URL", "list a directory",
     "Prints a line for each entry, sorted by name: type (file, dir, link), size, time\n"
     "and name. Control bytes in names are shown as \\x1b and the like. Entries that\n"
     "nobody may read are left out. An empty directory prints nothing.",
     "qelftp ls ftp://bob@example.org/\n"
     "qelftp ls ftp://bob@example.org:2121/reports/2024"},

    {"get", RunGet, 1, kNoLimit, "URL... [LOCAL]", "fetch files",
     "LOCAL is a file or a directory, \".\" if it is missing. Several URLs need a\n"
     "directory, and the same user, host and port; they are fetched in one session, up\n"
     "to the first failure. Existing files are overwritten.",
     "qelftp get ftp://bob@example.org/reports/may.csv\n"
     "qelftp get ftp://bob@example.org/reports/may.csv /tmp/copy.csv\n"
     "qelftp get ftp://bob@example.org/a.csv ftp://bob@example.org/b.csv /tmp"},

    {"put", RunPut, 2, kNoLimit, "LOCAL... URL", "send files",
     "A URL that ends in \"/\" is an existing directory, and so it is with several LOCAL:\n"
     "the files keep their names there. They are sent in one session, up to the first\n"
     "failure. Existing files are overwritten.",
     "qelftp put may.csv ftp://bob@example.org/reports/\n"
     "qelftp put may.csv ftp://bob@example.org/reports/may-final.csv\n"
     "qelftp put *.csv ftp://bob@example.org/reports"},

    {"rm", RunRemove, 1, 1, "URL", "remove a file", "There is no question and no way back.",
     "qelftp rm ftp://bob@example.org/reports/may.csv"},

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
};

}  // namespace

SCommandTable Commands() {
    return {kCommands, std::size(kCommands)};
}

}  // namespace qelftp
