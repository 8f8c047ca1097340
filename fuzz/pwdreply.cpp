// Input: what the server sends after PWD, with the marks of fuzz/wire.h.

#include <string>

#include "fuzz/require.h"
#include "fuzz/wire.h"
#include "include/ftpresult.h"
#include "src/ftp/ftpcommand.h"

namespace QelFuzz {
namespace {

using namespace RVN_FTP_CLIENT;

constexpr const char* kUntouched = "untouched";

struct SSession {
    explicit SSession(const std::string& strMarked) {
        CWire::Reset(nullptr);
        m_command.m_CtrlSock.set_handle(CWire::Connected(strMarked));
    }
    ~SSession() { m_command.CloseAll(); }
    SSession(const SSession&) = delete;
    SSession& operator=(const SSession&) = delete;

    CFtpComand m_command;
};

// Up to the second quote or the first zero byte: paths are zero-terminated to the commands.
std::string Quoted(const std::string& strReply) {
    const std::size_t nOpen = strReply.find('"');
    if (strReply.find("257") == std::string::npos || nOpen == std::string::npos) return kUntouched;
    const std::size_t nClose = strReply.find('"', nOpen + 1);
    return nClose == std::string::npos ? kUntouched
                                       : strReply.substr(nOpen + 1, nClose - nOpen - 1);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    const std::string strMarked(TextOf(pData, nSize));
    std::string strReply;
    const unsigned int uExpected = SSession(strMarked).m_command.GetRetCode(strReply, 2);

    SSession session(strMarked);
    std::string strPath = kUntouched;
    RequireEqual(uExpected, session.m_command.FTP_pwd(strPath), "result of PWD");
    RequireEqual(Quoted(strReply), strPath, "directory of the reply to PWD");
    return 0;
}

}  // namespace QelFuzz
