#ifndef QEL_FUZZ_POLITE_H
#define QEL_FUZZ_POLITE_H

#include <string>
#include <string_view>

namespace QelFuzz {

// What a server that means well answers to a command, with the marks of fuzz/wire.h. Empty for what
// is no command of the client.
std::string PoliteReply(std::string_view strCommand);

// Its listing, which is what every data connection delivers.
std::string PoliteData();

}  // namespace QelFuzz

#endif
