#ifndef QEL_TESTS_SERVER_FILETREE_H
#define QEL_TESTS_SERVER_FILETREE_H

#include <string>
#include <vector>

#include "include/ftpclient.h"

namespace ServerTest {

// 1,000 files of 2 KiB in 100 directories on two levels, as the paths below their top.
class CFileTree {
public:
    static constexpr std::size_t kFiles = 1000;
    static constexpr std::size_t kFileSize = 2048;

    CFileTree();

    const std::vector<std::string>& Directories() const { return m_directories; }
    const std::vector<std::string>& Files() const { return m_files; }

    // The batch that moves all files from one top to another.
    std::vector<RVN_FTP_CLIENT::Ftp_File_Pair> Batch(const std::string& strFrom,
                                                     const std::string& strTo) const;

    // On the local file system: the directories alone, and the files too, all of different bytes.
    void MakeDirectories(const std::string& strTop) const;
    void MakeFiles(const std::string& strTop) const;

private:
    std::vector<std::string> m_directories;
    std::vector<std::string> m_files;
};

}  // namespace ServerTest

#endif
