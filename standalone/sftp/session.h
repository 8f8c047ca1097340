#ifndef QEL_STANDALONE_SFTP_SESSION_H
#define QEL_STANDALONE_SFTP_SESSION_H

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "platform/sftpwrapper.h"
#include "standalone/sftp/algorithms.h"
#include "standalone/sftp/lasterror.h"
#include "standalone/sftp/sftpchannel.h"
#include "standalone/sftp/sshlink.h"

// The server's name for an open file.
class SFTP_File {
public:
    explicit SFTP_File(std::string strHandle) : m_strHandle(std::move(strHandle)) {}
    const std::string& Handle() const { return m_strHandle; }

private:
    std::string m_strHandle;
};

namespace sftpwrapper {

// The session of the stand-alone wrapper: arguments checked, state kept, everything else done by
// the layers below. No exception leaves it.
class CSession : public SFTP_Session_Wrp {
public:
    CSession() = default;
    virtual ~CSession() = default;

    CSession(const CSession&) = delete;
    CSession& operator=(const CSession&) = delete;

    int setServerInfo(const SFTP_String& host, unsigned int uPort,
                      const SFTP_String& user) override;
    int setAuthTypeList(const SFTP_Vector<int>& list) override;
    int setRSAPrivateKey(const SFTP_String& keyFile, int nFormat, int* pResult,
                         const SFTP_String& passphrase) override;
    int setPassword(const SFTP_String& password) override;
    int setCipherList(const SFTP_Vector<int>& list) override;
    int setMacList(const SFTP_Vector<int>& list) override;
    int setCompression(unsigned int uCompression) override;
    int setKeyExchangeList(const SFTP_Vector<int>& list) override;
    int setSessionCallback(SFTP_SessionCB* pCallback) override;
    int connect() override;
    int disconnect() override;
    int closeSession() override;
    int lastError() override;
    const char* lastErrorText() override;
    int readDir(const SFTP_String& path, SFTP_DirVisitor& visitor) override;
    int stat(const SFTP_String& path, SFTP_FileInfo& info) override;
    int makeDir(const SFTP_String& path) override;
    int removeDir(const SFTP_String& path) override;
    int remove(const SFTP_String& path) override;
    int rename(const SFTP_String& from, const SFTP_String& to) override;
    int openFile(const SFTP_String& path, int nOpen, SFTP_File** ppFile) override;
    int readFile(SFTP_File* pFile, std::uint64_t ullOffset, void* pBuffer, std::size_t nSize,
                 std::size_t* pRead) override;
    int writeFile(SFTP_File* pFile, std::uint64_t ullOffset, const void* pBuffer,
                  std::size_t nSize) override;
    int closeFile(SFTP_File* pFile) override;
    int getFile(const SFTP_String& remote, const SFTP_String& local,
                SFTP_Progress* pProgress) override;
    int putFile(const SFTP_String& local, const SFTP_String& remote,
                SFTP_Progress* pProgress) override;
    int realPath(const SFTP_String& path, SFTP_String& absolute) override;
    int setTimeout(unsigned int uSeconds) override;
    int preferHostKeys(const SFTP_String& types) override;
    int readAll(SFTP_File* pFile, std::uint64_t ullOffset, SFTP_Sink& sink) override;
    int writeAll(SFTP_File* pFile, std::uint64_t ullOffset, SFTP_Source& source) override;
    int setModified(const SFTP_String& path, std::int64_t llModified) override;
    int setPermission(const SFTP_String& path, std::uint32_t uPermission) override;
    int replace(const SFTP_String& from, const SFTP_String& to) override;
    int statLink(const SFTP_String& path, SFTP_FileInfo& info) override;
    int setConnectTimeout(unsigned int uSeconds) override;
    int setSessionOption(int nOption) override;
    int setHostKeyList(const SFTP_Vector<int>& list) override;

private:
    template <class Operation>
    int Guarded(Operation operation) noexcept;
    template <class Operation>
    int Connected(std::initializer_list<const SFTP_String*> texts, Operation operation) noexcept;
    int SetList(std::vector<std::string>& names, const SAlgorithmFamily& family, const int* pIds,
                std::size_t uCount) noexcept;
    int Start();
    void End() noexcept;
    bool IsOpen(const SFTP_File* pFile) const;
    template <class Operation>
    int WithFile(const SFTP_File* pFile, Operation operation) noexcept;

    CLastError m_error;
    SLinkSettings m_settings;
    bool m_bClosed = false;
    std::unique_ptr<CSshLink> m_pLink;
    std::unique_ptr<CSftpChannel> m_pChannel;  // on the link: declared behind it
    std::vector<std::unique_ptr<SFTP_File>> m_files;
};

}  // namespace sftpwrapper

#endif
