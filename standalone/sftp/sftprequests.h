#ifndef QEL_STANDALONE_SFTP_SFTPREQUESTS_H
#define QEL_STANDALONE_SFTP_SFTPREQUESTS_H

#include <cstdint>
#include <string>

#include "platform/sftpwrapper.h"
#include "standalone/sftp/sftpchannel.h"

namespace sftpwrapper {

// The requests of SFTP that are answered one by one. All return SFTP_OK or an error code.
class CSftpRequests {
public:
    CSftpRequests(CSftpChannel& channel, CLastError& error) : m_channel(channel), m_error(error) {}

    int Stat(const std::string& strPath, SAttributes& attributes);
    int StatLink(const std::string& strPath, SAttributes& attributes);
    int SetModified(const std::string& strPath, std::uint32_t uModified);
    int SetMode(const std::string& strPath, std::uint32_t uMode);
    int MakeDir(const std::string& strPath);
    int RemoveDir(const std::string& strPath);
    int Remove(const std::string& strPath);
    int Rename(const std::string& strFrom, const std::string& strTo);
    int Replace(const std::string& strFrom, const std::string& strTo);
    int RealPath(const std::string& strPath, std::string& strAbsolute);

    // nOpen: of ESftpOpen.
    int Open(const std::string& strPath, int nOpen, std::string& strHandle);
    int FileStat(const std::string& strHandle, SAttributes& attributes);
    int Cut(const std::string& strHandle, std::uint64_t ullSize);
    int Close(const std::string& strHandle);

    int ReadDir(const std::string& strPath, SFTP_DirVisitor& visitor);

private:
    int PathRequest(EPacket type, const char* pszWhat, const std::string& strPath);
    int OpenHandle(CPacketWriter& request, std::uint32_t uId, const std::string& strWhat,
                   std::string& strHandle);
    int ReadDirBatch(const std::string& strHandle, const std::string& strPath,
                     SFTP_DirVisitor& visitor, bool& bEnd);
    int ShowEntries(CPacketReader& fields, SFTP_DirVisitor& visitor);
    int ExchangeForStatus(CPacketWriter& request, std::uint32_t uId, const std::string& strWhat);
    int StatPath(EPacket type, const std::string& strPath, SAttributes& attributes);
    int StatReply(CPacketWriter& request, std::uint32_t uId, const std::string& strWhat,
                  SAttributes& attributes);
    int FailedBecauseItExists(const std::string& strWhat, const std::string& strPath);

    CSftpChannel& m_channel;
    CLastError& m_error;
};

// Turns a STATUS reply into an error code, SFTP_OK included, and records the failure, strWhat
// first.
int TakeStatus(CPacketReader& fields, const std::string& strWhat, CLastError& error);

// As the session shows it; the name stays null.
SFTP_FileInfo FileInfoOf(const SAttributes& attributes);

}  // namespace sftpwrapper

#endif
