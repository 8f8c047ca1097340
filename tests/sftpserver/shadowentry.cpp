// Preloaded into the tests' own sshd: gives every user the password whose hash is in
// QEL_TEST_PASSWORD_HASH, so that password log-ins need no account of this machine to be touched,
// and no privileges.

#include <shadow.h>

#include <cstdlib>

extern "C" spwd* getspnam(const char* pszName) {
    static spwd entry;
    char* pszHash = std::getenv("QEL_TEST_PASSWORD_HASH");
    if (pszHash == nullptr) return nullptr;
    entry = spwd{};
    entry.sp_namp = const_cast<char*>(pszName);
    entry.sp_pwdp = pszHash;
    entry.sp_lstchg = entry.sp_min = entry.sp_max = -1;
    entry.sp_warn = entry.sp_inact = entry.sp_expire = -1;
    return &entry;
}
