#ifndef QEL_TOOLS_JSONLINES_H
#define QEL_TOOLS_JSONLINES_H

#include <string>

#include "tools/session.h"
#include "tools/transferreport.h"

namespace qelftp {

// JSON objects (RFC 8259), each on one line with its line end. All of it is ASCII, so it can be
// shown on any terminal. Texts are Unicode; one that is not, because a file's name was never valid
// in its encoding, has U+FFFD in place of each wrong byte, and a second member with "Base64" after
// its name (RFC 4648, section 4) has the bytes as they are.

// {"name", "type": "file"|"directory"|"link", "size": bytes or null, "time": as the server wrote
//  it, "modified": RFC 3339 in UTC or null, "precision": seconds, null with "modified"}
std::string EntryJson(const SEntry& entry);

// {"operation": "get"|"put", "remote", "local", "bytes", "seconds", "attempts", "ok",
//  "failures": [{"operation", "subject", "meaning", "code": "0x3bb0000e" or null,
//                "advice": text or null}]}
std::string OutcomeJson(const SFileOutcome& outcome);

}  // namespace qelftp

#endif
