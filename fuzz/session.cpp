// A whole session with a server that answers as the input says.
//
// Input, in readable text (separators: 0x1E between parts, 0x1D between sections):
//
//   first line   letters: options in small letters, then operations, see kOptions and Operate();
//                a digit chooses the argument of the operations after it
//   replies      one part for each connection or command, with the marks of fuzz/wire.h; an empty
//                part, and every one after the last, is what a well-meaning server says
//   data         one part for each data connection; as above
//
// Between login and close every operation runs whatever became of the one before.

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/hostlog.h"
#include "fuzz/localfiles.h"
#include "fuzz/polite.h"
#include "fuzz/require.h"
#include "fuzz/wire.h"
#include "include/ftpclient.h"
#include "include/ftpresult.h"

namespace QelFuzz {
namespace {

using namespace RVN_FTP_CLIENT;

constexpr char kPart = '\x1e';
constexpr char kSection = '\x1d';
constexpr const char* kPassword = "Kj9!q~Zx";
constexpr const char* kSource = "/fuzz/source";
constexpr const char* kTarget = "/fuzz/target";
constexpr const char* kOldContent = "what was there before";
constexpr std::size_t kMaxOperations = 24;

// The arguments that the digits choose.
const std::string& Argument(char cDigit) {
    static const std::string arguments[10] = {
        "a b",
        "",
        "/",
        "a/b/c",
        "\\in\\d",
        "x\r\nDELE y",
        std::string(300, 'n'),
        "../../up",
        std::string("z\0z", 3),
        "/d//\xc3\xa4/%s%n",
    };
    return arguments[cDigit - '0'];
}

class CHostileServer : public CPeer {
public:
    CHostileServer(std::string_view strReplies, std::string_view strData)
        : m_strReplies(strReplies), m_strData(strData) {}

    std::string OnConnect(bool bControl) override {
        m_strLastStream = bControl ? Greeting() : DataStream();
        return m_strLastStream;
    }

    std::string OnControl(std::string_view strSent) override {
        std::string strSaid;
        for (const char c : strSent) {
            m_strLine += c;
            if (c != '\n') continue;
            strSaid += Answer();
            m_strLine.clear();
        }
        return strSaid;
    }

    unsigned int Commands() const { return m_uCommands; }

    // What the last connection delivered whole; false when it broke off or fell silent instead.
    bool LastStream(std::string& strBytes) const {
        const std::string strFront = {Mark::kRefused, Mark::kUnreachable, Mark::kFull,
                                      Mark::kBroken, Mark::kNarrow};
        strBytes.clear();
        for (std::size_t n =
                 std::min(m_strLastStream.find_first_not_of(strFront), m_strLastStream.size());
             n < m_strLastStream.size(); ++n) {
            const char c = m_strLastStream[n];
            if (c == Mark::kClosed) return true;
            if (c == Mark::kSilence || c == Mark::kReset) return false;
            if (c == Mark::kCut || c == Mark::kInterrupt) continue;
            if (c == Mark::kLiteral && ++n == m_strLastStream.size()) return false;
            strBytes += m_strLastStream[n];
        }
        return false;
    }

private:
    std::string Greeting() {
        const std::string strGreeting = NextReply();
        return strGreeting.empty() ? "220 ready\r\n" : strGreeting;
    }

    std::string DataStream() {
        const std::string strStream(TakeUntil(m_strData, kPart));
        return strStream.empty() ? PoliteData() : strStream + Mark::kClosed;
    }

    std::string NextReply() { return std::string(TakeUntil(m_strReplies, kPart)); }

    // Commands are whole lines of known form: nothing that a server or caller said slips in.
    std::string Answer() {
        ++m_uCommands;
        const std::string strPolite = PoliteReply(m_strLine);
        Require(!strPolite.empty(), "only known commands are sent");
        Require(m_strLine.find_first_of(std::string_view("\r\n\0", 3)) == m_strLine.size() - 2,
                "a command is one line");
        Require(m_strLine.size() <= 520, "a command fits its buffer");
        const bool bPass = m_strLine.rfind("PASS ", 0) == 0;
        Require(bPass || m_strLine.find(kPassword) == std::string::npos,
                "the password is sent with PASS only");
        const std::string strReply = NextReply();
        return strReply.empty() ? strPolite : strReply;
    }

    std::string_view m_strReplies;
    std::string_view m_strData;
    std::string m_strLine;
    std::string m_strLastStream;
    unsigned int m_uCommands = 0;
};

// The options of a session and what follows from them for results.
struct SOptions {
    FtpTransferOptions transfer;
    bool bUsed = false;  // setTransferOptions is called
    bool bNoPatience = false;
    bool bNoSource = false;

    void Read(char cOption) {
        bUsed = bUsed || std::strchr("vampPb", cOption) != nullptr;
        switch (cOption) {
            case 'v':
                transfer.bVerify = true;
                break;
            case 'a':
                transfer.bAnyDataAddress = true;
                break;
            case 'm':
                transfer.ullMaxListing = 60;
                break;
            case 'p':
                transfer.progress = [](unsigned long long ullMoved) { return ullMoved < 20; };
                break;
            case 'b':
                transfer.uBlockSize = 4096;
                break;
            case 'z':
                bNoPatience = true;
                break;
            case 'n':
                bNoSource = true;
                break;
            case 'd':
                CLocalFiles::s_nCapacity = 30;
                break;
            case 'r':
                CLocalFiles::s_bCreatable = false;
                break;
            default:
                break;
        }
    }

    // Whether a code may come back at all with these options.
    bool Allows(unsigned int uCode) const {
        switch (uCode) {
            case FTP_DATA_BROKEN:
            case FTP_LOCAL_IO_FAILED:
            case FTP_OUT_OF_STEP:
                return transfer.bVerify;
            case FTP_CANCELLED:
                return transfer.progress != nullptr;
            case FTP_LISTING_TOO_LONG:
                return transfer.ullMaxListing != 0;
            default:
                return true;
        }
    }
};

// Bytes that tell their position.
std::string SourceContent() {
    std::string strContent;
    for (int i = 0; i < 600; ++i)
        strContent += std::to_string(i) + '\n';
    return strContent;
}

void Delete(std::vector<TkFileInfo*>& entries) {
    for (const TkFileInfo* pEntry : entries)
        delete pEntry;
    entries.clear();
}

unsigned int List(CFtpClient& client, const std::string& strDir) {
    std::vector<TkFileInfo*> entries;
    const unsigned int uResult = client.ListFile(strDir, entries);
    Require(uResult == FTP_OK || entries.empty(), "a failed listing has no entries");
    Delete(entries);
    return uResult;
}

unsigned int Operate(CFtpClient& client, char cOperation, const std::string& strArgument) {
    std::vector<Ftp_File_Pair> retrieved = {{strArgument, kTarget}, {"second", "/fuzz/second"}};
    std::vector<Ftp_File_Pair> stored = {{kSource, strArgument}, {kSource, "second"}};
    switch (cOperation) {
        case 'L':
            return List(client, strArgument);
        case 'G':
            return client.GetOneFile(strArgument, kTarget, false);
        case 'H':
            return client.GetFile(retrieved, false);
        case 'S':
            return client.PutOneFileToFile(kSource, strArgument);
        case 'T':
            return client.PutOneFileToPath(kSource, strArgument);
        case 'U':
            return client.PutFile(stored);
        case 'M':
            return client.MakeDir(strArgument);
        case 'R':
            return client.RemoveDir(strArgument);
        case 'C':
            return client.ChangeDir(strArgument);
        case 'E':
            return client.checkOneFileExist(strArgument);
        case 'D':
            return client.RemoveFile(strArgument);
        case 'Q':
            return client.Close();
        case 'I':
            return client.Login();
        default:
            return FTP_OK;
    }
}

class CPlay {
public:
    CPlay(std::string_view strFirstLine, std::string_view strReplies, std::string_view strData)
        : m_server(strReplies, strData),
          m_uInput(static_cast<unsigned int>(strReplies.size() + strData.size())) {
        CLocalFiles::Reset();
        CWire::Reset(&m_server);
        for (const char c : strFirstLine.substr(0, 64)) {
            if (c >= 'a' && c <= 'z') m_options.Read(c);
            if ((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) m_strOperations += c;
        }
        m_strOperations.resize(std::min(m_strOperations.size(), kMaxOperations));
        CLocalFiles::s_files[kTarget] = kOldContent;
        if (!m_options.bNoSource) CLocalFiles::s_files[kSource] = SourceContent();
    }

    void Run() {
        CFtpClient client("127.0.0.1", CWire::kControlPort, "user",
                          TQ_UTIL::CcipheString(kPassword));
        if (m_options.bUsed) client.setTransferOptions(m_options.transfer);
        if (m_options.bNoPatience) client.setParam(0, 0, 0);
        const unsigned int uLogin = client.Login();
        Judge('I', uLogin);
        Require(m_uInput > 0 || uLogin == FTP_OK, "a well-meaning server is logged in to");
        const std::string* pArgument = &Argument('0');
        for (const char c : m_strOperations) {
            if (c >= '0' && c <= '9') {
                pArgument = &Argument(c);
            } else {
                const std::string strBefore = CLocalFiles::s_files[kTarget];
                const unsigned int uResult = Operate(client, c, *pArgument);
                Judge(c, uResult);
                JudgeTarget(c, uResult, strBefore);
            }
        }
        Judge('Q', client.Close());
        RequireEqual(0, CWire::OpenHandles(), "descriptors left after Close");
    }

private:
    void Judge(char cOperation, unsigned int uResult) {
        ++m_uOperations;
        Require(std::string_view(FtpResultText(uResult)) != "unknown result code",
                "a result is one of the known ones");
        Require(m_options.Allows(uResult), "a result belongs to the options");
        RequireEqual(0, CLocalFiles::s_nOpen, "local files left open");
        Require(CWire::OpenHandles() <= 2, "two sockets at most");
        const bool bMany = cOperation == 'M' || cOperation == 'R';
        m_uMayCommand += 24U + (bMany ? 3U * 261U + m_uInput : 0U);
        Require(m_server.Commands() <= m_uMayCommand, "the commands of an operation are bounded");
        Require(CWire::Waits() <=
                    m_uInput + 8U * (m_server.Commands() + CWire::Connects() + m_uOperations),
                "the waits of an operation are bounded");
    }

    // With bVerify a target is replaced whole or left as it is, and nothing else is left behind.
    void JudgeTarget(char cOperation, unsigned int uResult, const std::string& strBefore) const {
        if (!m_options.transfer.bVerify) return;
        for (const auto& file : CLocalFiles::s_files)
            Require(file.first.find(".part") == std::string::npos, "no part of a file is left");
        if (cOperation == 'S' && uResult == FTP_OK)
            RequireEqual(CLocalFiles::s_files[kSource], CWire::SentOnData(), "what a store sends");
        if (cOperation != 'G') return;
        const std::string& strAfter = CLocalFiles::s_files[kTarget];
        if (uResult != FTP_OK) {
            RequireEqual(strBefore, strAfter, "target of a failed retrieve");
            return;
        }
        std::string strWhole;
        Require(m_server.LastStream(strWhole), "a retrieve that broke off is no success");
        RequireEqual(strWhole, strAfter, "target of a retrieve");
    }

    SOptions m_options;
    std::string m_strOperations;
    CHostileServer m_server;
    unsigned int m_uInput;
    unsigned int m_uOperations = 0;
    unsigned int m_uMayCommand = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    std::string_view strRest = TextOf(pData, nSize);
    // A server that knows the password may say it, and then it is logged as anything it says.
    if (strRest.find(kPassword) != std::string_view::npos) return 0;
    CHostLog::s_strSecret = kPassword;
    const std::string_view strFirstLine = TakeUntil(strRest, '\n');
    const std::string_view strReplies = TakeUntil(strRest, kSection);
    CPlay(strFirstLine, strReplies, strRest).Run();
    return 0;
}

}  // namespace QelFuzz
