#include "tools/confirm.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>

namespace qelftp {

std::optional<bool> Confirm(const std::string& strQuestion) {
    const int nTerminal = ::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (nTerminal < 0) return {};
    const std::string strPrompt = strQuestion + " [y/N] ";
    [[maybe_unused]] const ssize_t nWritten =
        ::write(nTerminal, strPrompt.data(), strPrompt.size());
    std::array<char, 256> line{};
    // A terminal gives whole lines. An interruption is no answer, and no yes.
    const ssize_t nRead = ::read(nTerminal, line.data(), line.size());
    ::close(nTerminal);
    const std::string strAnswer(line.data(), nRead > 0 ? static_cast<std::size_t>(nRead) : 0);
    return strAnswer == "y\n" || strAnswer == "yes\n" || strAnswer == "Y\n";
}

}  // namespace qelftp
