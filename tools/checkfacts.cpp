#include "tools/checkfacts.h"

#include <cctype>
#include <cstring>
#include <regex>
#include <sstream>

namespace qelftp {
namespace {

constexpr unsigned int kMaxOctet = 255;
constexpr const char* kUnixTypes = "-dlbcps";

bool EndsWith(const std::string& strText, const std::string& strEnd) {
    return strText.size() >= strEnd.size() &&
           strText.compare(strText.size() - strEnd.size(), strEnd.size(), strEnd) == 0;
}

bool StandsForAnEntry(const std::string& strLine) {
    return !strLine.empty() && strLine.rfind("total ", 0) != 0 && !EndsWith(strLine, " .") &&
           !EndsWith(strLine, " ..");
}

EListingStyle StyleOf(const std::string& strLine) {
    if (std::isdigit(static_cast<unsigned char>(strLine.front())) != 0) return EListingStyle::Dos;
    if (std::strchr(kUnixTypes, strLine.front()) != nullptr) return EListingStyle::Unix;
    return EListingStyle::Unknown;
}

}  // namespace

std::optional<SAnnounced> AnnouncedAddress(const std::string& strReply) {
    static const std::regex kSixNumbers(
        "(\\d{1,3}),(\\d{1,3}),(\\d{1,3}),(\\d{1,3}),(\\d{1,3}),(\\d{1,3})");
    std::smatch match;
    if (!std::regex_search(strReply, match, kSixNumbers)) return {};
    unsigned int auNumbers[6] = {};
    for (std::size_t n = 0; n < 6; ++n) {
        auNumbers[n] = static_cast<unsigned int>(std::stoul(match[n + 1].str()));
        if (auNumbers[n] > kMaxOctet) return {};
    }
    SAnnounced announced;
    for (std::size_t n = 0; n < 4; ++n)
        announced.strAddress += (n == 0 ? "" : ".") + std::to_string(auNumbers[n]);
    announced.uPort = auNumbers[4] * (kMaxOctet + 1) + auNumbers[5];
    return announced;
}

std::optional<std::string> QuotedDirectory(const std::string& strReply) {
    const std::size_t nOpen = strReply.find('"');
    const std::size_t nClose = nOpen == std::string::npos ? nOpen : strReply.find('"', nOpen + 1);
    if (nClose == std::string::npos) return {};
    return strReply.substr(nOpen + 1, nClose - nOpen - 1);
}

SListingSurvey SurveyListing(const std::string& strText) {
    SListingSurvey survey;
    std::istringstream lines(strText);
    std::string strLine;
    while (std::getline(lines, strLine)) {
        if (!strLine.empty() && strLine.back() == '\r') strLine.pop_back();
        if (!StandsForAnEntry(strLine)) continue;
        const EListingStyle eStyle = StyleOf(strLine);
        if (survey.nLines++ == 0) survey.eStyle = eStyle;
        if (survey.eStyle != eStyle) survey.eStyle = EListingStyle::Mixed;
    }
    return survey;
}

}  // namespace qelftp
