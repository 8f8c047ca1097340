// Input: the reply to PASV. Read in the classic way and in the way that takes any address.

#include "src/ftp/passivereply.h"

#include <cstdio>
#include <string>

#include "fuzz/require.h"
#include "include/ftpresult.h"
#include "src/ftp/ftpcommand.h"

namespace QelFuzz {
namespace {

using namespace RVN_FTP_CLIENT;

constexpr unsigned short kUntouched = 4321;
constexpr const char* kHost = "127.0.0.1";
constexpr const char* kHostInReply = "127,0,0,1";

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// One number of 0 to 255 in at most three digits off the front, and the byte behind it.
bool TakeByte(std::string_view& strRest, char cBehind, unsigned int& uByte) {
    std::size_t nDigits = 0;
    uByte = 0;
    while (nDigits < strRest.size() && IsDigit(strRest[nDigits]) && nDigits < 4)
        uByte = uByte * 10 + static_cast<unsigned int>(strRest[nDigits++] - '0');
    if (nDigits == 0 || nDigits > 3 || uByte > 255) return false;
    if (cBehind != '\0' && (nDigits == strRest.size() || strRest[nDigits] != cBehind)) return false;
    strRest.remove_prefix(nDigits + (cBehind == '\0' ? 0 : 1));
    return true;
}

bool GoesOn(std::string_view strRest) {
    while (!strRest.empty() && strRest.front() == '.')
        strRest.remove_prefix(1);
    return !strRest.empty() &&
           std::string_view("0123456789,.-+").find(strRest.front()) != std::string_view::npos;
}

// The port of six numbers that stand alone at a place; 0 when there are none.
unsigned int PortAt(std::string_view strText, std::size_t nAt) {
    if (std::string_view("0123456789,.-+").find(strText[nAt - 1]) != std::string_view::npos &&
        nAt > 3) {
        return 0;
    }
    std::string_view strRest = strText.substr(nAt);
    unsigned int uByte = 0;
    unsigned int uPort = 0;
    for (int i = 0; i < 6; ++i) {
        if (!TakeByte(strRest, i < 5 ? ',' : '\0', uByte)) return 0;
        uPort = (uPort * 256 + uByte) % 65536;
    }
    return GoesOn(strRest) ? 0 : uPort;
}

// The first place with six numbers whose port is not 0. The reply code is none of the numbers.
unsigned int FirstPort(std::string_view strReply) {
    for (std::size_t n = 3; n < strReply.size(); ++n) {
        const unsigned int uPort = PortAt(strReply, n);
        if (uPort != 0) return uPort;
    }
    return 0;
}

void RequireAnyAddress(const std::string& strReply) {
    unsigned short usPort = kUntouched;
    const bool bParsed = ParsePassiveReply(strReply, usPort);
    const unsigned int uExpected = FirstPort(strReply);
    RequireEqual(uExpected != 0, bParsed, "whether a reply holds six numbers");
    RequireEqual(uExpected != 0 ? uExpected : kUntouched, 0U + usPort, "port of six numbers");

    CFtpComand command;
    command.m_Options.bAnyDataAddress = true;
    unsigned short usOfCommand = kUntouched;
    const unsigned int uResult = command.GetPasvPort(strReply, usOfCommand);
    RequireEqual(bParsed ? FTP_OK : FTP_BAD_PASV_REPLY, static_cast<FtpResult>(uResult),
                 "result with any address");
    RequireEqual(usPort, usOfCommand, "port with any address");
}

// The decimal number that the text begins with; whether it can be compared at all: signs, blanks
// before it and numbers beyond 9 digits are read by the C library's rules.
bool PlainNumber(const std::string& strText, unsigned int& uNumber) {
    uNumber = 0;
    std::size_t nDigits = 0;
    while (nDigits < strText.size() && IsDigit(strText[nDigits]) && nDigits < 9)
        uNumber = uNumber * 10 + static_cast<unsigned int>(strText[nDigits++] - '0');
    return nDigits > 0 && (nDigits == strText.size() || !IsDigit(strText[nDigits]));
}

void RequireClassic(const std::string& strReply) {
    CFtpComand command;
    command.m_strServer = kHost;
    unsigned short usPort = kUntouched;
    const unsigned int uResult = command.GetPasvPort(strReply, usPort);

    const std::string strHost = kHostInReply;
    const std::size_t nHost = strReply.find(strHost);
    const std::size_t nEnd =
        nHost == std::string::npos ? std::string::npos : strReply.find(')', nHost);
    if (nEnd == std::string::npos) {
        RequireEqual(0U + FTP_BAD_PASV_REPLY, uResult, "result without the host and a bracket");
        RequireEqual(kUntouched, usPort, "port without the host");
        return;
    }
    RequireEqual(0U + FTP_OK, uResult, "result with the host and a bracket");
    std::string strNumbers = strReply.substr(nHost, nEnd - nHost);
    strNumbers.erase(0, strHost.size() + 1);
    const std::size_t nComma = strNumbers.find(',');
    if (nComma == std::string::npos) {
        RequireEqual(kUntouched, usPort, "port without a comma");
        return;
    }
    unsigned int uHigh = 0;
    unsigned int uLow = 0;
    if (!PlainNumber(strNumbers.substr(0, nComma), uHigh)) return;
    if (!PlainNumber(strNumbers.substr(nComma + 1), uLow)) return;
    if (uLow > 65535) uLow = 0;
    RequireEqual((uHigh % 65536 * 256 + uLow) % 65536, 0U + usPort, "port of the classic reading");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    const std::string strReply(TextOf(pData, nSize));
    RequireAnyAddress(strReply);
    RequireClassic(strReply);
    return 0;
}

}  // namespace QelFuzz
