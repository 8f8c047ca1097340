#ifndef QEL_SUPPORT_AUTOPASSWORD_H
#define QEL_SUPPORT_AUTOPASSWORD_H

#include <cstddef>
#include <cstring>

#include "platform/bounded.h"

// Holds a plain-text password for as long as it is needed and wipes the bytes before it frees them.
// Owns its buffer; one user at a time. Not copyable, so that no second plain copy can appear
// unnoticed. The order of the virtual operations is part of the interface.
class AutoPassword {
public:
    AutoPassword() = default;
    virtual ~AutoPassword() { Wipe(); }

    AutoPassword(const AutoPassword&) = delete;
    AutoPassword& operator=(const AutoPassword&) = delete;

    // The password, zero-terminated, or null when none was set. Stays the holder's, and valid until
    // the next SetPassword.
    virtual char* GetPassword() { return m_pBuf; }

    // Bytes of the password, without the terminator. May count zero bytes inside it.
    virtual unsigned int GetLength() { return m_uLen; }

    // Takes a copy of a zero-terminated text. Returns 0, or 0xFFFFFFFF for null, which changes
    // nothing. Goes through the virtual operation below, so that a derived class's holds here too.
    virtual unsigned int SetPassword(const char* pszText) {
        if (pszText == nullptr) return kNullText;
        return SetPassword(pszText, static_cast<unsigned int>(std::strlen(pszText)));
    }

    // Takes a copy of exactly uLength bytes, zero bytes included. Returns as above.
    // std::bad_alloc leaves the holder empty.
    virtual unsigned int SetPassword(const char* pText, unsigned int uLength) {
        if (pText == nullptr) return kNullText;
        Wipe();
        const std::size_t nSize = std::size_t{uLength} + 1;
        m_pBuf = new char[nSize];
        m_uLen = uLength;
        memset_s(m_pBuf, nSize, 0, nSize);
        memcpy_s(m_pBuf, nSize, pText, uLength);
        return 0;
    }

private:
    static constexpr unsigned int kNullText = 0xFFFFFFFFU;

    void Wipe() {
        if (m_pBuf != nullptr) {
            // Through a volatile pointer: the stores are dead to the compiler, since the memory is
            // freed next, and it would drop them.
            volatile char* pByte = m_pBuf;
            for (unsigned int i = 0; i < m_uLen; ++i)
                pByte[i] = 0;
            delete[] m_pBuf;
        }
        m_pBuf = nullptr;
        m_uLen = 0;
    }

    char* m_pBuf = nullptr;
    unsigned int m_uLen = 0;
};

#endif
