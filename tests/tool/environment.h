#ifndef QEL_TESTS_TOOL_ENVIRONMENT_H
#define QEL_TESTS_TOOL_ENVIRONMENT_H

#include <cstdlib>
#include <optional>
#include <string>

namespace ToolTest {

// A variable of this process's environment that is another for a while; null: not set.
class EnvironmentVariable {
public:
    EnvironmentVariable(const char* pszName, const char* pszValue) : m_strName(pszName) {
        if (const char* const pszBefore = std::getenv(pszName)) m_before = pszBefore;
        Set(pszValue);
    }
    ~EnvironmentVariable() { Set(m_before ? m_before->c_str() : nullptr); }
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

private:
    void Set(const char* pszValue) const {
        if (pszValue == nullptr) {
            ::unsetenv(m_strName.c_str());
        } else {
            ::setenv(m_strName.c_str(), pszValue, 1);
        }
    }

    std::string m_strName;
    std::optional<std::string> m_before;
};

}  // namespace ToolTest

#endif
