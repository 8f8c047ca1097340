#include "src/sftp/sftpclientreadcfg.h"

#include <ace/OS_NS_Thread.h>
#include <ace/Recursive_Thread_Mutex.h>
#include <ace/Static_Object_Lock.h>

#include <cstdint>
#include <cstdlib>

#include "platform/files.h"
#include "platform/paths.h"
#include "platform/resources.h"
#include "src/support/log.h"

namespace RVN_FTP_CLIENT {
namespace {

constexpr const char* kReadCfgFile = "sftpclientreadcfg";  // in all log locations
constexpr const char* kConfigDir = "vesk/PRWWBFrame/prw/qel/conf";
constexpr const char* kConfigFile = "sftpAlgorithm.cfg";

// The process-wide lock that ACE keeps for making static objects, held by scope.
class CStaticObjectGuard {
public:
    CStaticObjectGuard()
        : m_pMutex(&ACE_Static_Object_Lock::instance()->lock()),
          m_bHeld(ACE_OS::mutex_lock(m_pMutex) != -1) {}
    ~CStaticObjectGuard() {
        if (m_bHeld) ACE_OS::mutex_unlock(m_pMutex);
    }

    CStaticObjectGuard(const CStaticObjectGuard&) = delete;
    CStaticObjectGuard& operator=(const CStaticObjectGuard&) = delete;

    bool Held() const { return m_bHeld; }

private:
    ACE_mutex_t* m_pMutex;
    bool m_bHeld;
};

void LogConfigError(const std::string& strMessage, const char* pszFunction, int nLine) {
    LogError(kNoLogCode, strMessage, LocationInfo(kReadCfgFile, pszFunction, nLine));
}

// The text of a key, or null when there is none or it is empty.
const char* ValueOf(const std::string& strKey) {
    const char* pszValue = ZeltGetResString(strKey);
    return pszValue != nullptr && *pszValue != '\0' ? pszValue : nullptr;
}

// Hexadecimal with an optional sign and "0x"; 0 without a digit. Only the low 32 bits count.
int ToIdentifier(const char* pszValue) {
    return static_cast<std::int32_t>(std::strtol(pszValue, nullptr, 16));
}

}  // namespace

std::atomic<CSftpClientConfManager*> CSftpClientConfManager::s_pInstance{nullptr};

CSftpClientConfManager* CSftpClientConfManager::Instance() {
    CSftpClientConfManager* pInstance = s_pInstance.load(std::memory_order_acquire);
    if (pInstance != nullptr) return pInstance;

    const CStaticObjectGuard guard;
    if (!guard.Held()) return nullptr;
    pInstance = s_pInstance.load(std::memory_order_relaxed);
    if (pInstance == nullptr) {
        pInstance = new CSftpClientConfManager;
        s_pInstance.store(pInstance, std::memory_order_release);
    }
    return pInstance;
}

void CSftpClientConfManager::Release() {
    const CStaticObjectGuard guard;
    if (!guard.Held()) return;
    delete s_pInstance.exchange(nullptr);
}

bool CSftpClientConfManager::isConfigValid() const {
    return !m_vecCipher.empty() && !m_vecMac.empty() && !m_vecKeyExchange.empty() &&
           !m_vecHostKey.empty() && !m_vecAuthType.empty();
}

void CSftpClientConfManager::init() {
    _TraceFunction trace(LocationInfo(kReadCfgFile, "init", __LINE__));
    std::string strPath;
    if (TQ_UTIL::SovGetServerPath_WB(strPath) != 1) {
        LogConfigError("SovGetServerPath_WB error.", "init", __LINE__);
        return;
    }
    if (!strPath.empty() && strPath.back() != '/' && strPath.back() != '\\') strPath += '/';
    strPath += std::string(kConfigDir) + "/" + kConfigFile;

    if (ZELT_OS::access(strPath.c_str(), 0, "UTF-8") != 0) {
        LogConfigError("CSftpClientConfManager::init - " + strPath + " is not exists.", "init",
                       __LINE__);
        return;
    }
    if (ZeltAddResFileWithAbsolute(strPath) == 0) {
        LogConfigError(
            "CSftpClientConfManager::init - ZeltAddResFileWithAbsolute  fail in " + strPath, "init",
            __LINE__);
        return;
    }
    initCfgItem("Cipher", m_vecCipher);
    initCfgItem("Mac", m_vecMac);
    initCfgItem("KeyExchange", m_vecKeyExchange);
    initCfgItem("HostKey", m_vecHostKey);
    initCfgItem("AuthType", m_vecAuthType);
    initCompressionCfgItem();
}

void CSftpClientConfManager::initCfgItem(const std::string& strName, std::vector<int>& list) {
    _TraceFunction trace(LocationInfo(kReadCfgFile, "initCfgItem", __LINE__));
    std::vector<std::string> entries;
    getSupportedAlgorithmList(strName, entries);
    for (const std::string& strEntry : entries) {
        const char* pszValue = ValueOf(strEntry);
        if (pszValue == nullptr) {
            LogConfigError("CSftpClientConfManager::initCfgItem - Get " + strName + "." + strEntry +
                               " fail in sftpAlgorithm.cfg",
                           "initCfgItem", __LINE__);
            continue;
        }
        list.push_back(ToIdentifier(pszValue));
    }
}

void CSftpClientConfManager::initCompressionCfgItem() {
    _TraceFunction trace(LocationInfo(kReadCfgFile, "initCompressionCfgItem", __LINE__));
    std::vector<std::string> entries;
    getSupportedAlgorithmList("Compression", entries);
    bool bStored = false;
    for (const std::string& strEntry : entries) {
        if (bStored) {
            LogInfo("Compression is More than one",
                    LocationInfo(kReadCfgFile, "initCompressionCfgItem", __LINE__));
        }
        const char* pszValue = ValueOf(strEntry);
        if (pszValue == nullptr) {
            // Logged under the name of the lists' operation, which administrators search for.
            LogConfigError("CSftpClientConfManager::initCfgItem - Get Compression." + strEntry +
                               " fail in sftpAlgorithm.cfg",
                           "initCompressionCfgItem", __LINE__);
            continue;
        }
        m_nCompression = ToIdentifier(pszValue);
        bStored = true;
    }
}

void CSftpClientConfManager::getSupportedAlgorithmList(const std::string& strName,
                                                       std::vector<std::string>& entries) {
    _TraceFunction trace(LocationInfo(kReadCfgFile, "getSupportedAlgorithmList", __LINE__));
    const char* pszValue = ValueOf(strName);
    if (pszValue == nullptr) {
        LogConfigError("CSftpClientConfManager::getSupportedAlgorithmList - Get " + strName +
                           " fail in sftpAlgorithm.cfg",
                       "getSupportedAlgorithmList", __LINE__);
        return;
    }
    std::string strRest = pszValue;
    for (std::size_t nEnd = strRest.find(';'); nEnd != std::string::npos;
         nEnd = strRest.find(';')) {
        entries.push_back(strRest.substr(0, nEnd));
        strRest.erase(0, nEnd + 1);
    }
}

}  // namespace RVN_FTP_CLIENT
