#include "standalone/sftp/inorder.h"

#include "platform/sftpwrapper.h"

namespace sftpwrapper {

int CInOrder::Take(std::uint64_t ullOffset, const void* pData, std::size_t uSize) {
    if (ullOffset != m_ullNext) {
        m_early.emplace(ullOffset, std::string(static_cast<const char*>(pData), uSize));
        return SFTP_OK;
    }
    int nResult = Pass(pData, uSize);
    while (nResult == SFTP_OK && !m_early.empty() && m_early.begin()->first == m_ullNext) {
        const std::string strBlock = std::move(m_early.begin()->second);
        m_early.erase(m_early.begin());
        nResult = Pass(strBlock.data(), strBlock.size());
    }
    return nResult;
}

int CInOrder::Pass(const void* pData, std::size_t uSize) {
    const int nResult = m_next(pData, uSize);
    if (nResult == SFTP_OK) m_ullNext += uSize;
    return nResult;
}

}  // namespace sftpwrapper
