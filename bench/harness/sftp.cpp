// The library's SFTP sessions, as a host component has them.

#include <ace/DLL.h>

#include <stdexcept>

#include "bench/harness/peer.h"
#include "include/sftpclient.h"

namespace {

using RVN_FTP_CLIENT::CSftpClient;
using RVN_FTP_CLIENT::StSFTPConnectionInfo;

class CCounter final : public SFTP_DirVisitor {
public:
    bool entry(const SFTP_FileInfo&) override {
        ++m_nEntries;
        return true;
    }
    std::size_t m_nEntries = 0;
};

class CSftp : public CPeer {
public:
    explicit CSftp(const SServer& server) {
        m_account.strHost = server.strAddress;
        m_account.nPort = server.usPort;
        m_account.strUserName = server.strUser;
        m_account.strAuthType = "pubkey";
        m_account.strPrivateKeyFile = server.strKeyFile;
        m_account.strHostKeyFormat = "OPENSSH";
        m_account.strHostKey = server.strHostKey;
    }
    ~CSftp() override { Close(); }
    CSftp(const CSftp&) = delete;
    CSftp& operator=(const CSftp&) = delete;

    void Login() override {
        auto info = std::make_unique<StSFTPConnectionInfo>();
        m_pSession = CSftpClient::getSFTPSession(info.get(), m_account);
        if (m_pSession == nullptr) {
            delete info->pAceDLL;
            throw std::runtime_error("no session could be set up");
        }
        m_pInfo = info.release();
        Check(m_pSession->connect());
    }

    void Close() override {
        if (m_pSession != nullptr) CSftpClient::releaseSFTPConnection(m_pInfo);
        m_pSession = nullptr;
    }

    std::size_t List(const std::string& strDir) override {
        CCounter counter;
        Check(m_pSession->readDir(SFTP_String(strDir.c_str()), counter));
        return counter.m_nEntries;
    }

    void Get(const Batch& batch) override {
        for (const auto& [strRemote, strLocal] : batch) {
            Check(m_pSession->getFile(SFTP_String(strRemote.c_str()), SFTP_String(strLocal.c_str()),
                                      nullptr));
        }
    }

    void Put(const Batch& batch) override {
        for (const auto& [strRemote, strLocal] : batch) {
            Check(m_pSession->putFile(SFTP_String(strLocal.c_str()), SFTP_String(strRemote.c_str()),
                                      nullptr));
        }
    }

private:
    void Check(int nResult) {
        if (nResult != SFTP_OK) throw std::runtime_error(m_pInfo->pfnGetErrorDesc(m_pSession));
    }

    TQ_UTIL::StFTPAccountInfo m_account;
    StSFTPConnectionInfo* m_pInfo = nullptr;
    SFTP_Session_Wrp* m_pSession = nullptr;
};

}  // namespace

std::unique_ptr<CPeer> MakePeer(const SServer& server, const SManner&) {
    return std::make_unique<CSftp>(server);
}
