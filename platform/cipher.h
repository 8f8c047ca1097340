#ifndef QEL_PLATFORM_CIPHER_H
#define QEL_PLATFORM_CIPHER_H

#include <string>

#include "src/support/autopassword.h"

// Enciphered secrets. The library stores and copies them as they are and asks for the plain text
// only at the moment of use, into a holder that wipes itself.

namespace TQ_UTIL {

// The host's holder of a plain secret; all its behaviour is AutoPassword's.
class WBAutoPassword : public AutoPassword {};

// A secret at rest. The plain bytes never stand in the object. Copies are independent.
// Different objects may be used by different threads at the same time.
class CcipheString {
public:
    // The empty secret.
    CcipheString();

    // Enciphers plain, which may hold any bytes. The caller's copy stays the caller's to wipe.
    explicit CcipheString(const std::string& plain);

    // Deciphers into the holder, replacing what it held. Returns 0; anything else is a failure, and
    // the holder is then as it was.
    int GetOriginalStr(WBAutoPassword& plain) const;

private:
    std::string m_strEnciphered;  // opaque to everyone but the implementation
};

// The host's adapter interface. The library calls one operation of it, by its position in the
// virtual table: the eighth entry deciphers. The others are the host's own.
class ISovAdapter {
public:
    virtual int Reserved01() = 0;
    virtual int Reserved02() = 0;
    virtual int Reserved03() = 0;
    virtual int Reserved04() = 0;
    virtual int Reserved05() = 0;
    virtual int Reserved06() = 0;
    virtual int Reserved07() = 0;

    // Fills *plain with the plain text of *secret and its length in bytes. Returns 0 on success;
    // on failure *plain is left as it was. Both pointers are the caller's and must not be null.
    virtual int Decipher(const CcipheString* secret, WBAutoPassword* plain) = 0;

protected:
    ~ISovAdapter() = default;  // owned by the host, never deleted through this interface
};

// Gives access to the adapter interface. Made on the stack wherever it is needed.
class CWBSovAdapterFactory {
public:
    // The interface belongs to the host and lives as long as the process; never null.
    ISovAdapter* getSovInterface();
};

}  // namespace TQ_UTIL

#endif
