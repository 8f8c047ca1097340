// A session with its algorithms: binds the wrapper library's entry points into the record, makes a
// session and hands over what the configuration says.

#include <ace/DLL.h>

#include <string>
#include <vector>

#include "include/sftpclient.h"
#include "src/sftp/sftpclientlog.h"
#include "src/sftp/sftpclientreadcfg.h"
#include "src/support/log.h"

namespace RVN_FTP_CLIENT {
namespace {

constexpr const char* kOperation = "getSFTPClientObject";
constexpr int kGlobalOption = 15;  // the one option the wrapper is given

void LogFailure(const std::string& strMessage) {
    LogSetupFailure(strMessage, LocationInfo(kSftpClientFile, kOperation, __LINE__));
}

// Ends a set-up after the library was opened: it is unloaded, and only then is the loader asked for
// its error. The session and the functions in the record are left as they are; after a failure the
// caller only discards the record.
void Abandon(StSFTPConnectionInfo& info, const std::string& strMessage) {
    delete info.pAceDLL;
    info.pAceDLL = nullptr;
    LogFailure(strMessage);
}

// False when the library has no such symbol; the set-up is then over and pfn as it was.
template <class TFunction>
bool Bind(StSFTPConnectionInfo& info, const char* pszSymbol, TFunction& pfn) {
    void* pSymbol = info.pAceDLL->symbol(pszSymbol, 0);
    if (pSymbol == nullptr) {
        Abandon(info, std::string("aceDLL->symbol return NULL.") + pszSymbol);
        return false;
    }
    pfn = reinterpret_cast<TFunction>(pSymbol);
    return true;
}

bool InitLibrary(StSFTPConnectionInfo& info) {
    PFN_SFTP_initLibrary pfnInitLibrary = nullptr;
    if (!Bind(info, "SFTP_initLibrary", pfnInitLibrary)) return false;
    if (pfnInitLibrary() != -1) return true;
    Abandon(info, "FP_INIT failed,dllError:SFTP_finiLibrary");
    return false;
}

bool BindRecord(StSFTPConnectionInfo& info) {
    return Bind(info, "SFTP_finiLibrary", info.pfnFiniLibrary) &&
           Bind(info, "SFTP_freeSession", info.pfnFreeSession) &&
           Bind(info, "SFTP_getLastError", info.pfnGetLastError) &&
           Bind(info, "SFTP_getErrorDesc", info.pfnGetErrorDesc);
}

bool SetGlobalOption(StSFTPConnectionInfo& info) {
    PFN_SFTP_getGlobalCTX pfnGetGlobalCTX = nullptr;
    if (!Bind(info, "SFTP_getGlobalCTX", pfnGetGlobalCTX)) return false;
    pfnGetGlobalCTX()->setGlobalOption(kGlobalOption);
    return true;
}

SFTP_Session_Wrp* NewSession(StSFTPConnectionInfo& info) {
    PFN_SFTP_getNewSession pfnGetNewSession = nullptr;
    if (!Bind(info, "SFTP_getNewSession", pfnGetNewSession)) return nullptr;
    SFTP_Session_Wrp* pSession = pfnGetNewSession();
    if (pSession == nullptr) Abandon(info, "SFTP_Session_Wrp is NULL.");
    return pSession;
}

// One algorithm list on its way from the configuration to the session.
struct SListRule {
    const char* pszName;
    const std::vector<int>& (CSftpClientConfManager::*pfnGet)() const;
    int (SFTP_Session_Wrp::*pfnSet)(const SFTP_Vector<int>&);
};

using Conf = CSftpClientConfManager;
using Session = SFTP_Session_Wrp;

// In the order of handing over; the compression goes before the last.
constexpr SListRule kAlgorithmLists[] = {
    {"Cipher", &Conf::getCipherList, &Session::setCipherList},
    {"MAC", &Conf::getMacList, &Session::setMacList},
    {"KeyExchange", &Conf::getKeyExchangeList, &Session::setKeyExchangeList},
    {"HostKey", &Conf::getHostKeyList, &Session::setHostKeyList},
};
constexpr SListRule kAuthTypeList = {"AuthType", &Conf::getAuthTypeList, &Session::setAuthTypeList};

bool SetList(StSFTPConnectionInfo& info, Session& session, const Conf& conf,
             const SListRule& rule) {
    const std::vector<int> ids = (conf.*rule.pfnGet)();
    SFTP_Vector<int> list(ids.size());
    if (list.data == nullptr) {
        Abandon(info, std::string(rule.pszName) + " arr is NULL.");
        return false;
    }
    for (const int nId : ids)
        list.append(nId);
    (session.*rule.pfnSet)(list);
    return true;
}

bool SetAlgorithms(StSFTPConnectionInfo& info, Session& session, const Conf& conf) {
    for (const SListRule& rule : kAlgorithmLists) {
        if (!SetList(info, session, conf, rule)) return false;
    }
    session.setCompression(static_cast<unsigned int>(conf.getCompression()));
    return SetList(info, session, conf, kAuthTypeList);
}

}  // namespace

SFTP_Session_Wrp* CSftpClient::getSFTPClientObject(StSFTPConnectionInfo* info) {
    if (info == nullptr) {
        LogFailure("pStSFTPConnectionInfo is null.SFTP_initLibrary");
        return nullptr;
    }
    info->pAceDLL = loadSftpDll();
    if (info->pAceDLL == nullptr) {
        LogFailure("loadSftpDll failed.SFTP_initLibrary");
        return nullptr;
    }
    if (!InitLibrary(*info) || !BindRecord(*info) || !SetGlobalOption(*info)) return nullptr;

    SFTP_Session_Wrp* pSession = NewSession(*info);
    if (pSession == nullptr) return nullptr;

    const CSftpClientConfManager* pConf = CSftpClientConfManager::Instance();
    if (pConf == nullptr || !pConf->isConfigValid()) {
        // Unlike the other failures this one keeps the library open; see the header.
        LogError(kNoLogCode, "CSftpClientConfManager::Instance is fail",
                 LocationInfo(kSftpClientFile, kOperation, __LINE__));
        return nullptr;
    }
    return SetAlgorithms(*info, *pSession, *pConf) ? pSession : nullptr;
}

}  // namespace RVN_FTP_CLIENT
