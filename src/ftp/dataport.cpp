// Where the data connection goes: PASV and PORT (RFC 959, section 4.1.2).

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string>

#include "include/ftpresult.h"
#include "platform/bounded.h"
#include "src/ftp/commandrule.h"
#include "src/ftp/ftpcommand.h"
#include "src/ftp/passivereply.h"
#include "src/support/log.h"

namespace RVN_FTP_CLIENT {
namespace {

constexpr std::size_t kPortBuffer = 60;
constexpr unsigned long kMaxUnsigned16 = 0xFFFF;

// 0 unless the text reads as a number of 16 bits.
unsigned int ReadUnsigned16(const std::string& strText) {
    const char* pszNumber = strText.c_str();
    while (std::isspace(static_cast<unsigned char>(*pszNumber)) != 0)
        ++pszNumber;
    if (std::isdigit(static_cast<unsigned char>(*pszNumber)) == 0) return 0;
    const unsigned long ulValue = std::strtoul(pszNumber, nullptr, 10);
    return ulValue > kMaxUnsigned16 ? 0 : static_cast<unsigned int>(ulValue);
}

}  // namespace

unsigned int CFtpComand::Ftp_pasv(unsigned short& port) {
    const unsigned int uSent = Send(Rule::kPasv, {}, "");
    if (uSent != FTP_OK) return uSent;
    std::string strReply;
    const unsigned int uResult = Answer(Rule::kPasv, strReply);
    return uResult != FTP_OK ? uResult : GetPasvPort(strReply, port);
}

// Without bAnyDataAddress the address in the reply is not parsed but searched for: only a server
// that announces the very host this session is configured with is followed.
unsigned int CFtpComand::GetPasvPort(const std::string& reply, unsigned short& port) {
    if (m_Options.bAnyDataAddress) {
        if (ParsePassiveReply(reply, port)) return FTP_OK;
        LogError(FTP_BAD_PASV_REPLY, "GetPasvPort error:" + reply,
                 LocationInfo(kCommandFile, "GetPasvPort", __LINE__));
        return FTP_BAD_PASV_REPLY;
    }
    std::string strHost = m_strServer;
    std::replace(strHost.begin(), strHost.end(), '.', ',');
    const std::size_t nHost = reply.find(strHost);
    const std::size_t nClose =
        nHost == std::string::npos ? std::string::npos : reply.find(')', nHost);
    if (nClose == std::string::npos) {
        LogError(FTP_BAD_PASV_REPLY, "GetPasvPort error:" + reply,
                 LocationInfo(kCommandFile, "GetPasvPort", __LINE__));
        return FTP_BAD_PASV_REPLY;
    }

    const std::string strInner = reply.substr(nHost, nClose - nHost);
    const std::size_t nHigh = m_strServer.size() + 1;
    const std::size_t nComma = strInner.find(',', nHigh);
    if (nComma == std::string::npos)
        return FTP_OK;  // the caller's port stays: connecting will fail

    const unsigned long ulHigh =
        std::strtoul(strInner.substr(nHigh, nComma - nHigh).c_str(), nullptr, 10);
    const unsigned int uLow = ReadUnsigned16(strInner.substr(nComma + 1));
    port = static_cast<unsigned short>((ulHigh * 256 + uLow) & kMaxUnsigned16);
    return FTP_OK;
}

unsigned int CFtpComand::Ftp_port(unsigned int address, unsigned short port) {
    std::array<char, kPortBuffer> line{};
    const int nFormatted =
        snprintf_s(line.data(), line.size(), line.size() - 1, "PORT %d,%d,%d,%d,%d,%d\r\n",
                   static_cast<int>(address >> 24 & 0xFF), static_cast<int>(address >> 16 & 0xFF),
                   static_cast<int>(address >> 8 & 0xFF), static_cast<int>(address & 0xFF),
                   port >> 8 & 0xFF, port & 0xFF);
    if (nFormatted == -1) {
        LogError(kNoLogCode, "CFtpComand::Ftp_port.snprintf_s failed!",
                 LocationInfo(kCommandFile, "Ftp_port", __LINE__));
    }
    if (SendCtrl(line.data(), static_cast<int>(std::strlen(line.data()))) < 1) {
        return FTP_SEND_FAILED;
    }
    return GetRetCode();
}

}  // namespace RVN_FTP_CLIENT
