#include "fuzz/hostlog.h"

#include <algorithm>

#include "fuzz/require.h"
#include "platform/logging.h"

namespace QelFuzz {
namespace {

void Look(const std::string& strText) {
    const bool bControl = std::any_of(strText.begin(), strText.end(), [](char c) {
        return static_cast<unsigned char>(c) < 0x20 || c == '\x7f';
    });
    Require(!bControl, "no control byte reaches the host's log");
    const std::string& strSecret = CHostLog::s_strSecret;
    Require(strSecret.empty() || strText.find(strSecret) == std::string::npos,
            "the password does not reach the host's log");
}

}  // namespace

std::string CHostLog::s_strSecret;

}  // namespace QelFuzz

void LogProcess::Error(unsigned int /*code*/, const std::string& text,
                       const LocationInfo& /*where*/) {
    QelFuzz::Look(text);
}

void LogProcess::Info(const std::string& text, const LocationInfo& /*where*/) {
    QelFuzz::Look(text);
}

_TraceFunction::_TraceFunction(const LocationInfo& where) : m_where(where) {}
_TraceFunction::~_TraceFunction() = default;

void _Log_Affirm(unsigned int /*code*/, const std::string& text, const LocationInfo& /*where*/) {
    QelFuzz::Require(false, "no assumption of the library is broken: " + text);
}
