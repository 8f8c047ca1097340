// Preloaded into servers that take themselves for root's, beside libuid_wrapper: what that leaves
// out, and the system's log, which goes to standard error.

#include <stdio.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdarg>

namespace {

// Past the buffers of stdio, which a server's children would inherit.
void Write(const char* pszFormat, va_list arguments) {
    ::vdprintf(STDERR_FILENO, pszFormat, arguments);
    ::dprintf(STDERR_FILENO, "\n");
}

}  // namespace

extern "C" {

int cap_set_proc(void* /*pCapabilities*/) {
    return 0;
}

void openlog(const char* /*pszName*/, int /*nOption*/, int /*nFacility*/) {}

void syslog(int /*nPriority*/, const char* pszFormat, ...) {
    va_list arguments;
    va_start(arguments, pszFormat);
    Write(pszFormat, arguments);
    va_end(arguments);
}

void __syslog_chk(int /*nPriority*/, int /*nFlag*/, const char* pszFormat, ...) {
    va_list arguments;
    va_start(arguments, pszFormat);
    Write(pszFormat, arguments);
    va_end(arguments);
}

void vsyslog(int /*nPriority*/, const char* pszFormat, va_list arguments) {
    Write(pszFormat, arguments);
}

void __vsyslog_chk(int /*nPriority*/, int /*nFlag*/, const char* pszFormat, va_list arguments) {
    Write(pszFormat, arguments);
}
}
