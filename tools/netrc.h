#ifndef QEL_TOOLS_NETRC_H
#define QEL_TOOLS_NETRC_H

#include <string>
#include <string_view>

#include "tools/plaintext.h"

namespace qelftp {

// What a netrc file, see ftp(1), has for an account.
struct SNetrcAccount {
    std::string strLogin;
    bool bPassword = false;  // then the password was put into the caller's CPlainText
};

// The first entry, "default" included, that fits the host, whatever the case of its letters, and
// the login. An empty login asks for one: then an entry without one does not fit. With a login, an
// entry without one fits, and one with another does not. strAccount's login is the one asked for,
// or the entry's. Returns false when no entry fits, or its password is too long to be one.
//
// The words of the file stand between blanks, tabs and line ends. Within double quotes, all of
// these are part of the word, and a backslash goes before a quote, another backslash, or n, r and t
// for control characters; elsewhere it is a character like others. "#" in place of a keyword starts
// a comment up to the end of the line. The lines of a "macdef" up to an empty one are skipped, and
// so are "account" with its value and words that are no keyword.
bool FindInNetrc(std::string_view strText, const std::string& strHost, const std::string& strLogin,
                 SNetrcAccount& account, CPlainText& password);

// The same with the user's file: NETRC, else .netrc in HOME. No such file: false. Throws
// CUsageError when it cannot be read or is unreasonably large, and when it has an entry that fits
// but is somebody else's, or has a password in it and rights that let others read it.
bool FindInUsersNetrc(const std::string& strHost, const std::string& strLogin,
                      SNetrcAccount& account, CPlainText& password);

}  // namespace qelftp

#endif
