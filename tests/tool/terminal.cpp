#include "tests/tool/terminal.h"

#include <fcntl.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

using namespace TestSupport;

namespace ToolTest {

Terminal::Terminal() : m_master(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    std::array<char, 64> name{};
    if (!m_master.IsOpen() || ::grantpt(m_master.Get()) != 0 || ::unlockpt(m_master.Get()) != 0 ||
        ::ptsname_r(m_master.Get(), name.data(), name.size()) != 0) {
        throw std::runtime_error("no pseudo-terminal");
    }
    m_strName = name.data();
    m_slave = CHandle(::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!m_slave.IsOpen()) throw std::runtime_error("no pseudo-terminal at " + m_strName);
}

void Terminal::Type(const std::string& strKeys) {
    if (::write(m_master.Get(), strKeys.data(), strKeys.size()) !=
        static_cast<ssize_t>(strKeys.size())) {
        throw std::runtime_error("the terminal takes no keys");
    }
}

std::string Terminal::ReadUntil(const std::string& strText) {
    std::string strShown;
    while (strShown.find(strText) == std::string::npos) {
        std::array<char, 256> piece{};
        if (!WaitReadable(m_master.Get(), Millis(10000))) {
            throw std::runtime_error("the terminal shows \"" + strShown + "\" and not \"" +
                                     strText + "\"");
        }
        const ssize_t nRead = ::read(m_master.Get(), piece.data(), piece.size());
        if (nRead <= 0) throw std::runtime_error("the terminal is gone");
        strShown.append(piece.data(), static_cast<std::size_t>(nRead));
    }
    return strShown;
}

bool Terminal::Echoes() const {
    termios now{};
    if (::tcgetattr(m_slave.Get(), &now) != 0) throw std::runtime_error("no terminal");
    return (now.c_lflag & ECHO) != 0;
}

}  // namespace ToolTest
