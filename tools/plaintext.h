#ifndef QEL_TOOLS_PLAINTEXT_H
#define QEL_TOOLS_PLAINTEXT_H

#include <string>

#include "platform/bounded.h"

namespace qelftp {

// A plain secret on its way into a CcipheString; wiped when it goes. Its room is reserved at the
// start, so that no append leaves a copy behind in memory that was given back.
class CPlainText {
public:
    static constexpr std::size_t kMaxSize = 4096;  // a line of a terminal is not longer

    CPlainText() { m_strText.reserve(kMaxSize); }
    ~CPlainText() {
        m_strText.resize(m_strText.capacity());
        memset_s(m_strText.data(), m_strText.size(), 0, m_strText.size());
    }
    CPlainText(const CPlainText&) = delete;
    CPlainText& operator=(const CPlainText&) = delete;

    // Returns false, and takes nothing, when the text would not fit.
    bool Append(const char* pText, std::size_t nSize) {
        if (nSize > kMaxSize - m_strText.size()) return false;
        m_strText.append(pText, nSize);
        return true;
    }

    const std::string& Get() const { return m_strText; }

private:
    std::string m_strText;
};

}  // namespace qelftp

#endif
