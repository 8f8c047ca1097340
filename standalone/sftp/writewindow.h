#ifndef QEL_STANDALONE_SFTP_WRITEWINDOW_H
#define QEL_STANDALONE_SFTP_WRITEWINDOW_H

#include <algorithm>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <unordered_map>

#include "standalone/sftp/sftpchannel.h"

namespace sftpwrapper {

// Writes a stretch of an open remote file with many requests on their way.
class CWriteWindow {
public:
    // Fills pData with the next uRoom bytes; uSize: how many there were, fewer only at the end, 0
    // after it. A result other than SFTP_OK, already recorded, ends the writing with that code.
    using Source = std::function<int(void* pData, std::size_t uRoom, std::size_t& uSize)>;

    // Is told how many bytes the server has acknowledged so far, results as those of Source.
    using Acknowledged = std::function<int(std::uint64_t ullDone)>;

    CWriteWindow(CSftpChannel& channel, CLastError& error, const std::string& strHandle)
        : m_channel(channel), m_error(error), m_strHandle(strHandle) {}

    // Writes all that the source gives, from an offset on. When it returns, no request is on its
    // way any more, unless the connection is gone.
    int Write(std::uint64_t ullFirst, const Source& source, const Acknowledged& acknowledged);

    // Up to where the last Write() left no gap, if it was told of the end of every request.
    std::uint64_t Unbroken() const { return std::min(m_ullNext, m_ullGap); }

private:
    struct SRange {
        std::uint64_t ullOffset;
        std::uint32_t uSize;
    };

    int SendNext(const Source& source, bool& bEnd);
    int TakeReply(const Acknowledged& acknowledged);

    CSftpChannel& m_channel;
    CLastError& m_error;
    const std::string& m_strHandle;
    std::unordered_map<std::uint32_t, SRange> m_pending;  // by request identifier
    std::uint64_t m_ullPendingBytes = 0;
    std::uint64_t m_ullNext = 0;                                         // offset
    std::uint64_t m_ullDone = 0;                                         // bytes
    std::uint64_t m_ullGap = std::numeric_limits<std::uint64_t>::max();  // first refused byte
};

}  // namespace sftpwrapper

#endif
