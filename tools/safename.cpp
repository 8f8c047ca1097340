#include "tools/safename.h"

namespace qelftp {
namespace {

bool HasControl(const std::string& strName) {
    unsigned char uBefore = 0;
    for (const char c : strName) {
        const auto uByte = static_cast<unsigned char>(c);
        if (uByte < 0x20 || uByte == 0x7f) return true;
        // U+0080 to U+009F in UTF-8. Without the 0xc2 they are parts of other characters, in UTF-8
        // as in most encodings of East Asia.
        if (uBefore == 0xc2 && uByte >= 0x80 && uByte <= 0x9f) return true;
        uBefore = uByte;
    }
    return false;
}

}  // namespace

std::string UnsafeNameReason(const std::string& strName) {
    if (strName.empty()) return "the name is empty";
    if (strName == "." || strName == "..") return "the name stands for a directory";
    if (strName.find('/') != std::string::npos) return "the name holds a slash";
    if (strName.find('\\') != std::string::npos) return "the name holds a backslash";
    if (HasControl(strName)) return "the name holds a control character";
    if (strName.size() > kMaxNameBytes) return "the name is too long";
    return "";
}

bool IsSafeName(const std::string& strName) {
    return UnsafeNameReason(strName).empty();
}

}  // namespace qelftp
