#ifndef QEL_FUZZ_HOSTLOG_H
#define QEL_FUZZ_HOSTLOG_H

#include <string>

namespace QelFuzz {

// Takes the place of the host's log in a target: nothing is written, but every line is looked at.
// It must have come through the log filter, hold no control byte, and not hold the secret.
class CHostLog {
public:
    static std::string s_strSecret;  // empty: none
};

}  // namespace QelFuzz

#endif
