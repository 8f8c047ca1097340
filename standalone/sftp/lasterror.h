#ifndef QEL_STANDALONE_SFTP_LASTERROR_H
#define QEL_STANDALONE_SFTP_LASTERROR_H

#include <string>

namespace sftpwrapper {

// Code and text of a session's last failure. One object per session, shared by its layers; each
// failure is recorded where it is understood best and only its code is passed up.
class CLastError {
public:
    // Records and returns nCode. Control bytes in the text, which may be a server's, are made '?'.
    int Set(int nCode, std::string strText) {
        for (char& c : strText)
            if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = '?';
        m_strText = std::move(strText);
        m_nCode = nCode;
        return nCode;
    }

    // Records a failure without a text; needs no memory.
    int Set(int nCode) noexcept {
        m_strText.clear();
        m_nCode = nCode;
        return nCode;
    }

    int Code() const { return m_nCode; }
    const std::string& Text() const { return m_strText; }

private:
    int m_nCode = 0;
    std::string m_strText;
};

}  // namespace sftpwrapper

#endif
