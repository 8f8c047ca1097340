#ifndef QEL_STANDALONE_SFTP_SECRET_H
#define QEL_STANDALONE_SFTP_SECRET_H

#include <cstring>
#include <memory>

namespace sftpwrapper {

// A zero-terminated secret, wiped before its memory is freed. Neither copied nor grown, so that no
// forgotten copy is left in the heap.
class CSecret {
public:
    CSecret() = default;
    ~CSecret() { Wipe(); }

    CSecret(const CSecret&) = delete;
    CSecret& operator=(const CSecret&) = delete;

    // pszText may be empty but not null.
    void Set(const char* pszText) {
        const std::size_t uSize = std::strlen(pszText) + 1;
        std::unique_ptr<char[]> pText(new char[uSize]);
        std::memcpy(pText.get(), pszText, uSize);
        Wipe();
        m_pText = std::move(pText);
        m_uSize = uSize;
    }

    void Wipe() {
        if (m_pText) ::explicit_bzero(m_pText.get(), m_uSize);
        m_pText.reset();
        m_uSize = 0;
    }

    bool IsSet() const { return m_pText != nullptr; }

    // Null when not set.
    const char* Text() const { return m_pText.get(); }

private:
    std::unique_ptr<char[]> m_pText;
    std::size_t m_uSize = 0;
};

}  // namespace sftpwrapper

#endif
