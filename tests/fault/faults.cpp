#include "tests/fault/faults.h"

namespace FaultTest {

using namespace std::string_view_literals;

#define TEXT_LINE "garbled nonsense\r\n"
#define UNASKED "200 Nobody asked.\r\n"
#define FAREWELL "421 FTP server shutdown.\r\n"

// clang-format off
const std::vector<SControlFault>& ControlFaults() {
    using L = ELink;
    using O = EOwnReply;
    static const std::vector<SControlFault> faults{
        // name                 the pieces that arrive                by bytes  then
        //                      before       the reply itself        behind
        {"cut",                 {},                                   false, L::Ended,
                                kNoReply,    O::Missing,             kNoReply},
        {"reset",               {},                                   false, L::Broken,
                                kNoReply,    O::Missing,             kNoReply},
        {"stall",               {},                                   false, L::Silent,
                                kNoReply,    O::Missing,             kNoReply},
        {"cut-inside",          {"<"sv},                              false, L::Ended,
                                kNoReply,    O::Missing,             kNoReply},
        {"stall-inside",        {"<"sv},                              false, L::Silent,
                                kNoReply,    O::Missing,             kNoReply},
        {"single-bytes",        {"@"sv},                              true,  L::Open,
                                kNoReply,    O::Read,                kNoReply},
        {"with-next",           {},                                   false, L::Open,
                                kNoReply,    O::WithNext,            kNoReply},
        {"twice-in-one",        {"@@"sv},                             false, L::Open,
                                kNoReply,    O::Read,                kNoReply},
        {"twice",               {"@"sv, "@"sv},                       false, L::Open,
                                kNoReply,    O::Read,                kSameReply},
        // A receive that begins with a zero byte counts as one that brought nothing.
        {"nul-in-front",        {"\0\x01\xff\r\n@"sv},                false, L::Open,
                                kNoReply,    O::Wasted,              kNoReply},
        // Text ends at the zero byte; what ended the receive was a line end, so the group is over,
        // without a code, and the reader waits for the next.
        {"nul-inside",          {"gar\xff" "bled\0\x01\r\n@"sv},      false, L::Open,
                                kNoReply,    O::Missing,             kNoReply},
        {"text-before-in-one",  {TEXT_LINE "@"sv},                    false, L::Open,
                                kNoReply,    O::Read,                kNoReply},
        {"text-before",         {TEXT_LINE ""sv, "@"sv},              false, L::Open,
                                kTextLine,   O::Read,                kNoReply},
        {"text-behind",         {"@"sv, TEXT_LINE ""sv},              false, L::Open,
                                kNoReply,    O::Read,                kTextLine},
        {"unasked-before",      {UNASKED ""sv, "@"sv},                false, L::Open,
                                kUnasked,    O::Read,                kNoReply},
        {"unasked-in-one",      {"@" UNASKED ""sv},                   false, L::Open,
                                kNoReply,    O::Overruled,           kNoReply},
        {"unasked-behind",      {"@"sv, UNASKED ""sv},                false, L::Open,
                                kNoReply,    O::Read,                kUnasked},
        {"farewell",            {FAREWELL ""sv},                      false, L::Ended,
                                kFarewell,   O::Missing,             kNoReply},
    };
    return faults;
}

const std::vector<SDataFault>& DataFaults() {
    using C = EConnect;
    using E = EDataEnd;
    static const std::vector<SDataFault> faults{
        //                                                    at once last   told   bytes  list  retr   stor
        {"refused",            C::Refused,    E::Untouched,   false, false, false, false, true, true,  true},
        {"unanswered",         C::Unanswered, E::Untouched,   false, false, false, false, true, true,  true},
        {"cut-at-once",        C::Accepted,   E::Ended,       true,  false, false, false, true, true,  true},
        {"cut-at-once-told",   C::Accepted,   E::Ended,       true,  false, true,  false, true, true,  true},
        {"cut-amid",           C::Accepted,   E::Ended,       false, false, false, false, true, true,  true},
        {"cut-amid-told",      C::Accepted,   E::Ended,       false, false, true,  false, false, true, true},
        {"reset-at-once",      C::Accepted,   E::Broken,      true,  false, false, false, true, true,  true},
        {"reset-at-once-told", C::Accepted,   E::Broken,      true,  false, true,  false, true, true,  true},
        {"reset-amid",         C::Accepted,   E::Broken,      false, false, false, false, true, true,  true},
        {"reset-amid-told",    C::Accepted,   E::Broken,      false, false, true,  false, false, true, true},
        {"reset-at-last",      C::Accepted,   E::Broken,      false, true,  false, false, true, true,  false},
        {"silent-at-once",     C::Accepted,   E::Silent,      true,  false, false, false, true, true,  true},
        {"silent-amid",        C::Accepted,   E::Silent,      false, false, false, false, true, true,  true},
        {"single-bytes",       C::Accepted,   E::Untouched,   false, false, false, true,  true, true,  true},
    };
    return faults;
}
// clang-format on

std::vector<std::string> PiecesOf(const SControlFault& fault, const std::string& strReply) {
    std::vector<std::string> pieces;
    for (const std::string_view form : fault.pieces) {
        std::string strPiece;
        for (const char c : form) {
            if (c == '@') {
                strPiece += strReply;
            } else if (c == '<') {
                strPiece += strReply.substr(0, strReply.size() / 2);
            } else {
                strPiece += c;
            }
        }
        pieces.push_back(strPiece);
    }
    if (!fault.bByteByByte) return pieces;
    std::vector<std::string> bytes;
    for (const std::string& strPiece : pieces) {
        for (const char c : strPiece)
            bytes.emplace_back(1, c);
    }
    return bytes;
}

}  // namespace FaultTest
