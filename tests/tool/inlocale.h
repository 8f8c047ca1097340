#ifndef QEL_TESTS_TOOL_INLOCALE_H
#define QEL_TESTS_TOOL_INLOCALE_H

#include <clocale>
#include <stdexcept>
#include <string>

namespace ToolTest {

// Which bytes are which character, which of these are printable and how wide they are is the
// locale's business.
class InLocale {
public:
    explicit InLocale(const char* pszName) : m_strBefore(std::setlocale(LC_ALL, nullptr)) {
        if (std::setlocale(LC_ALL, pszName) == nullptr) throw std::runtime_error("no such locale");
    }
    ~InLocale() { std::setlocale(LC_ALL, m_strBefore.c_str()); }
    InLocale(const InLocale&) = delete;
    InLocale& operator=(const InLocale&) = delete;

private:
    std::string m_strBefore;
};

}  // namespace ToolTest

#endif
