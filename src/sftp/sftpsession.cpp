#include "src/sftp/sftpsession.h"

namespace RVN_FTP_CLIENT {
namespace {

constexpr int kAccept = 0;
constexpr int kReject = 2;

}  // namespace

SFTP_Session::SFTP_Session(const TQ_UTIL::StFTPAccountInfo& account)
    : m_strHostKey(account.strHostKey),
      m_strCheckHostKey(account.strCheckHostKey),
      m_strHostKeyFormat(account.strHostKeyFormat) {}

int SFTP_Session::firstCallback(const void* /*pFirst*/, const void* /*pSecond*/) {
    return 0;
}

int SFTP_Session::secondCallback(const void* /*pFirst*/, const void* /*pSecond*/) {
    return 0;
}

int SFTP_Session::thirdCallback(const void* /*pFirst*/, const void* /*pSecond*/) {
    return 1;
}

int SFTP_Session::verifyHostKey(const SFTP_String& /*host*/, unsigned int /*uPort*/,
                                const SFTP_String& serverKey) {
    if (m_strCheckHostKey == "false") return kAccept;
    if (m_strHostKeyFormat != "OPENSSH") return kReject;
    const char* pszServerKey = serverKey.c_str();
    if (pszServerKey == nullptr) return kReject;
    return m_strHostKey == pszServerKey ? kAccept : kReject;
}

void SFTP_Session::fifthCallback(const void* /*pFirst*/, const void* /*pSecond*/) {}

SFTP_Session::~SFTP_Session() {
    // Through a volatile pointer: stores into memory that is freed next would be dropped.
    volatile char* pKey = m_strHostKey.data();
    for (std::size_t i = 0; i < m_strHostKey.size(); ++i)
        pKey[i] = '*';
}

}  // namespace RVN_FTP_CLIENT
