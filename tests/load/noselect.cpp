// Stands before the C library's waiting functions: a set of select() has no room for a descriptor
// of 1024 or more, and writing one into it destroys what lies behind. Who calls it ends the test.

#include <dlfcn.h>
#include <poll.h>
#include <sys/select.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

#include "tests/load/descriptors.h"

namespace {

std::atomic<int> g_nHighest{-1};

void Note(int fd) {
    int nHighest = g_nHighest;
    while (fd > nHighest && !g_nHighest.compare_exchange_weak(nHighest, fd)) {
    }
}

[[noreturn]] void Forbidden(const char* pszName) {
    std::fprintf(stderr, "%s() was called: it ends at descriptor %d\n", pszName, FD_SETSIZE);
    std::abort();
}

}  // namespace

int LoadTest::HighestPolled() {
    return g_nHighest;
}

extern "C" int poll(pollfd* pDescriptors, nfds_t nDescriptors, int nTimeoutMs) {
    using Function = int (*)(pollfd*, nfds_t, int);
    static const auto next = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "poll"));
    for (nfds_t n = 0; n < nDescriptors; ++n)
        Note(pDescriptors[n].fd);
    return next(pDescriptors, nDescriptors, nTimeoutMs);
}

extern "C" int select(int /*nDescriptors*/, fd_set* /*pRead*/, fd_set* /*pWrite*/,
                      fd_set* /*pExcept*/, timeval* /*pTimeout*/) {
    Forbidden("select");
}

extern "C" int pselect(int /*nDescriptors*/, fd_set* /*pRead*/, fd_set* /*pWrite*/,
                       fd_set* /*pExcept*/, const timespec* /*pTimeout*/,
                       const sigset_t* /*pMask*/) {
    Forbidden("pselect");
}
