#ifndef QEL_STANDALONE_SFTP_INORDER_H
#define QEL_STANDALONE_SFTP_INORDER_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>

namespace sftpwrapper {

// Puts blocks that arrive in any order into the file's order. What came too early waits here: not
// more than a read window asks for ahead of a block that is missing.
class CInOrder {
public:
    // The next bytes; a result other than SFTP_OK is passed on.
    using Next = std::function<int(const void* pData, std::size_t uSize)>;

    CInOrder(std::uint64_t ullFirst, Next next) : m_ullNext(ullFirst), m_next(std::move(next)) {}

    // Blocks do not overlap.
    int Take(std::uint64_t ullOffset, const void* pData, std::size_t uSize);

    // Up to where everything was passed on.
    std::uint64_t Reached() const { return m_ullNext; }

private:
    int Pass(const void* pData, std::size_t uSize);

    std::uint64_t m_ullNext;
    Next m_next;
    std::map<std::uint64_t, std::string> m_early;  // by offset
};

}  // namespace sftpwrapper

#endif
