#ifndef QEL_TOOLS_PARTFILE_H
#define QEL_TOOLS_PARTFILE_H

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace qelftp {

// The local target of a retrieve that can be continued: grows as target + ".part" and takes the
// target's place, and its permissions, in Keep(). Without Keep() the target is as it was, and the
// part stays. The target is the one a link leads to. One that is no regular file (a device, a pipe)
// cannot be replaced and is written to.
//
// Failures leave errno set. Paths are in the local encoding.
class CPartFile {
public:
    static constexpr const char* kSuffix = ".part";

    explicit CPartFile(const std::string& strTarget);
    ~CPartFile();
    CPartFile(const CPartFile&) = delete;
    CPartFile& operator=(const CPartFile&) = delete;

    // What is written to.
    const std::string& Path() const { return m_strPath; }

    // Bytes that an earlier run left; 0 when there are none.
    unsigned long long Left() const;

    // Keeps that many bytes of what is left; 0: starts over.
    bool Open(unsigned long long ullKeep);

    bool Write(const void* pData, std::size_t nSize);

    // After the last byte.
    bool Keep();

private:
    bool IsReplaced() const { return m_strPath != m_strTarget; }

    std::string m_strTarget;
    std::string m_strPath;
    mode_t m_nMode = 0;  // of the target; 0 when there is none
    uid_t m_nUser = 0;
    gid_t m_nGroup = 0;
    int m_nFile = -1;
};

}  // namespace qelftp

#endif
