#ifndef QEL_STANDALONE_SFTP_READWINDOW_H
#define QEL_STANDALONE_SFTP_READWINDOW_H

#include <cstdint>
#include <functional>
#include <string>
#include <unordered_map>
#include <vector>

#include "standalone/sftp/sftpchannel.h"

namespace sftpwrapper {

// Reads a range of an open remote file with many requests on their way, so that the round trip is
// paid once and not per block. Replies may come in any order and may be shorter than asked for:
// the rest is asked for again.
class CReadWindow {
public:
    // Takes a block of the file; blocks arrive in any order and do not overlap. A result other than
    // SFTP_OK, already recorded, ends the reading with that code.
    using Sink = std::function<int(std::uint64_t ullOffset, const void* pData, std::size_t uSize)>;

    CReadWindow(CSftpChannel& channel, CLastError& error, const std::string& strHandle)
        : m_channel(channel), m_error(error), m_strHandle(strHandle) {}

    // Reads [ullFirst, ullEnd) or up to the end of the file. ullReached tells where it ended; it is
    // ullEnd unless the file is shorter. When it returns, no request is on its way any more, unless
    // the connection is gone.
    int Read(std::uint64_t ullFirst, std::uint64_t ullEnd, const Sink& sink,
             std::uint64_t& ullReached);

private:
    struct SRange {
        std::uint64_t ullOffset;
        std::uint32_t uSize;
    };

    bool NextRange(SRange& range);
    std::uint64_t FirstPending() const;
    int Request(const SRange& range);
    int TakeReply(const Sink& sink);
    int TakeData(CPacketReader& fields, const SRange& range, const Sink& sink);
    int TakeEnd(CPacketReader& fields, const SRange& range);

    CSftpChannel& m_channel;
    CLastError& m_error;
    const std::string& m_strHandle;
    std::unordered_map<std::uint32_t, SRange> m_pending;  // by request identifier
    std::vector<SRange> m_again;                          // what short replies left out
    std::uint64_t m_ullPendingBytes = 0;
    std::uint64_t m_ullNext = 0;  // first byte that was never asked for
    std::uint64_t m_ullEnd = 0;
    std::uint32_t m_uBlock = 0;
};

}  // namespace sftpwrapper

#endif
