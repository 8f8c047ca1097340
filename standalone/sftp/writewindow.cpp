#include "standalone/sftp/writewindow.h"

#include "platform/sftpwrapper.h"
#include "standalone/sftp/sftprequests.h"

namespace sftpwrapper {
namespace {

// Bytes not yet acknowledged; twice the channel window of OpenSSH, so that the next blocks wait
// behind it and not behind a round trip.
constexpr std::uint64_t kWindow = 4u << 20;
constexpr std::size_t kMaxRequests = 128;  // where blocks are small

}  // namespace

int CWriteWindow::Write(std::uint64_t ullFirst, const Source& source,
                        const Acknowledged& acknowledged) {
    m_ullNext = ullFirst;
    int nResult = SFTP_OK;
    CLastError failure;
    bool bEnd = false;
    while (true) {
        while (nResult == SFTP_OK && !bEnd && m_ullPendingBytes < kWindow &&
               m_pending.size() < kMaxRequests) {
            nResult = SendNext(source, bEnd);
            if (nResult == SFTP_ERR_LOST || nResult == SFTP_ERR_TIMEOUT) return nResult;
            if (nResult != SFTP_OK) failure = m_error;
        }
        if (m_pending.empty()) break;
        const int nReply = TakeReply(acknowledged);
        if (nReply == SFTP_ERR_LOST || nReply == SFTP_ERR_TIMEOUT) return nReply;
        if (nReply != SFTP_OK && nResult == SFTP_OK) {
            nResult = nReply;
            failure = m_error;
        }
    }
    if (nResult != SFTP_OK) m_error = failure;
    return nResult;
}

int CWriteWindow::SendNext(const Source& source, bool& bEnd) {
    const std::uint32_t uRoom = m_channel.MaxWrite();
    const std::uint32_t uId = m_channel.NextId();
    CPacketWriter request(kWrite, uId);
    request.String(m_strHandle).U64(m_ullNext);
    std::uint8_t* pData = request.Reserve(uRoom);
    std::size_t uSize = 0;
    const int nResult = source(pData, uRoom, uSize);
    bEnd = uSize < uRoom;
    if (nResult != SFTP_OK || uSize == 0) return nResult;
    const auto uBytes = static_cast<std::uint32_t>(uSize);
    request.Truncate(uRoom, uBytes);
    m_pending.emplace(uId, SRange{m_ullNext, uBytes});
    m_ullPendingBytes += uBytes;
    m_ullNext += uBytes;
    return m_channel.Send(request);
}

int CWriteWindow::TakeReply(const Acknowledged& acknowledged) {
    SReply reply;
    const int nResult = m_channel.Receive(reply);
    if (nResult != SFTP_OK) return nResult;
    const auto found = m_pending.find(reply.uId);
    if (found == m_pending.end()) return m_channel.ProtocolError("reply to no request");
    const SRange range = found->second;
    m_pending.erase(found);
    m_ullPendingBytes -= range.uSize;
    if (reply.type != kStatus) return m_channel.ProtocolError("not a status");
    const int nStatus = TakeStatus(reply.fields, "write", m_error);
    if (nStatus != SFTP_OK) {
        m_ullGap = std::min(m_ullGap, range.ullOffset);
        return nStatus;
    }
    m_ullDone += range.uSize;
    return acknowledged(m_ullDone);
}

}  // namespace sftpwrapper
