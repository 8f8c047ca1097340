#ifndef QEL_TESTS_FAULT_FAULTS_H
#define QEL_TESTS_FAULT_FAULTS_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// What can go wrong on the way between client and server, one row a fault. Each row has two halves:
// what the relay does, and what a client that reads replies by the rules makes of it.

namespace FaultTest {

// ---- Control connection: one reply of the server ----

// What becomes of the connection behind the reply.
enum class ELink {
    Open,
    Ended,   // closed in order: one more command can still be sent, into nothing
    Broken,  // reset: nothing can be sent any more
    Silent,  // open, but nothing gets through
};

// What the reader makes of the reply that was struck.
enum class EOwnReply {
    Read,
    Missing,    // never arrives
    Wasted,     // arrives in a receive that the reader has no use for, and is gone with it
    Overruled,  // read in one group with a later final line, whose code counts
    WithNext,   // read in one group with the server's next reply
};

constexpr int kNoReply = 0;
constexpr int kSameReply = 1;
constexpr int kTextLine = 2;       // a line without a code
constexpr int kUnasked = 200;      // a reply that answers no command
constexpr int kFarewell = 421000;  // a 421 whose text announces the server's shutdown

struct SControlFault {
    const char* pszName;

    // The relay's half. Each piece is a receive of its own for the client. '@' stands for the
    // server's reply, '<' for its first half.
    std::vector<std::string_view> pieces;
    bool bByteByByte;
    ELink eThen;

    // The client's half.
    int nBefore;  // read as an answer before the reply itself
    EOwnReply eOwn;
    int nBehind;  // arrives behind the reply, before the client's next command
};

const std::vector<SControlFault>& ControlFaults();

// The pieces of a fault for a reply, line end included.
std::vector<std::string> PiecesOf(const SControlFault& fault, const std::string& strReply);

// Only a reply that is followed by another one without a command in between can be joined with it.
inline bool NeedsNextReply(const SControlFault& fault) {
    return fault.eOwn == EOwnReply::WithNext;
}

// ---- Data connection ----

enum class EConnect { Accepted, Refused, Unanswered };

// What the client sees of the connection after the last byte that got through.
enum class EDataEnd {
    Untouched,  // all bytes and the sender's own end
    Ended,      // an orderly end
    Broken,     // a reset
    Silent,
};

struct SDataFault {
    const char* pszName;
    EConnect eConnect;
    EDataEnd eEnd;
    bool bAtOnce;       // before the first byte; otherwise after some
    bool bAtLast;       // after the last byte, in place of the sender's end
    bool bServerTold;   // the server's side is reset, too; otherwise the server sees a good end
    bool bByteByByte;   // the first bytes one at a time
    bool bForListing;   // where it can be had: a listing is on its way before it can be struck
    bool bForRetrieve;  //
    bool bForStore;     //
};

const std::vector<SDataFault>& DataFaults();

constexpr std::size_t kListingBytesPassed = 10;  // less than one line
constexpr std::size_t kFileBytesPassed = 5000;

}  // namespace FaultTest

#endif
