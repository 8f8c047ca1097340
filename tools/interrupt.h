#ifndef QEL_TOOLS_INTERRUPT_H
#define QEL_TOOLS_INTERRUPT_H

#include <csignal>

namespace qelftp {

// While it exists, the first SIGINT or SIGTERM is only remembered, so that the program can end in
// order; it also breaks off what the main thread waits for. The second ends the program at once.
// A signal that is ignored stays so. One at a time.
class CInterruptWatch {
public:
    CInterruptWatch();
    ~CInterruptWatch();
    CInterruptWatch(const CInterruptWatch&) = delete;
    CInterruptWatch& operator=(const CInterruptWatch&) = delete;

    // The signal that came, else 0. Any thread.
    static int Signal();
    static bool Came() { return Signal() != 0; }
};

// Threads made while it exists never see a signal: those are the main thread's.
class CSignalsKeptOut {
public:
    CSignalsKeptOut();
    ~CSignalsKeptOut();
    CSignalsKeptOut(const CSignalsKeptOut&) = delete;
    CSignalsKeptOut& operator=(const CSignalsKeptOut&) = delete;

private:
    sigset_t m_before{};
};

}  // namespace qelftp

#endif
