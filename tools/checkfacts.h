#ifndef QEL_TOOLS_CHECKFACTS_H
#define QEL_TOOLS_CHECKFACTS_H

#include <cstddef>
#include <optional>
#include <string>

namespace qelftp {

// Where a server says that it waits for a data connection.
struct SAnnounced {
    std::string strAddress;  // dotted
    unsigned int uPort = 0;
};

// The six numbers of a reply to PASV (RFC 959, section 4.1.2); empty when they are not there, or
// one is above 255.
std::optional<SAnnounced> AnnouncedAddress(const std::string& strReply);

// The text between the first two quotes of a reply to PWD; empty when there are none.
std::optional<std::string> QuotedDirectory(const std::string& strReply);

enum class EListingStyle { Empty, Unix, Dos, Mixed, Unknown };

struct SListingSurvey {
    EListingStyle eStyle = EListingStyle::Empty;
    std::size_t nLines = 0;  // that stand for an entry: no "total 12", no "." and ".."
};

// What a directory listing looks like.
SListingSurvey SurveyListing(const std::string& strText);

}  // namespace qelftp

#endif
