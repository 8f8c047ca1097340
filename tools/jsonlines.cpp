#include "tools/jsonlines.h"

#include <fmt/format.h>

#include <cmath>
#include <ctime>
#include <nlohmann/json.hpp>

#include "platform/encoding.h"
#include "tools/base64.h"

namespace qelftp {
namespace {

using CJson = nlohmann::ordered_json;  // members stay as they were added

std::string Dump(const CJson& json) {
    return json.dump(-1, ' ', true, CJson::error_handler_t::replace);
}

// strText: UTF-8, if it is valid. strBytes: what it was made from.
void AddText(CJson& object, const std::string& strMember, const std::string& strText,
             const std::string& strBytes) {
    object[strMember] = strText;
    const bool bWhole = CJson::parse(Dump(strText)).get<std::string>() == strText;
    if (!bWhole) object[strMember + "Base64"] = ToBase64(strBytes);
}

void AddUtf8(CJson& object, const std::string& strMember, const std::string& strText) {
    AddText(object, strMember, strText, strText);
}

void AddLocal(CJson& object, const std::string& strMember, const std::string& strText) {
    const bool bConvertible = strText.find('\0') == std::string::npos;
    AddText(object, strMember, bConvertible ? ZeltGlobalUtils::LOCTOUTF8(strText.c_str()) : strText,
            strText);
}

const char* TypeName(EEntryType eType) {
    switch (eType) {
        case EEntryType::Directory:
            return "directory";
        case EEntryType::Link:
            return "link";
        case EEntryType::File:
            break;
    }
    return "file";
}

// RFC 3339 has the years 0 to 9999.
CJson Timestamp(std::int64_t llSeconds) {
    const std::time_t time = llSeconds;
    std::tm utc{};
    if (::gmtime_r(&time, &utc) == nullptr || utc.tm_year < -1900 || utc.tm_year > 9999 - 1900) {
        return nullptr;
    }
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", utc.tm_year + 1900, utc.tm_mon + 1,
                       utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec);
}

CJson FailureObject(const SFailure& failure) {
    CJson object;
    object["operation"] = failure.strOperation;
    AddLocal(object, "subject", failure.strSubject);
    AddLocal(object, "meaning", failure.strMeaning);
    object["code"] = nullptr;
    if (failure.uCode) object["code"] = fmt::format("0x{:08x}", *failure.uCode);
    object["advice"] = nullptr;
    if (!failure.strAdvice.empty()) AddLocal(object, "advice", failure.strAdvice);
    return object;
}

}  // namespace

std::string EntryJson(const SEntry& entry) {
    CJson object;
    AddLocal(object, "name", entry.strName);
    object["type"] = TypeName(entry.eType);
    object["size"] = nullptr;
    if (entry.ullSize) object["size"] = *entry.ullSize;
    AddLocal(object, "time", entry.strTime);
    object["modified"] = entry.llModified ? Timestamp(*entry.llModified) : CJson(nullptr);
    object["precision"] = nullptr;
    if (!object["modified"].is_null()) object["precision"] = entry.uTimePrecision;
    return Dump(object) + "\n";
}

std::string OutcomeJson(const SFileOutcome& outcome) {
    CJson object;
    object["operation"] = outcome.bPut ? "put" : "get";
    AddUtf8(object, "remote", outcome.transfer.strRemote);
    AddLocal(object, "local", outcome.transfer.strLocal);
    object["bytes"] = outcome.ullBytes;
    object["seconds"] = std::round(outcome.dSeconds * 1000) / 1000;
    object["attempts"] = outcome.uAttempts;
    object["ok"] = outcome.failures.empty();
    object["failures"] = CJson::array();
    for (const SFailure& failure : outcome.failures)
        object["failures"].push_back(FailureObject(failure));
    return Dump(object) + "\n";
}

}  // namespace qelftp
