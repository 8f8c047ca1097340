#include "src/ftp/replyclass.h"

#include "include/ftpresult.h"
#include "src/ftp/wildmatch.h"

namespace RVN_FTP_CLIENT {
namespace {

struct SReplyCodeRow {
    unsigned int uReplyCode;
    unsigned int uResult;
};

// The results of 550, 552, 553 and 530 do not ascend with their codes; callers know the values.
constexpr SReplyCodeRow kReplyCodes[] = {
    {421, FTP_REPLY_421}, {425, FTP_REPLY_425}, {426, FTP_REPLY_426}, {450, FTP_REPLY_450},
    {451, FTP_REPLY_451}, {452, FTP_REPLY_452}, {501, FTP_REPLY_501}, {521, FTP_ALREADY_EXISTS},
    {530, FTP_REPLY_530}, {550, FTP_REPLY_550}, {552, FTP_REPLY_552}, {553, FTP_REPLY_553},
};

struct STextRow {
    const char* pszPattern;
    unsigned int uResult;
};

constexpr const char* kShutdownPattern = "*FTP*server*shutdown*";

// First match wins. Both spellings of a first letter occur among servers; other mixtures of case
// have not been seen.
constexpr STextRow kReplyTexts[] = {
    {"*Permission denied*", FTP_PERMISSION_DENIED},
    {"*permission denied*", FTP_PERMISSION_DENIED},
    {"*No such file or directory*", FTP_NO_SUCH_FILE},
    {"*no such file or directory*", FTP_NO_SUCH_FILE},
    {"*Can't open file*", FTP_NO_SUCH_FILE},
    {"*Unknown directory*", FTP_NO_SUCH_FILE},
    {"*exists*", FTP_ALREADY_EXISTS},
};

unsigned int ResultOfCode(unsigned int uReplyCode) {
    for (const SReplyCodeRow& row : kReplyCodes) {
        if (row.uReplyCode == uReplyCode) return row.uResult;
    }
    return FTP_UNKNOWN_REPLY;
}

}  // namespace

unsigned int ClassifyReply(unsigned int code, const std::string& replyText) {
    const unsigned int uResult = ResultOfCode(code);
    const char* pszText = replyText.c_str();
    if (WildMatchGuarded(pszText, kShutdownPattern) != 0) return FTP_SERVER_SHUTDOWN;
    // Elsewhere the code says enough: a 450 stays a 450, whatever its text.
    if (uResult != FTP_REPLY_501 && uResult != FTP_REPLY_550) return uResult;
    for (const STextRow& row : kReplyTexts) {
        if (WildMatchGuarded(pszText, row.pszPattern) != 0) return row.uResult;
    }
    return uResult;
}

}  // namespace RVN_FTP_CLIENT
