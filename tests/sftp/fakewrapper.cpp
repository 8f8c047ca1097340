// A wrapper library that only reports what it is asked. FAKE_WITHOUT_... leaves an entry point out.

#include "tests/sftp/fakewrapper.h"

#include "platform/sftpwrapper.h"

// Defined nowhere: the library can only be opened with lazy binding.
extern "C" void FakeNeverDefined();

namespace {

std::string Text(const SFTP_String& text) {
    return text.c_str() == nullptr ? "(null)" : "\"" + std::string(text.c_str()) + "\"";
}

std::string Ids(const SFTP_Vector<int>& list) {
    std::string strIds;
    for (std::uint64_t i = 0; i < list.size; ++i)
        strIds += (i == 0 ? "" : " ") + std::to_string(list.data[i]);
    return strIds;
}

int Called(const char* pszOperation, const std::string& strArguments = "") {
    return FakeCalled(pszOperation, strArguments.c_str());
}

class CFakeSession : public SFTP_Session_Wrp {
public:
    int setServerInfo(const SFTP_String& host, unsigned int uPort,
                      const SFTP_String& user) override {
        return Called("setServerInfo", Text(host) + " " + std::to_string(uPort) + " " + Text(user));
    }
    int setAuthTypeList(const SFTP_Vector<int>& list) override {
        return Called("setAuthTypeList", Ids(list));
    }
    int setRSAPrivateKey(const SFTP_String& keyFile, int nFormat, int* pResult,
                         const SFTP_String& passphrase) override {
        return Called("setRSAPrivateKey", Text(keyFile) + " " + std::to_string(nFormat) + " " +
                                              std::to_string(*pResult) + " " + Text(passphrase));
    }
    int setPassword(const SFTP_String& password) override {
        return Called("setPassword", Text(password));
    }
    int setCipherList(const SFTP_Vector<int>& list) override {
        return Called("setCipherList", Ids(list));
    }
    int setMacList(const SFTP_Vector<int>& list) override {
        return Called("setMacList", Ids(list));
    }
    int setCompression(unsigned int uCompression) override {
        return Called("setCompression", std::to_string(uCompression));
    }
    int setKeyExchangeList(const SFTP_Vector<int>& list) override {
        return Called("setKeyExchangeList", Ids(list));
    }
    int setSessionCallback(SFTP_SessionCB* pCallback) override {
        return Called("setSessionCallback", pCallback == nullptr ? "(null)" : "");
    }
    int closeSession() override { return Called("closeSession"); }
    int setSessionOption(int nOption) override {
        return Called("setSessionOption", std::to_string(nOption));
    }
    int setHostKeyList(const SFTP_Vector<int>& list) override {
        return Called("setHostKeyList", Ids(list));
    }
    int reserved66() override {
        FakeNeverDefined();
        return 0;
    }
};

class CFakeContext : public SFTP_GlobalCTX {
public:
    int setGlobalOption(int nOption) override {
        return Called("setGlobalOption", std::to_string(nOption));
    }
};

[[maybe_unused]] CFakeContext g_context;  // unused where its entry point is left out
[[maybe_unused]] CFakeSession g_session;  // without a state, so that one serves all connections

__attribute__((constructor)) void Loaded() {
    Called("(loaded)");
}

__attribute__((destructor)) void Unloaded() {
    Called("(unloaded)");
}

}  // namespace

extern "C" {

#ifndef FAKE_WITHOUT_SFTP_initLibrary
int SFTP_initLibrary() {
    return Called("SFTP_initLibrary");
}
#endif

#ifndef FAKE_WITHOUT_SFTP_finiLibrary
void SFTP_finiLibrary() {
    Called("SFTP_finiLibrary");
}
#endif

#ifndef FAKE_WITHOUT_SFTP_freeSession
void SFTP_freeSession(SFTP_Session_Wrp* pSession) {
    Called("SFTP_freeSession", pSession == FakeSession(&g_session) ? "" : "of another");
}
#endif

#ifndef FAKE_WITHOUT_SFTP_getLastError
int SFTP_getLastError(SFTP_Session_Wrp* /*pSession*/) {
    return Called("SFTP_getLastError");
}
#endif

#ifndef FAKE_WITHOUT_SFTP_getErrorDesc
const char* SFTP_getErrorDesc(SFTP_Session_Wrp* /*pSession*/) {
    Called("SFTP_getErrorDesc");
    return "";
}
#endif

#ifndef FAKE_WITHOUT_SFTP_getGlobalCTX
SFTP_GlobalCTX* SFTP_getGlobalCTX() {
    Called("SFTP_getGlobalCTX");
    return &g_context;
}
#endif

#ifndef FAKE_WITHOUT_SFTP_getNewSession
SFTP_Session_Wrp* SFTP_getNewSession() {
    Called("SFTP_getNewSession");
    return FakeSession(&g_session);
}
#endif

}  // extern "C"
