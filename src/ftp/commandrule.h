#ifndef QEL_FTP_COMMANDRULE_H
#define QEL_FTP_COMMANDRULE_H

#include <cstddef>
#include <string>

#include "include/ftpresult.h"

namespace RVN_FTP_CLIENT {

constexpr const char* kCommandFile = "ftpcommand";  // in all log locations of the command layer
constexpr std::size_t kMaxCommandBuffer = 520;

// How the line comes into its buffer: formatted with one %s, copied, or sent as it stands.
enum class ELine { Formatted, Copied, Fixed };

// What follows when the line could not be formatted. Only the login commands stop: a host's
// snprintf_s may leave a usable text, and the other commands then send it.
enum class EUnformatted { Stop, GoOn, GoOnNamingArgument };

// Where one of the accepted texts must stand in the reply.
enum class EAccept { Anything, AtStart, Anywhere };

// What distinguishes one command from another.
struct SCommandRule {
    const char* pszName;  // the operation, as logs name it
    const char* pszLine;
    std::size_t nBuffer;  // bytes of the line's buffer, terminator included
    ELine eLine;
    EUnformatted eUnformatted;
    EAccept eAccept;
    const char* apszAccepted[3];  // a reply with none of these is logged; the result stays
    unsigned int uFrom;           // this result of the reply reader ...
    unsigned int uTo;             // ... becomes this one; both 0: none does

    bool Accepts(const std::string& strReply) const;
};

// RFC 959, section 4.1; OPTS: RFC 2389, section 4.
// clang-format off
namespace Rule {
using L = ELine;
using U = EUnformatted;
using A = EAccept;
inline constexpr SCommandRule kUser{"Ftp_user", "USER %s\r\n",     520, L::Formatted, U::Stop,               A::AtStart,  {"331 "},                     0, 0};
inline constexpr SCommandRule kPass{"Ftp_pass", "PASS %s\r\n",     520, L::Formatted, U::Stop,               A::AtStart,  {"230 "},                     FTP_REPLY_530, FTP_LOGIN_REFUSED};
inline constexpr SCommandRule kCwd {"Ftp_cwd",  "CWD %s\r\n",      520, L::Formatted, U::GoOn,               A::AtStart,  {"250 ", "550 ", "501 "},     FTP_REPLY_550, FTP_CWD_REFUSED};
inline constexpr SCommandRule kMkd {"Ftp_mkd",  "MKD %s\r\n",      520, L::Formatted, U::GoOnNamingArgument, A::AtStart,  {"257 "},                     FTP_REPLY_550, FTP_MKD_REFUSED};
inline constexpr SCommandRule kRmd {"Ftp_rmd",  "RMD %s\r\n",      520, L::Formatted, U::GoOnNamingArgument, A::AtStart,  {"250 ", "200 "},             FTP_REPLY_550, FTP_RMD_REFUSED};
inline constexpr SCommandRule kDele{"Ftp_dele", "DELE %s\r\n",     520, L::Formatted, U::GoOnNamingArgument, A::Anything, {},                           FTP_REPLY_550, FTP_DELE_REFUSED};
inline constexpr SCommandRule kRetr{"Ftp_retr", "RETR %s\r\n",     520, L::Formatted, U::GoOnNamingArgument, A::Anything, {},                           0, 0};
inline constexpr SCommandRule kStor{"Ftp_stor", "STOR %s\r\n",     520, L::Formatted, U::GoOnNamingArgument, A::AtStart,  {"150 "},                     0, 0};
inline constexpr SCommandRule kType{"Ftp_type", "TYPE %s\r\n",      20, L::Formatted, U::GoOn,               A::Anything, {},                           0, 0};
inline constexpr SCommandRule kPwd {"FTP_pwd",  "PWD\r\n",         512, L::Copied,    U::GoOn,               A::Anywhere, {"257"},                      0, 0};
inline constexpr SCommandRule kSyst{"Ftp_syst", "SYST\r\n",        512, L::Copied,    U::GoOn,               A::Anything, {},                           0, 0};
inline constexpr SCommandRule kPasv{"Ftp_pasv", "PASV\r\n",         20, L::Copied,    U::GoOn,               A::AtStart,  {"227 "},                     0, 0};
inline constexpr SCommandRule kList{"Ftp_list", "LIST\r\n",          0, L::Fixed,     U::GoOn,               A::Anywhere, {"150 ", "125 "},             0, 0};
inline constexpr SCommandRule kQuit{"Ftp_quit", "QUIT\r\n",          0, L::Fixed,     U::GoOn,               A::AtStart,  {"221 "},                     0, 0};
inline constexpr SCommandRule kAbor{"Ftp_abor", "ABOR\r\n",          0, L::Fixed,     U::GoOn,               A::Anything, {},                           0, 0};
inline constexpr SCommandRule kOpts{"Ftp_optsUtf8", "OPTS UTF8 ON\r\n", 0, L::Fixed,  U::GoOn,               A::Anything, {},                           0, 0};
}  // namespace Rule
// clang-format on

}  // namespace RVN_FTP_CLIENT

#endif
