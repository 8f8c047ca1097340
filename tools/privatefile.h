#ifndef QEL_TOOLS_PRIVATEFILE_H
#define QEL_TOOLS_PRIVATEFILE_H

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

namespace qelftp {

// The beginning of a file that holds secrets, and who else can see it. The bytes are wiped when
// this goes.
class CPrivateFile {
public:
    // Reads up to nMaxSize bytes; what lies beyond is not looked at.
    CPrivateFile(const std::string& strPath, std::size_t nMaxSize);
    ~CPrivateFile();
    CPrivateFile(const CPrivateFile&) = delete;
    CPrivateFile& operator=(const CPrivateFile&) = delete;

    int Errno() const { return m_nErrno; }       // why it cannot be read; 0 when all is well
    bool IsLonger() const { return m_bLonger; }  // than nMaxSize
    bool IsOwn() const;                          // belongs to the user that this program works for
    bool OthersCanRead() const { return (m_uMode & 077) != 0; }
    std::string_view Text() const { return {m_bytes.data(), m_nSize}; }

private:
    void Read(int nHandle);

    std::vector<char> m_bytes;
    std::size_t m_nSize = 0;
    bool m_bLonger = false;
    int m_nErrno = 0;
    uid_t m_uOwner = 0;
    mode_t m_uMode = 0;
};

}  // namespace qelftp

#endif
