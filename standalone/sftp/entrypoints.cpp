#include <libssh/libssh.h>

#include <mutex>
#include <new>

#include "platform/sftpwrapper.h"
#include "standalone/sftp/session.h"

// The plain names that hosts look up. Nothing else leaves the library.

#define QEL_ENTRY __attribute__((visibility("default")))

namespace {

// Connections that are set up and not yet released. The first one initialises libssh, the last one
// lets go of it.
std::mutex g_mutex;
unsigned int g_uConnections = 0;

class CGlobalContext : public SFTP_GlobalCTX {
public:
    // No setting of this wrapper is shared by sessions.
    int setGlobalOption(int) override { return SFTP_OK; }
};

CGlobalContext g_context;

}  // namespace

extern "C" {

QEL_ENTRY int SFTP_initLibrary() {
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (g_uConnections == 0 && ssh_init() != SSH_OK) return -1;
    ++g_uConnections;
    return 0;
}

QEL_ENTRY void SFTP_finiLibrary() {
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (g_uConnections == 0) return;
    if (--g_uConnections == 0) ssh_finalize();
}

QEL_ENTRY SFTP_GlobalCTX* SFTP_getGlobalCTX() {
    return &g_context;
}

QEL_ENTRY SFTP_Session_Wrp* SFTP_getNewSession() {
    {
        const std::lock_guard<std::mutex> lock(g_mutex);
        if (g_uConnections == 0) return nullptr;
    }
    return new (std::nothrow) sftpwrapper::CSession;
}

QEL_ENTRY void SFTP_freeSession(SFTP_Session_Wrp* pSession) {
    if (pSession == nullptr) return;
    pSession->closeSession();
    delete static_cast<sftpwrapper::CSession*>(pSession);
}

QEL_ENTRY int SFTP_getLastError(SFTP_Session_Wrp* pSession) {
    return pSession == nullptr ? static_cast<int>(SFTP_ERR_ARGUMENT) : pSession->lastError();
}

QEL_ENTRY const char* SFTP_getErrorDesc(SFTP_Session_Wrp* pSession) {
    return pSession == nullptr ? "no session" : pSession->lastErrorText();
}

}  // extern "C"
