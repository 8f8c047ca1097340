#include "standalone/sftp/session.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <sstream>

#include "standalone/sftp/algorithmlist.h"
#include "standalone/sftp/filetransfer.h"
#include "standalone/sftp/readwindow.h"
#include "standalone/sftp/sftprequests.h"
#include "standalone/sftp/writewindow.h"

namespace sftpwrapper {
namespace {

constexpr unsigned int kMaxTimeout = 24 * 60 * 60;  // seconds
constexpr unsigned int kMaxPort = 65535;
constexpr int kKeyFormat = 1;
constexpr std::uint32_t kPermissionBits = 07777;

bool IsEmpty(const SFTP_String& text) {
    return text.c_str() == nullptr || *text.c_str() == '\0';
}

}  // namespace

// An exception in the middle of a dialogue leaves the stream out of step.
template <class Operation>
int CSession::Guarded(Operation operation) noexcept {
    try {
        return operation();
    } catch (const std::bad_alloc&) {
        End();
        return m_error.Set(SFTP_ERR_MEMORY);
    }
}

// Runs an operation that needs the connection and non-empty texts.
template <class Operation>
int CSession::Connected(std::initializer_list<const SFTP_String*> texts,
                        Operation operation) noexcept {
    return Guarded([&]() -> int {
        if (m_pChannel == nullptr) return m_error.Set(SFTP_ERR_NOT_CONNECTED, "not connected");
        for (const SFTP_String* pText : texts)
            if (IsEmpty(*pText)) return m_error.Set(SFTP_ERR_ARGUMENT, "a path is empty");
        return operation();
    });
}

int CSession::SetList(std::vector<std::string>& names, const SAlgorithmFamily& family,
                      const int* pIds, std::size_t uCount) noexcept {
    return Guarded([&]() -> int {
        names = NamesOf(family, pIds, pIds == nullptr ? 0 : uCount);
        if (!names.empty()) return SFTP_OK;
        return m_error.Set(SFTP_ERR_ALGORITHMS,
                           std::string("no known identifier in the ") + family.pszTitle + " list");
    });
}

int CSession::setServerInfo(const SFTP_String& host, unsigned int uPort, const SFTP_String& user) {
    return Guarded([&]() -> int {
        if (IsEmpty(host) || IsEmpty(user) || uPort == 0 || uPort > kMaxPort)
            return m_error.Set(SFTP_ERR_ARGUMENT, "host, port or user is missing");
        m_settings.strHost = host.c_str();
        m_settings.strUser = user.c_str();
        m_settings.uPort = uPort;
        return SFTP_OK;
    });
}

int CSession::setAuthTypeList(const SFTP_Vector<int>& list) {
    return SetList(m_settings.authTypes, kAuthTypeFamily, list.data, list.size);
}

int CSession::setCipherList(const SFTP_Vector<int>& list) {
    return SetList(m_settings.ciphers, kCipherFamily, list.data, list.size);
}

int CSession::setMacList(const SFTP_Vector<int>& list) {
    return SetList(m_settings.macs, kMacFamily, list.data, list.size);
}

int CSession::setCompression(unsigned int uCompression) {
    const int nId = static_cast<int>(uCompression);
    return SetList(m_settings.compressions, kCompressionFamily, &nId, 1);
}

int CSession::setKeyExchangeList(const SFTP_Vector<int>& list) {
    return SetList(m_settings.keyExchanges, kKeyExchangeFamily, list.data, list.size);
}

int CSession::setHostKeyList(const SFTP_Vector<int>& list) {
    return SetList(m_settings.hostKeys, kHostKeyFamily, list.data, list.size);
}

int CSession::setRSAPrivateKey(const SFTP_String& keyFile, int nFormat, int* pResult,
                               const SFTP_String& passphrase) {
    return Guarded([&]() -> int {
        m_settings.privateKey.reset();
        std::string strReason;
        if (IsEmpty(keyFile) || nFormat != kKeyFormat)
            strReason = "no key file, or not of format 1";
        else
            m_settings.privateKey = LoadPrivateKey(
                keyFile.c_str(), passphrase.c_str() ? passphrase.c_str() : "", strReason);
        const int nResult =
            m_settings.privateKey != nullptr
                ? SFTP_OK
                : m_error.Set(SFTP_ERR_PRIVATE_KEY, std::string("private key ") +
                                                        (keyFile.c_str() ? keyFile.c_str() : "") +
                                                        ": " + strReason);
        if (pResult != nullptr) *pResult = nResult;
        return nResult;
    });
}

int CSession::setPassword(const SFTP_String& password) {
    return Guarded([&]() -> int {
        if (password.c_str() == nullptr) return m_error.Set(SFTP_ERR_ARGUMENT, "no password");
        m_settings.password.Set(password.c_str());
        return SFTP_OK;
    });
}

int CSession::setSessionCallback(SFTP_SessionCB* pCallback) {
    m_settings.pCallback = pCallback;
    return SFTP_OK;
}

int CSession::setSessionOption(int) {
    return SFTP_OK;
}

int CSession::setTimeout(unsigned int uSeconds) {
    m_settings.timeout = kDefaultTimeout;
    if (uSeconds != 0) m_settings.timeout = std::chrono::seconds(std::min(uSeconds, kMaxTimeout));
    return SFTP_OK;
}

int CSession::setConnectTimeout(unsigned int uSeconds) {
    m_settings.connectTimeout = std::chrono::seconds(std::min(uSeconds, kMaxTimeout));
    return SFTP_OK;
}

int CSession::preferHostKeys(const SFTP_String& types) {
    return Guarded([&]() -> int {
        m_settings.preferredKeyTypes.clear();
        std::istringstream list(types.c_str() != nullptr ? types.c_str() : "");
        for (std::string strType; std::getline(list, strType, ',');)
            m_settings.preferredKeyTypes.push_back(strType);
        return SFTP_OK;
    });
}

int CSession::connect() {
    return Guarded([&]() -> int {
        if (m_bClosed || m_pChannel != nullptr)
            return m_error.Set(SFTP_ERR_ARGUMENT,
                               m_bClosed ? "the session is closed" : "connected already");
        if (m_settings.strHost.empty())
            return m_error.Set(SFTP_ERR_ARGUMENT, "no server was named");
        const int nResult = Start();
        if (nResult != SFTP_OK) End();
        return nResult;
    });
}

int CSession::Start() {
    m_pLink = std::make_unique<CSshLink>(m_error);
    const int nResult = m_pLink->Connect(m_settings);
    if (nResult != SFTP_OK) return nResult;
    m_pChannel = std::make_unique<CSftpChannel>(m_pLink->Session(), m_settings.timeout, m_error);
    return m_pChannel->Open();
}

void CSession::End() noexcept {
    m_files.clear();
    m_pChannel.reset();
    m_pLink.reset();
}

int CSession::disconnect() {
    return Guarded([&]() -> int {
        if (m_pChannel == nullptr) return m_error.Set(SFTP_ERR_NOT_CONNECTED, "not connected");
        End();
        return SFTP_OK;
    });
}

int CSession::closeSession() {
    return Guarded([&]() -> int {
        End();
        m_settings.password.Wipe();
        m_settings.privateKey.reset();
        m_bClosed = true;
        return SFTP_OK;
    });
}

int CSession::lastError() {
    return m_error.Code();
}

const char* CSession::lastErrorText() {
    return m_error.Text().c_str();
}

int CSession::readDir(const SFTP_String& path, SFTP_DirVisitor& visitor) {
    return Connected({&path}, [&] {
        return CSftpRequests(*m_pChannel, m_error).ReadDir(path.c_str(), visitor);
    });
}

int CSession::stat(const SFTP_String& path, SFTP_FileInfo& info) {
    return Connected({&path}, [&] {
        SAttributes attributes;
        const int nResult = CSftpRequests(*m_pChannel, m_error).Stat(path.c_str(), attributes);
        if (nResult == SFTP_OK) info = FileInfoOf(attributes);
        return nResult;
    });
}

int CSession::makeDir(const SFTP_String& path) {
    return Connected({&path},
                     [&] { return CSftpRequests(*m_pChannel, m_error).MakeDir(path.c_str()); });
}

int CSession::removeDir(const SFTP_String& path) {
    return Connected({&path},
                     [&] { return CSftpRequests(*m_pChannel, m_error).RemoveDir(path.c_str()); });
}

int CSession::remove(const SFTP_String& path) {
    return Connected({&path},
                     [&] { return CSftpRequests(*m_pChannel, m_error).Remove(path.c_str()); });
}

int CSession::rename(const SFTP_String& from, const SFTP_String& to) {
    return Connected({&from, &to}, [&] {
        return CSftpRequests(*m_pChannel, m_error).Rename(from.c_str(), to.c_str());
    });
}

int CSession::realPath(const SFTP_String& path, SFTP_String& absolute) {
    return Connected({&path}, [&] {
        std::string strAbsolute;
        const int nResult = CSftpRequests(*m_pChannel, m_error).RealPath(path.c_str(), strAbsolute);
        if (nResult == SFTP_OK) absolute = SFTP_String(strAbsolute.c_str());
        return nResult;
    });
}

int CSession::openFile(const SFTP_String& path, int nOpen, SFTP_File** ppFile) {
    if (ppFile != nullptr) *ppFile = nullptr;
    return Connected({&path}, [&]() -> int {
        if (ppFile == nullptr || (nOpen & (SFTP_OPEN_READ | SFTP_OPEN_WRITE)) == 0)
            return m_error.Set(SFTP_ERR_ARGUMENT, "neither to read nor to write");
        std::string strHandle;
        const int nResult =
            CSftpRequests(*m_pChannel, m_error).Open(path.c_str(), nOpen, strHandle);
        if (nResult != SFTP_OK) return nResult;
        m_files.push_back(std::make_unique<SFTP_File>(std::move(strHandle)));
        *ppFile = m_files.back().get();
        return SFTP_OK;
    });
}

bool CSession::IsOpen(const SFTP_File* pFile) const {
    return std::any_of(m_files.begin(), m_files.end(),
                       [pFile](const auto& pOpen) { return pOpen.get() == pFile; });
}

int CSession::readFile(SFTP_File* pFile, std::uint64_t ullOffset, void* pBuffer, std::size_t nSize,
                       std::size_t* pRead) {
    if (pRead != nullptr) *pRead = 0;
    return Connected({}, [&]() -> int {
        if (!IsOpen(pFile) || pBuffer == nullptr || pRead == nullptr ||
            ullOffset + nSize < ullOffset)
            return m_error.Set(SFTP_ERR_ARGUMENT, "not an open file, or no buffer");
        std::uint64_t ullReached = 0;
        const auto sink = [&](std::uint64_t ullAt, const void* pData, std::size_t uSize) {
            std::memcpy(static_cast<char*>(pBuffer) + (ullAt - ullOffset), pData, uSize);
            return static_cast<int>(SFTP_OK);
        };
        const int nResult = CReadWindow(*m_pChannel, m_error, pFile->Handle())
                                .Read(ullOffset, ullOffset + nSize, sink, ullReached);
        if (nResult == SFTP_OK) *pRead = static_cast<std::size_t>(ullReached - ullOffset);
        return nResult;
    });
}

int CSession::writeFile(SFTP_File* pFile, std::uint64_t ullOffset, const void* pBuffer,
                        std::size_t nSize) {
    return Connected({}, [&]() -> int {
        if (!IsOpen(pFile) || pBuffer == nullptr)
            return m_error.Set(SFTP_ERR_ARGUMENT, "not an open file, or no buffer");
        const char* pNext = static_cast<const char*>(pBuffer);
        std::size_t uLeft = nSize;
        const auto source = [&](void* pData, std::size_t uRoom, std::size_t& uSize) {
            uSize = std::min(uRoom, uLeft);
            std::memcpy(pData, pNext, uSize);
            pNext += uSize;
            uLeft -= uSize;
            return static_cast<int>(SFTP_OK);
        };
        const auto acknowledged = [](std::uint64_t) { return static_cast<int>(SFTP_OK); };
        return CWriteWindow(*m_pChannel, m_error, pFile->Handle())
            .Write(ullOffset, source, acknowledged);
    });
}

int CSession::closeFile(SFTP_File* pFile) {
    return Connected({}, [&]() -> int {
        const auto found = std::find_if(m_files.begin(), m_files.end(), [pFile](const auto& pOpen) {
            return pOpen.get() == pFile;
        });
        if (found == m_files.end()) return m_error.Set(SFTP_ERR_ARGUMENT, "not an open file");
        const std::unique_ptr<SFTP_File> pOwned = std::move(*found);
        m_files.erase(found);
        return CSftpRequests(*m_pChannel, m_error).Close(pOwned->Handle());
    });
}

int CSession::getFile(const SFTP_String& remote, const SFTP_String& local,
                      SFTP_Progress* pProgress) {
    return Connected({&remote, &local}, [&] {
        return GetWholeFile(*m_pChannel, m_error, remote.c_str(), local.c_str(), pProgress);
    });
}

int CSession::putFile(const SFTP_String& local, const SFTP_String& remote,
                      SFTP_Progress* pProgress) {
    return Connected({&remote, &local}, [&] {
        return PutWholeFile(*m_pChannel, m_error, local.c_str(), remote.c_str(), pProgress);
    });
}

template <class Operation>
int CSession::WithFile(const SFTP_File* pFile, Operation operation) noexcept {
    return Connected({}, [&]() -> int {
        if (!IsOpen(pFile)) return m_error.Set(SFTP_ERR_ARGUMENT, "not an open file");
        return operation();
    });
}

int CSession::readAll(SFTP_File* pFile, std::uint64_t ullOffset, SFTP_Sink& sink) {
    return WithFile(
        pFile, [&] { return ReadStream(*m_pChannel, m_error, pFile->Handle(), ullOffset, sink); });
}

int CSession::writeAll(SFTP_File* pFile, std::uint64_t ullOffset, SFTP_Source& source) {
    return WithFile(pFile, [&] {
        return WriteStream(*m_pChannel, m_error, pFile->Handle(), ullOffset, source);
    });
}

int CSession::setModified(const SFTP_String& path, std::int64_t llModified) {
    return Connected({&path}, [&]() -> int {
        if (llModified < 0 || llModified > std::numeric_limits<std::uint32_t>::max())
            return m_error.Set(SFTP_ERR_ARGUMENT, "a time that the protocol cannot express");
        return CSftpRequests(*m_pChannel, m_error)
            .SetModified(path.c_str(), static_cast<std::uint32_t>(llModified));
    });
}

int CSession::setPermission(const SFTP_String& path, std::uint32_t uPermission) {
    return Connected({&path}, [&]() -> int {
        if ((uPermission & ~kPermissionBits) != 0)
            return m_error.Set(SFTP_ERR_ARGUMENT, "more than permissions");
        return CSftpRequests(*m_pChannel, m_error).SetMode(path.c_str(), uPermission);
    });
}

int CSession::replace(const SFTP_String& from, const SFTP_String& to) {
    return Connected({&from, &to}, [&] {
        return CSftpRequests(*m_pChannel, m_error).Replace(from.c_str(), to.c_str());
    });
}

int CSession::statLink(const SFTP_String& path, SFTP_FileInfo& info) {
    return Connected({&path}, [&] {
        SAttributes attributes;
        const int nResult = CSftpRequests(*m_pChannel, m_error).StatLink(path.c_str(), attributes);
        if (nResult == SFTP_OK) info = FileInfoOf(attributes);
        return nResult;
    });
}

}  // namespace sftpwrapper
