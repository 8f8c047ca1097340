// Opening the wrapper library.

#include <ace/DLL.h>
#include <ace/DLL_Manager.h>
#include <ace/Framework_Component.h>
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

// ACE looks at its singletons without a lock before it makes them under one, which is not enough to
// see them whole on every processor. They are therefore made by one thread, before others look.
ACE_DLL_Manager& LibraryTable() {
    [[maybe_unused]] static const bool bMade =
        ACE_DLL_Manager::instance() != nullptr && ACE_Framework_Repository::instance() != nullptr;
    return *ACE_DLL_Manager::instance();
}

// Keeps the library in ACE's table of open libraries while a connection opens it.
//
// ACE looks a name up under its lock, but opens the library and adds the entry after it has let go.
// Threads that open a new name at the same time thus add an entry each, while closing goes by name
// and always finds the first: that one is closed by all of them, under the hands of those who still
// look symbols up through it, and the others never. Entries stay in the table and the first of a
// name is the one that counts, so that an open goes well once there is an entry. This object sees
// to that; should it have added one too many itself, it closes that very one, not by name.
class CTableEntry {
public:
    explicit CTableEntry(const std::string& strPath)
        : m_pEntry(LibraryTable().open_dll(strPath.c_str(), kOpenMode, ACE_SHLIB_INVALID_HANDLE)) {}
    ~CTableEntry() {
        if (m_pEntry != nullptr) m_pEntry->close(1);
    }

    CTableEntry(const CTableEntry&) = delete;
    CTableEntry& operator=(const CTableEntry&) = delete;

private:
    ACE_DLL_Handle* m_pEntry;  // ACE's; null when the library cannot be opened
};

}  // namespace

ACE_DLL* CSftpClient::loadSftpDll() {
    std::string strPath;
    tq_zeltsdk_wrap::SovGetServerPath(strPath, "", "");
    TQ_UTIL::AppendDirSeparator(strPath);
    strPath += kWrapperLibrary;

    auto pDll = std::make_unique<ACE_DLL>(true);
    ACE::init();
    const CTableEntry entry(strPath);
    const int nResult = pDll->open(strPath.c_str(), kOpenMode, true);
    if (nResult == 0) return pDll.release();

    LogInfo("Load libkavo_sftp_wrapper dll failed! path = " + strPath +
                ", error = " + std::to_string(nResult),
            LocationInfo(kSftpClientFile, "loadSftpDll", __LINE__));
    return nullptr;
}

}  // namespace RVN_FTP_CLIENT
