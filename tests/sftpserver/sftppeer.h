#ifndef QEL_TESTS_SFTPSERVER_SFTPPEER_H
#define QEL_TESTS_SFTPSERVER_SFTPPEER_H

#include <cstdint>
#include <string>

#include "standalone/sftp/sftppacket.h"

namespace TestSupport {

// A request as a test's own SFTP server sees it. The strings are the request's, in order: a path
// or a handle first, the data of a write or the second path of a rename second.
struct SRequest {
    bool bEnd = false;  // the client has gone
    sftpwrapper::EPacket type = sftpwrapper::kInit;
    std::uint32_t uId = 0;
    std::string strFirst;
    std::uint64_t ullOffset = 0;  // of reads and writes; the length that is set for an open file
    std::uint32_t uSize = 0;      // of reads
    std::string strData;          // of writes and renames
};

// The server's side of SFTP, packet by packet, on a socket that a RecordingServer hands over.
class SftpPeer {
public:
    explicit SftpPeer(int nSocket) : m_nSocket(nSocket) {}

    // Answers the client's first packet with version 3 and no extensions.
    void Greet();

    // Waits for the next request.
    SRequest Take();

    void GiveStatus(std::uint32_t uId, std::uint32_t uStatus, const std::string& strText = "");
    void GiveHandle(std::uint32_t uId);
    void GiveData(std::uint32_t uId, const std::string& strData);
    void GiveSize(std::uint32_t uId, std::uint64_t ullSize);
    void Give(sftpwrapper::CPacketWriter& packet);
    void GiveRaw(const std::string& strBytes);

    // Answers everything but reads and writes as a server with one file of that size would.
    // Returns false for reads, writes and at the end: those are the script's.
    bool AnswerUsual(const SRequest& request, std::uint64_t ullSize);

private:
    bool ReadBytes(std::string& strBytes, std::size_t uSize);

    int m_nSocket;
};

}  // namespace TestSupport

#endif
