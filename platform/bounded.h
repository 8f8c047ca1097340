#ifndef QEL_PLATFORM_BOUNDED_H
#define QEL_PLATFORM_BOUNDED_H

#include <cstddef>

// Bounds-checked C functions in the meaning of ISO C11, Annex K, but returning instead of calling
// a constraint handler. 0 is success; a failure is non-zero and never writes past destSize.

#if defined(__GNUC__)
#define QEL_PRINTF_LIKE(text, first) __attribute__((format(printf, text, first)))
#else
#define QEL_PRINTF_LIKE(text, first)
#endif

extern "C" {

// Copies count bytes; fails when they do not fit or a pointer is null, and then zeroes dest.
int memcpy_s(void* dest, std::size_t destSize, const void* src, std::size_t count);

// Sets count bytes to c, in a way the compiler may not drop; fails when they do not fit.
int memset_s(void* dest, std::size_t destSize, int c, std::size_t count);

// Copies at most count characters of src and terminates; fails when text and terminator do not
// fit, and then leaves an empty text.
int strncpy_s(char* dest, std::size_t destSize, const char* src, std::size_t count);

// Formats at most count characters and terminates. Returns the length of the text, or -1 when it
// would be longer than count or not fit into destSize. What dest holds after -1 is the host's
// choice: some leave a truncated text, the stand-alone platform leaves an empty one.
int snprintf_s(char* dest, std::size_t destSize, std::size_t count, const char* format, ...)
    QEL_PRINTF_LIKE(4, 5);

}  // extern "C"

#endif
