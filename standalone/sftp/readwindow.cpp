#include "standalone/sftp/readwindow.h"

#include <algorithm>

#include "platform/sftpwrapper.h"
#include "standalone/sftp/sftprequests.h"

namespace sftpwrapper {
namespace {

constexpr std::uint64_t kWindow = 4u << 20;  // bytes asked for at once; the receive window's size
constexpr std::size_t kMaxRequests = 128;    // where blocks are small

// How far ahead of the first unanswered byte is asked for. A server that never answers for that one
// would otherwise make those who put blocks in order keep all the others.
constexpr std::uint64_t kReach = 4 * kWindow;

}  // namespace

int CReadWindow::Read(std::uint64_t ullFirst, std::uint64_t ullEnd, const Sink& sink,
                      std::uint64_t& ullReached) {
    m_ullNext = ullFirst;
    m_ullEnd = ullEnd;
    m_uBlock = m_channel.MaxRead();
    int nResult = SFTP_OK;
    CLastError failure;
    while (true) {
        SRange range;
        while (nResult == SFTP_OK && m_ullPendingBytes < kWindow &&
               m_pending.size() < kMaxRequests && NextRange(range)) {
            nResult = Request(range);
            if (nResult != SFTP_OK) return nResult;
        }
        if (m_pending.empty()) break;
        const int nReply = TakeReply(sink);
        if (nReply == SFTP_ERR_LOST || nReply == SFTP_ERR_TIMEOUT) return nReply;
        if (nReply != SFTP_OK && nResult == SFTP_OK) {
            nResult = nReply;
            failure = m_error;
        }
    }
    if (nResult != SFTP_OK) m_error = failure;
    ullReached = m_ullEnd;
    return nResult;
}

bool CReadWindow::NextRange(SRange& range) {
    while (!m_again.empty()) {
        range = m_again.back();
        m_again.pop_back();
        if (range.ullOffset < m_ullEnd) return true;
    }
    if (m_ullNext >= m_ullEnd || m_ullNext - FirstPending() >= kReach) return false;
    range.ullOffset = m_ullNext;
    range.uSize =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(m_uBlock, m_ullEnd - m_ullNext));
    m_ullNext += range.uSize;
    return true;
}

// The first byte that is asked for and not there; m_ullNext when there is none.
std::uint64_t CReadWindow::FirstPending() const {
    std::uint64_t ullFirst = m_ullNext;
    for (const auto& [uId, range] : m_pending)
        ullFirst = std::min(ullFirst, range.ullOffset);
    return ullFirst;
}

int CReadWindow::Request(const SRange& range) {
    const std::uint32_t uId = m_channel.NextId();
    CPacketWriter request(kRead, uId);
    request.String(m_strHandle).U64(range.ullOffset).U32(range.uSize);
    m_pending.emplace(uId, range);
    m_ullPendingBytes += range.uSize;
    return m_channel.Send(request);
}

int CReadWindow::TakeReply(const Sink& sink) {
    SReply reply;
    const int nResult = m_channel.Receive(reply);
    if (nResult != SFTP_OK) return nResult;
    const auto found = m_pending.find(reply.uId);
    if (found == m_pending.end()) return m_channel.ProtocolError("reply to no request");
    const SRange range = found->second;
    m_pending.erase(found);
    m_ullPendingBytes -= range.uSize;
    if (reply.type == kData) return TakeData(reply.fields, range, sink);
    if (reply.type == kStatus) return TakeEnd(reply.fields, range);
    return m_channel.ProtocolError("neither data nor status");
}

int CReadWindow::TakeData(CPacketReader& fields, const SRange& range, const Sink& sink) {
    const std::string_view data = fields.String();
    if (fields.Failed() || data.empty() || data.size() > range.uSize)
        return m_channel.ProtocolError("data of a wrong length");
    const auto uSize = static_cast<std::uint32_t>(data.size());
    if (uSize < range.uSize) {
        m_again.push_back({range.ullOffset + uSize, range.uSize - uSize});
        m_uBlock = std::min(m_uBlock, uSize);  // what this server gives at most, it seems
    }
    return sink(range.ullOffset, data.data(), data.size());
}

int CReadWindow::TakeEnd(CPacketReader& fields, const SRange& range) {
    CPacketReader status = fields;
    if (status.U32() == kStatusEof) {
        m_ullEnd = std::min(m_ullEnd, range.ullOffset);
        return SFTP_OK;
    }
    const int nStatus = TakeStatus(fields, "read", m_error);
    return nStatus == SFTP_OK ? m_channel.ProtocolError("no data") : nStatus;
}

}  // namespace sftpwrapper
