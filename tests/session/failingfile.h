#ifndef QEL_TESTS_SESSION_FAILINGFILE_H
#define QEL_TESTS_SESSION_FAILINGFILE_H

#include <cstddef>
#include <string>

namespace SessionTest {

// Takes the place of the host's fopen in a test program, which passes on to the platform's until an
// object of this lives: then every file that is opened is one of these, which exists nowhere.
class CFailingFile {
public:
    enum class EFailure { Read, Write, Close };

    // Read: gives these bytes, then fails. Write: takes as many bytes, then has no room. Close:
    // takes all, but fails at the end.
    CFailingFile(EFailure eFailure, std::string strBytes);
    ~CFailingFile();
    CFailingFile(const CFailingFile&) = delete;
    CFailingFile& operator=(const CFailingFile&) = delete;

    int Opened() const { return m_nOpened; }

    // For the stream.
    long Give(char* pBuffer, std::size_t nSize);
    long Take(std::size_t nSize);
    int Close() const;
    void CountOpening() { ++m_nOpened; }

private:
    const EFailure m_eFailure;
    const std::string m_strBytes;
    std::size_t m_nDone = 0;
    int m_nOpened = 0;
};

}  // namespace SessionTest

#endif
