#include "tests/server/filetree.h"

#include <filesystem>

#include "tests/support/payload.h"
#include "tests/support/tempdir.h"

namespace ServerTest {

CFileTree::CFileTree() {
    constexpr int kPerLevel = 10;
    for (int i = 0; i < kPerLevel * kPerLevel; ++i) {
        m_directories.push_back("d" + std::to_string(i / kPerLevel) + "/e" +
                                std::to_string(i % kPerLevel));
        for (std::size_t n = 0; n < kFiles / (kPerLevel * kPerLevel); ++n) {
            m_files.push_back(m_directories.back() + "/file" + std::to_string(n));
        }
    }
}

std::vector<RVN_FTP_CLIENT::Ftp_File_Pair> CFileTree::Batch(const std::string& strFrom,
                                                            const std::string& strTo) const {
    std::vector<RVN_FTP_CLIENT::Ftp_File_Pair> batch;
    for (const std::string& strFile : m_files) {
        batch.push_back({strFrom + "/" + strFile, strTo + "/" + strFile});
    }
    return batch;
}

void CFileTree::MakeDirectories(const std::string& strTop) const {
    for (const std::string& strDirectory : m_directories) {
        std::filesystem::create_directories(strTop + "/" + strDirectory);
    }
}

void CFileTree::MakeFiles(const std::string& strTop) const {
    MakeDirectories(strTop);
    for (std::size_t n = 0; n < m_files.size(); ++n) {
        TestSupport::WriteFile(strTop + "/" + m_files[n], TestSupport::Payload(kFileSize, n));
    }
}

}  // namespace ServerTest
