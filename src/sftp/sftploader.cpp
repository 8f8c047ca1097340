// Opening the wrapper library.

#include <ace/DLL.h>
#include <ace/DLL_Manager.h>
#include <ace/Init_ACE.h>

#include <dlfcn.h>

#include <memory>
#include <string>

#include "include/sftpclient.h"
#include "platform/paths.h"
#include "src/sftp/sftpclientlog.h"
#include "src/support/log.h"

namespace RVN_FTP_CLIENT {
namespace {

constexpr const char* kWrapperLibrary = "vesk/Zelt_3rdTools/lib/libkavo_sftp_wrapper.so";
constexpr int kOpenMode = RTLD_LAZY | RTLD_GLOBAL;

// Gives the library its one entry in ACE's table of libraries, without loading it.
//
// ACE looks for the entry under its lock, but opens the library and adds the entry after it has let
// go. Threads that open a new name at the same time thus add an entry each, while closing goes by
// name and always finds the first: that one is closed as often as there are threads, under the
// hands of those who still look symbols up through it, and the others are never closed. An entry,
// once there, stays and counts correctly, so that it is enough to make it once before the first
// open.
//
// The program's own handle stands in for the library and is closed again at once. It is closed
// through the entry, since the manager would ask the process's unload policy and might keep it.
bool AddToLibraryTable(const std::string& strPath) {
    ACE_DLL_Handle* pEntry = ACE_DLL_Manager::instance()->open_dll(strPath.c_str(), kOpenMode,
                                                                   dlopen(nullptr, RTLD_LAZY));
    return pEntry != nullptr && pEntry->close(1) == 0;
}

}  // namespace

ACE_DLL* CSftpClient::loadSftpDll() {
    std::string strPath;
    tq_zeltsdk_wrap::SovGetServerPath(strPath, "", "");
    TQ_UTIL::AppendDirSeparator(strPath);
    strPath += kWrapperLibrary;

    auto pDll = std::make_unique<ACE_DLL>(true);
    ACE::init();
    // The server path does not change while the process lives.
    [[maybe_unused]] static const bool bInTable = AddToLibraryTable(strPath);
    const int nResult = pDll->open(strPath.c_str(), kOpenMode, true);
    if (nResult == 0) return pDll.release();

    LogInfo("Load libkavo_sftp_wrapper dll failed! path = " + strPath +
                ", error = " + std::to_string(nResult),
            LocationInfo(kSftpClientFile, "loadSftpDll", __LINE__));
    return nullptr;
}

}  // namespace RVN_FTP_CLIENT
