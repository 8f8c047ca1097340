#include "platform/encoding.h"

#include "standalone/charset.h"

using namespace qel_standalone;

std::string ZeltGlobalUtils::UTF8TOLOC(const char* utf8) {
    return utf8 == nullptr ? std::string() : ConvertText(utf8, kUtf8, LocaleCharset());
}

std::string ZeltGlobalUtils::LOCTOUTF8(const char* text) {
    return text == nullptr ? std::string() : ConvertText(text, LocaleCharset(), kUtf8);
}
