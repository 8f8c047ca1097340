#ifndef QEL_SFTP_SFTPSESSION_H
#define QEL_SFTP_SFTPSESSION_H

#include <string>

#include "platform/account.h"
#include "platform/sftpwrapper.h"

namespace RVN_FTP_CLIENT {

// What one session asks back: it decides about the server's key. Registered with the session and
// read by whatever thread runs it; never changed after construction.
//
// Not final: the destruction goes through the virtual table, where a host may hook in.
class SFTP_Session : public SFTP_SessionCB {
public:
    explicit SFTP_Session(const TQ_UTIL::StFTPAccountInfo& account);

    SFTP_Session(const SFTP_Session&) = delete;
    SFTP_Session& operator=(const SFTP_Session&) = delete;

    int firstCallback(const void* pFirst, const void* pSecond) override;   // 0
    int secondCallback(const void* pFirst, const void* pSecond) override;  // 0
    int thirdCallback(const void* pFirst, const void* pSecond) override;   // 1

    // 0 accepts the server's key, 2 refuses it. Any key is accepted when the check is "false"; else
    // the expected key must be of the format "OPENSSH" and equal to the server's, byte for byte.
    int verifyHostKey(const SFTP_String& host, unsigned int uPort,
                      const SFTP_String& serverKey) override;

    void fifthCallback(const void* pFirst, const void* pSecond) override;

    // Overwrites the expected key before its memory is freed.
    ~SFTP_Session() override;

private:
    std::string m_strHostKey;
    std::string m_strCheckHostKey;
    std::string m_strHostKeyFormat;
};

}  // namespace RVN_FTP_CLIENT

#endif
