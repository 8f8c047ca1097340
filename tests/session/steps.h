#ifndef QEL_TESTS_SESSION_STEPS_H
#define QEL_TESTS_SESSION_STEPS_H

#include <string>

#include "tests/support/scriptedserver.h"

// The phrases that dialogues are put together from. Each is what a well-behaved server hears and
// says; the user is "bob", his password "tea".

namespace SessionTest {

// Greeting to PWD. The root has no separator at its end.
constexpr const char* kRoot = "/srv/data";
TestSupport::SStep LogIn(const std::string& strRoot = kRoot);
TestSupport::SStep Quit();

// A command and its reply, line ends added.
TestSupport::SStep On(const std::string& strCommand, const std::string& strReply);
TestSupport::SStep Cwd(const std::string& strDir);
TestSupport::SStep TypeImage();
TestSupport::SStep Passive();

// From PASV to the closing reply. Blocks: how the bytes are cut, 0 for all at once.
TestSupport::SStep Serve(const std::string& strName, const std::string& strBytes,
                         std::size_t nBlock = 0);
TestSupport::SStep Take(const std::string& strName);
// The closing OPTS included.
TestSupport::SStep ServeList(const std::string& strListing, std::size_t nBlock = 0);

// Holds the script until the client has read a reply that begins with the text. Without it two
// replies sent in a row may reach the client as one. The text must not occur in an earlier reply
// of the same test.
TestSupport::SStep UntilRead(const std::string& strReplyStart);

}  // namespace SessionTest

#endif
