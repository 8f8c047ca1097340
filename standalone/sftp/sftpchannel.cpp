#include "standalone/sftp/sftpchannel.h"

#include <poll.h>

#include <algorithm>
#include <cstring>

#include "platform/sftpwrapper.h"

namespace sftpwrapper {
namespace {

constexpr std::uint32_t kProtocolVersion = 3;

// What every server takes (draft-ietf-secsh-filexfer-02, section 3: packets of 34000 bytes).
constexpr std::uint32_t kSafeSize = 32768;

// What we ask for at most, even of servers with larger limits: OpenSSH's own limit.
constexpr std::uint32_t kLargestSize = 261120;

// Longer packets are not of this protocol: OpenSSH's limit, which fits kLargestSize with its head.
constexpr std::uint32_t kLargestPacket = 262144;

constexpr std::size_t kLengthSize = 4;

// The receive window that a transfer needs: bandwidth times delay of 1.6 Gbit/s and 20 ms.
constexpr std::size_t kBufferSize = 4u << 20;

// libssh renews the window up to the size that a read asks for. Asking for much each time would
// send one window message for every packet received.
constexpr std::size_t kRenewAfter = 1u << 20;
constexpr std::size_t kModestRead = 64u << 10;

}  // namespace

CSftpChannel::CSftpChannel(ssh_session session, std::chrono::milliseconds timeout,
                           CLastError& error)
    : m_session(session),
      m_timeout(timeout),
      m_error(error),
      m_uMaxRead(kSafeSize),
      m_uMaxWrite(kSafeSize),
      m_pBuffer(new std::uint8_t[kBufferSize]) {}

CSftpChannel::~CSftpChannel() {
    if (m_channel != nullptr) ssh_channel_free(m_channel);
}

int CSftpChannel::Open() {
    const int nResult = OpenSubsystem(CDeadline(m_timeout));
    if (nResult != SFTP_OK) return nResult;
    return AgreeOnVersion();
}

int CSftpChannel::OpenSubsystem(const CDeadline& deadline) {
    m_channel = ssh_channel_new(m_session);
    if (m_channel == nullptr) return Break(SFTP_ERR_MEMORY, "no memory for a channel");
    int nResult = SSH_AGAIN;
    while ((nResult = ssh_channel_open_session(m_channel)) == SSH_AGAIN)
        if (AwaitSocket(deadline) != SFTP_OK) return m_nBroken;
    if (nResult != SSH_OK) return Lost();
    while ((nResult = ssh_channel_request_sftp(m_channel)) == SSH_AGAIN)
        if (AwaitSocket(deadline) != SFTP_OK) return m_nBroken;
    if (nResult == SSH_OK) return SFTP_OK;
    if (!ssh_is_connected(m_session)) return Lost();
    return Break(SFTP_ERR_CONNECT, "the server has no SFTP subsystem");
}

int CSftpChannel::AgreeOnVersion() {
    CPacketWriter hello(kInit);
    hello.U32(kProtocolVersion);
    int nResult = Send(hello);
    if (nResult != SFTP_OK) return nResult;
    CPacketReader packet;
    nResult = ReceivePacket(packet);
    if (nResult != SFTP_OK) return nResult;
    const bool bVersion = packet.U8() == kVersion;
    if (!bVersion || packet.U32() < kProtocolVersion || !ReadExtensions(packet))
        return ProtocolError("no version 3");
    return m_bHasLimits ? AskLimits() : SFTP_OK;
}

bool CSftpChannel::ReadExtensions(CPacketReader& fields) {
    while (!fields.AtEnd() && !fields.Failed()) {
        const std::string_view name = fields.String();
        const std::string_view version = fields.String();
        if (name == "limits@openssh.com" && version == "1") m_bHasLimits = true;
        if (name == "posix-rename@openssh.com" && version == "1") m_bHasPosixRename = true;
    }
    return !fields.Failed();
}

// The reply of OpenSSH's PROTOCOL, section 4.8: packet, read and write length, open handles; a
// length of 0 is no limit.
int CSftpChannel::AskLimits() {
    const std::uint32_t uId = NextId();
    CPacketWriter request(kExtended, uId);
    request.String("limits@openssh.com");
    SReply reply;
    const int nResult = Exchange(request, uId, reply);
    if (nResult != SFTP_OK || reply.type != kExtendedReply) return nResult;
    reply.fields.U64();
    const std::uint64_t ullRead = reply.fields.U64();
    const std::uint64_t ullWrite = reply.fields.U64();
    if (reply.fields.Failed()) return ProtocolError("short limits");
    const auto usable = [](std::uint64_t ullLimit) {
        if (ullLimit == 0) return kLargestSize;
        return static_cast<std::uint32_t>(std::min<std::uint64_t>(ullLimit, kLargestSize));
    };
    m_uMaxRead = usable(ullRead);
    m_uMaxWrite = usable(ullWrite);
    return SFTP_OK;
}

int CSftpChannel::Send(CPacketWriter& packet) {
    if (m_nBroken != 0) return m_error.Set(m_nBroken, m_strBroken);
    const std::vector<std::uint8_t>& bytes = packet.Finish();
    std::size_t uSent = 0;
    CDeadline deadline(m_timeout);
    while (uSent < bytes.size()) {
        const int nWritten = ssh_channel_write(m_channel, bytes.data() + uSent,
                                               static_cast<std::uint32_t>(bytes.size() - uSent));
        if (nWritten < 0) return Lost();
        uSent += static_cast<std::size_t>(nWritten);
        if (nWritten > 0) {
            deadline = CDeadline(m_timeout);
        } else if (AwaitSocket(deadline) != SFTP_OK) {
            return m_nBroken;
        }
    }
    return SFTP_OK;
}

int CSftpChannel::Receive(SReply& reply) {
    const int nResult = ReceivePacket(reply.fields);
    if (nResult != SFTP_OK) return nResult;
    reply.type = static_cast<EPacket>(reply.fields.U8());
    reply.uId = reply.fields.U32();
    return reply.fields.Failed() ? ProtocolError("short packet") : SFTP_OK;
}

int CSftpChannel::Exchange(CPacketWriter& packet, std::uint32_t uId, SReply& reply) {
    int nResult = Send(packet);
    if (nResult == SFTP_OK) nResult = Receive(reply);
    if (nResult == SFTP_OK && reply.uId != uId) nResult = ProtocolError("reply to no request");
    return nResult;
}

int CSftpChannel::ReceivePacket(CPacketReader& packet) {
    if (m_nBroken != 0) return m_error.Set(m_nBroken, m_strBroken);
    bool bTooLong = false;
    while (!TakePacket(packet, bTooLong)) {
        if (bTooLong) return ProtocolError("packet too long");
        const int nResult = Fill();
        if (nResult != SFTP_OK) return nResult;
    }
    return SFTP_OK;
}

bool CSftpChannel::TakePacket(CPacketReader& packet, bool& bTooLong) {
    const std::size_t uHave = m_uEnd - m_uFirst;
    const std::uint8_t* pFirst = m_pBuffer.get() + m_uFirst;
    if (uHave < kLengthSize) return false;
    const std::uint32_t uSize = CPacketReader(pFirst, kLengthSize).U32();
    bTooLong = uSize > kLargestPacket;
    if (bTooLong || uHave - kLengthSize < uSize) return false;
    packet = CPacketReader(pFirst + kLengthSize, uSize);
    m_uFirst += kLengthSize + uSize;
    return true;
}

// How much to ask for; makes that much room.
std::size_t CSftpChannel::WantedSize() {
    const bool bRenew = m_uSinceGrowth >= kRenewAfter;
    const std::size_t uNeeded = bRenew ? kBufferSize : kModestRead;
    if (m_uFirst == m_uEnd || kBufferSize - m_uEnd < uNeeded) {
        std::memmove(m_pBuffer.get(), m_pBuffer.get() + m_uFirst, m_uEnd - m_uFirst);
        m_uEnd -= m_uFirst;
        m_uFirst = 0;
    }
    if (bRenew) m_uSinceGrowth = 0;
    return bRenew ? kBufferSize - m_uEnd : std::min(kModestRead, kBufferSize - m_uEnd);
}

int CSftpChannel::Fill() {
    const CDeadline deadline(m_timeout);
    const auto uWanted = static_cast<std::uint32_t>(WantedSize());
    while (true) {
        const int nRead = ssh_channel_read_timeout(m_channel, m_pBuffer.get() + m_uEnd, uWanted, 0,
                                                   deadline.RemainingMs());
        if (nRead > 0) {
            m_uEnd += static_cast<std::size_t>(nRead);
            m_uSinceGrowth += static_cast<std::size_t>(nRead);
            return SFTP_OK;
        }
        if (nRead != 0 && nRead != SSH_AGAIN) return Lost();
        if (ssh_channel_is_eof(m_channel) || !ssh_is_connected(m_session)) return Lost();
        if (deadline.IsOver()) return Silent();
    }
}

// Waits until the peer has sent something, or takes what waits to be sent.
int CSftpChannel::AwaitSocket(const CDeadline& deadline) {
    if (!ssh_is_connected(m_session)) return Lost();
    const bool bUnsent = (ssh_get_poll_flags(m_session) & SSH_WRITE_PENDING) != 0;
    pollfd entry = {ssh_get_fd(m_session), static_cast<short>(bUnsent ? POLLIN | POLLOUT : POLLIN),
                    0};
    if (::poll(&entry, 1, deadline.RemainingMs()) == 0 && deadline.IsOver()) return Silent();
    return SFTP_OK;
}

int CSftpChannel::ProtocolError(const char* pszWhat) {
    return Break(SFTP_ERR_LOST, std::string("the server does not keep to SFTP: ") + pszWhat);
}

int CSftpChannel::Lost() {
    const char* pszDetail = ssh_get_error(m_session);
    std::string strText = "the connection is lost";
    if (pszDetail != nullptr && *pszDetail != '\0') strText += std::string(": ") + pszDetail;
    return Break(SFTP_ERR_LOST, std::move(strText));
}

int CSftpChannel::Silent() {
    return Break(SFTP_ERR_TIMEOUT,
                 "no answer for " + std::to_string(m_timeout.count() / 1000) + " seconds");
}

int CSftpChannel::Break(int nCode, std::string strText) {
    m_nBroken = nCode;
    m_strBroken = strText;
    return m_error.Set(nCode, std::move(strText));
}

}  // namespace sftpwrapper
