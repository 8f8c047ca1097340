#ifndef QEL_STANDALONE_SFTP_SFTPCHANNEL_H
#define QEL_STANDALONE_SFTP_SFTPCHANNEL_H

#include <libssh/libssh.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "standalone/sftp/deadline.h"
#include "standalone/sftp/lasterror.h"
#include "standalone/sftp/sftppacket.h"

namespace sftpwrapper {

// One reply; the fields are borrowed from the channel's buffer and valid until its next call.
struct SReply {
    EPacket type = kStatus;
    std::uint32_t uId = 0;
    CPacketReader fields;  // behind the identifier
};

// The "sftp" subsystem on an authenticated SSH session: sends and receives whole packets. libssh's
// own SFTP layer waits for ever for a silent server and has no asynchronous write; here every wait
// ends, and any number of requests may be on their way.
//
// After the first failure of sending or receiving, the stream is out of step or gone: every later
// call repeats that failure at once.
class CSftpChannel {
public:
    // The session must be in non-blocking mode and outlive the object. timeout: how long the peer
    // may stay without sending or taking a byte while something is expected of it.
    CSftpChannel(ssh_session session, std::chrono::milliseconds timeout, CLastError& error);
    ~CSftpChannel();

    CSftpChannel(const CSftpChannel&) = delete;
    CSftpChannel& operator=(const CSftpChannel&) = delete;

    // Starts the subsystem and agrees on the version. To be called once, first. All three return
    // SFTP_OK or an error code.
    int Open();
    int Send(CPacketWriter& packet);
    int Receive(SReply& reply);

    // Sends a request and waits for its reply; only while no other request is on its way.
    int Exchange(CPacketWriter& packet, std::uint32_t uId, SReply& reply);

    // Ends the use of the stream: the server does not keep to the protocol.
    int ProtocolError(const char* pszWhat);

    std::uint32_t NextId() { return m_uNextId++; }

    // Most bytes that one read or write request may ask for or carry.
    std::uint32_t MaxRead() const { return m_uMaxRead; }
    std::uint32_t MaxWrite() const { return m_uMaxWrite; }

    // Whether the server renames over an existing file (OpenSSH's PROTOCOL, section 4.3).
    bool HasPosixRename() const { return m_bHasPosixRename; }

private:
    int OpenSubsystem(const CDeadline& deadline);
    int AgreeOnVersion();
    int AskLimits();
    bool ReadExtensions(CPacketReader& fields);
    int ReceivePacket(CPacketReader& packet);
    bool TakePacket(CPacketReader& packet, bool& bTooLong);
    int Fill();
    std::size_t WantedSize();
    int AwaitSocket(const CDeadline& deadline);
    int Lost();
    int Silent();
    int Break(int nCode, std::string strText);

    ssh_session m_session;
    ssh_channel m_channel = nullptr;
    std::chrono::milliseconds m_timeout;
    CLastError& m_error;
    int m_nBroken = 0;  // code of the failure that ended the stream
    std::string m_strBroken;
    std::uint32_t m_uNextId = 0;
    std::uint32_t m_uMaxRead;
    std::uint32_t m_uMaxWrite;
    bool m_bHasLimits = false;
    bool m_bHasPosixRename = false;

    std::unique_ptr<std::uint8_t[]> m_pBuffer;  // received, not yet handed out: [m_uFirst, m_uEnd)
    std::size_t m_uFirst = 0;
    std::size_t m_uEnd = 0;
    std::size_t m_uSinceGrowth = 0;  // bytes received since the receive window was last renewed
};

}  // namespace sftpwrapper

#endif
