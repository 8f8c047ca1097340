#include "tests/session/markedencoding.h"

#include <atomic>
#include <string>

#include "platform/encoding.h"

namespace SessionTest {
namespace {

std::atomic<bool> g_bMarks{false};

}  // namespace

MarkedEncoding::MarkedEncoding() {
    g_bMarks = true;
}

MarkedEncoding::~MarkedEncoding() {
    g_bMarks = false;
}

}  // namespace SessionTest

std::string ZeltGlobalUtils::UTF8TOLOC(const char* utf8) {
    return (SessionTest::g_bMarks ? "<local>" : "") + std::string(utf8);
}

std::string ZeltGlobalUtils::LOCTOUTF8(const char* text) {
    std::string strUtf8 = text;
    if (SessionTest::g_bMarks) strUtf8.insert(strUtf8.rfind('/') + 1, "utf8-");
    return strUtf8;
}
