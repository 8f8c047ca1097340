#ifndef QEL_FUZZ_WIRE_H
#define QEL_FUZZ_WIRE_H

#include <string>
#include <string_view>

namespace QelFuzz {

// What a peer sends, written with marks. Everything else in the text is a byte of the stream.
namespace Mark {
constexpr char kSilence = '\x01';    // nothing comes until the client's patience ends
constexpr char kClosed = '\x02';     // the peer has closed its side
constexpr char kCut = '\x03';        // one receive ends here
constexpr char kReset = '\x04';      // the connection is gone
constexpr char kInterrupt = '\x05';  // a signal interrupts the call
constexpr char kLiteral = '\x10';    // the next byte is no mark
// At the very front, what the connection is like:
constexpr char kRefused = '\x06';      // nobody listens
constexpr char kUnreachable = '\x07';  // connecting takes for ever
constexpr char kFull = '\x08';         // the peer takes nothing
constexpr char kBroken = '\x0e';       // the peer takes nothing and says so
constexpr char kNarrow = '\x0f';       // the peer takes a few bytes at a time
}  // namespace Mark

// The other side of the client's connections.
class CPeer {
public:
    virtual ~CPeer() = default;

    // What a new connection begins with. bControl: it goes to the control port, and no other open
    // one does.
    virtual std::string OnConnect(bool bControl) = 0;

    // Takes what the client sent on the control connection and returns what the peer says to it.
    virtual std::string OnControl(std::string_view strSent) = 0;
};

// A network without a network: the program that links this has its own socket calls, and no time
// passes in them. Descriptors outside of it go to the kernel. One thread.
class CWire {
public:
    static constexpr int kFirstHandle = 600;  // below FD_SETSIZE, above what a target opens
    static constexpr int kMaxHandles = 8;
    static constexpr unsigned short kControlPort = 21;

    static void Reset(CPeer* pPeer);

    // A connected socket whose peer sends the text and is silent after it.
    static int Connected(const std::string& strIncoming);

    static int OpenHandles();
    static unsigned int Connects();   // that were tried
    static unsigned int Waits();      // that ended without what was waited for
    static unsigned int Calls();      // of all kinds
    static std::string SentOnData();  // on the last closed data connection
};

}  // namespace QelFuzz

#endif
