#ifndef QEL_TESTS_SECRETS_MEMORYSEARCH_H
#define QEL_TESTS_SECRETS_MEMORYSEARCH_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace SecretsTest {

// A text of letters and digits that nobody has, long enough to be looked for in thirds.
std::string RandomSecret();

// A place where a process has a part of a secret.
struct SFound {
    std::string strMap;     // "[heap]", a library's path, "" for other memory
    std::string strWhich;   // which third it is
    std::string strAround;  // the bytes before and behind it, made visible
    unsigned long ulAddress = 0;
};

std::ostream& operator<<(std::ostream& stream, const SFound& found);

// Looks through all memory that the process can read, for each third of the secret by itself: of a
// block that was freed without being wiped the allocator has overwritten the beginning. The process
// must be stopped and be a child of this one. Throws std::runtime_error when it cannot be looked
// into.
std::vector<SFound> FindInMemory(pid_t pid, const std::string& strSecret);

// Waits until the process has stopped itself; throws when it does not in time.
void AwaitStop(pid_t pid);

}  // namespace SecretsTest

#endif
