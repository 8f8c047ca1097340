#include <cstdio>

#include "platform/logging.h"

// Takes the place of one function of the platform; all others stay what they are.
void LogProcess::Error(unsigned int code, const std::string& text, const LocationInfo& where) {
    std::fprintf(stderr, "transfer: %s: %s (0x%08x)\n", where.Function(), text.c_str(), code);
}
