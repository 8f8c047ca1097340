#include "tools/prompt.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

namespace qelftp {
namespace {

constexpr const char* kTerminal = "/dev/tty";

// What a user types or a shell sends to end or stop a program. Not SIGTTIN and SIGTTOU: the system
// stops a background program before it changes or reads anything.
constexpr std::array<int, 5> kSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP};

volatile std::sig_atomic_t g_nSignal = 0;

extern "C" void RememberSignal(int nSignal) {
    g_nSignal = nSignal;
}

class CTerminal {
public:
    CTerminal() : m_nHandle(::open(kTerminal, O_RDWR | O_NOCTTY | O_CLOEXEC)) {}
    ~CTerminal() {
        if (m_nHandle >= 0) ::close(m_nHandle);
    }
    CTerminal(const CTerminal&) = delete;
    CTerminal& operator=(const CTerminal&) = delete;

    int Get() const { return m_nHandle; }

    void Write(const std::string& strText) const {
        std::size_t nWritten = 0;
        while (nWritten < strText.size()) {
            const ssize_t n =
                ::write(m_nHandle, strText.data() + nWritten, strText.size() - nWritten);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) return;  // the answer can be typed without having seen the question
            nWritten += static_cast<std::size_t>(n);
        }
    }

private:
    int m_nHandle;
};

// Catches the signals, but only while Wait waits: so none can come between a look at what was
// caught and the waiting.
class CSignalWatch {
public:
    CSignalWatch() {
        sigset_t watched;
        sigemptyset(&watched);
        for (const int nSignal : kSignals)
            sigaddset(&watched, nSignal);
        ::sigprocmask(SIG_BLOCK, &watched, &m_maskBefore);
        g_nSignal = 0;
        struct sigaction remember {};
        remember.sa_handler = RememberSignal;
        for (std::size_t i = 0; i < kSignals.size(); ++i) {
            ::sigaction(kSignals[i], nullptr, &m_actionsBefore[i]);
            // Who starts a program with nohup wants it to go on.
            if (m_actionsBefore[i].sa_handler == SIG_IGN) continue;
            ::sigaction(kSignals[i], &remember, nullptr);
        }
    }
    ~CSignalWatch() {
        for (std::size_t i = 0; i < kSignals.size(); ++i)
            ::sigaction(kSignals[i], &m_actionsBefore[i], nullptr);
        ::sigprocmask(SIG_SETMASK, &m_maskBefore, nullptr);
    }
    CSignalWatch(const CSignalWatch&) = delete;
    CSignalWatch& operator=(const CSignalWatch&) = delete;

    // Waits until there is something to read (true) or one of the signals came (false).
    bool Wait(int nHandle) const {
        while (g_nSignal == 0) {
            pollfd readable{nHandle, POLLIN, 0};
            const int nReady = ::ppoll(&readable, 1, nullptr, &m_maskBefore);
            if (nReady > 0) return true;
            if (nReady < 0 && errno != EINTR) return true;  // the read will tell
        }
        return false;
    }

private:
    sigset_t m_maskBefore{};
    std::array<struct sigaction, kSignals.size()> m_actionsBefore{};
};

class CEchoOff {
public:
    explicit CEchoOff(const CTerminal& terminal) : m_terminal(terminal) {
        if (::tcgetattr(m_terminal.Get(), &m_before) != 0) return;
        m_bChanged = true;
        termios silent = m_before;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL);
        ::tcsetattr(m_terminal.Get(), TCSAFLUSH, &silent);
    }
    ~CEchoOff() {
        if (m_bChanged) ::tcsetattr(m_terminal.Get(), TCSAFLUSH, &m_before);
    }
    CEchoOff(const CEchoOff&) = delete;
    CEchoOff& operator=(const CEchoOff&) = delete;

    bool IsOff() const {
        termios now{};
        return ::tcgetattr(m_terminal.Get(), &now) == 0 && (now.c_lflag & ECHO) == 0;
    }

private:
    const CTerminal& m_terminal;
    termios m_before{};
    bool m_bChanged = false;
};

// Reads up to the end of the line.
EPrompt ReadLine(const CTerminal& terminal, const CSignalWatch& signals, CPlainText& answer) {
    EPrompt eResult = EPrompt::NoAnswer;
    std::array<char, 256> piece{};
    bool bFits = true;
    while (signals.Wait(terminal.Get())) {
        const ssize_t nRead = ::read(terminal.Get(), piece.data(), piece.size());
        if (nRead < 0 && errno == EINTR) continue;
        if (nRead <= 0) break;
        std::size_t nSize = static_cast<std::size_t>(nRead);
        const bool bEnd = piece[nSize - 1] == '\n';
        if (bEnd) --nSize;
        bFits = bFits && answer.Append(piece.data(), nSize);
        if (!bEnd) continue;
        if (bFits) eResult = EPrompt::Answered;
        break;
    }
    memset_s(piece.data(), piece.size(), 0, piece.size());
    return eResult;
}

}  // namespace

EPrompt PromptWithoutEcho(const std::string& strQuestion, CPlainText& answer) {
    const CTerminal terminal;
    if (terminal.Get() < 0) return EPrompt::NoTerminal;
    while (true) {
        EPrompt eResult = EPrompt::NoAnswer;
        int nSignal = 0;
        // In the background, wait here for the foreground: further down, signals are held back, and
        // a program that is stopped there could not be ended.
        if (::tcgetpgrp(terminal.Get()) != ::getpgrp()) (void)::raise(SIGTTOU);
        {
            const CSignalWatch signals;
            const CEchoOff echo(terminal);
            if (!echo.IsOff()) return EPrompt::NoTerminal;
            terminal.Write(strQuestion);
            eResult = ReadLine(terminal, signals, answer);
            nSignal = g_nSignal;
            terminal.Write("\n");
        }
        if (nSignal == 0) return eResult;
        // Now with the terminal and the signal's own action as before. Only a stopped program gets
        // past it.
        (void)::raise(nSignal);
    }
}

}  // namespace qelftp
