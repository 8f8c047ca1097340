#include "tests/fault/rules.h"

#include <algorithm>

namespace FaultTest {

using namespace RVN_FTP_CLIENT;

namespace {

constexpr int kListed = 2;  // files in the directory that is removed
constexpr int kMaxMarks = 16;
constexpr int kWastedReceive = -1;  // bytes that look like none to the reader

bool IsSuccess(int nCode) {
    return nCode / 100 >= 1 && nCode / 100 <= 3;
}

// Only the codes that occur here. eOf550: what a command makes of a plain 550.
FtpResult ResultOf(int nCode, FtpResult eOf550) {
    if (IsSuccess(nCode)) return FTP_OK;
    switch (nCode) {
        case kFarewell:
            return FTP_SERVER_SHUTDOWN;
        case 421:
            return FTP_REPLY_421;
        case 426:
            return FTP_REPLY_426;
        case 550:
            return eOf550;
        default:
            return FTP_UNKNOWN_REPLY;
    }
}

}  // namespace

CRules::CRules(EOperation eOperation, bool bVerify, const SFault& fault)
    : m_eOperation(eOperation),
      m_bVerify(bVerify),
      m_fault(fault),
      m_directories{"/", "/shared/", "/cell/"} {}

SExpected CRules::Work() {
    m_expected.eResult = Perform();
    // What is silent is let go before the session is closed.
    if (m_eLink == ELink::Silent) m_eLink = ELink::Ended;
    if (m_eOperation == EOperation::Close) return m_expected;
    const SExpected before = m_expected;
    const std::vector<SStep> steps = m_steps;
    m_expected.eClose = Quit();
    m_expected.least = before.least;
    m_expected.most = before.most;
    m_steps = steps;
    return m_expected;
}

FtpResult CRules::Perform() {
    switch (m_eOperation) {
        case EOperation::Login:
            return Login();
        case EOperation::List:
            return List();
        case EOperation::Exists:
            return List() == FTP_OK && m_expected.whole.back() ? FTP_OK : FTP_NO_SUCH_FILE;
        case EOperation::Get: {
            const FtpResult eType = Command("TYPE", 200).eResult;
            return eType != FTP_OK ? eType : RetrieveFile();
        }
        case EOperation::Put: {
            const FtpResult eType = Command("TYPE", 200).eResult;
            return eType != FTP_OK ? eType : StoreFile();
        }
        case EOperation::GetBatch:
            return Batch(&CRules::RetrieveFile);
        case EOperation::PutBatch:
            return Batch(&CRules::StoreFile);
        case EOperation::MakeDir:
            return MakeDir();
        case EOperation::RemoveDir:
            return RemoveDir();
        case EOperation::RemoveFile:
            return Command("DELE", 250).eResult;
        case EOperation::ChangeDir:
            return Command("CWD", 250).eResult;
        case EOperation::Close:
            return Quit();
    }
    return FTP_UNKNOWN_REPLY;
}

// ---- The server ----

void CRules::Say(const std::string& strStep, int nCode) {
    const auto nBefore = std::count_if(m_steps.begin(), m_steps.end(), [&](const SStep& step) {
        return step.strName.substr(0, step.strName.find('#')) == strStep;
    });
    const bool bStruck =
        m_fault.pControl != nullptr && m_fault.nReply == static_cast<int>(m_steps.size());
    m_steps.push_back({strStep + (nBefore == 0 ? "" : "#" + std::to_string(nBefore + 1)), nCode});
    if (bStruck) {
        Strike(nCode);
    } else {
        m_waiting.push_back({nCode, nCode, m_bHeld});
        m_bHeld = false;
    }
    // The server closes behind its last words.
    if (strStep == "QUIT" && m_eLink == ELink::Open) m_eLink = ELink::Ended;
}

void CRules::Strike(int nCode) {
    const SControlFault& fault = *m_fault.pControl;
    if (fault.nBefore != kNoReply) m_waiting.push_back({fault.nBefore, fault.nBefore, false});
    switch (fault.eOwn) {
        case EOwnReply::Read:
            m_waiting.push_back({nCode, nCode, false});
            break;
        case EOwnReply::Overruled:
            // Behind a preliminary reply any final one is taken for the transfer's closing one.
            m_waiting.push_back({kUnasked, nCode, nCode == 150});
            break;
        case EOwnReply::WithNext:
            m_bHeld = true;
            break;
        case EOwnReply::Wasted:
            m_waiting.push_back({kWastedReceive, 0, false});
            break;
        case EOwnReply::Missing:
            break;
    }
    if (fault.nBehind == kSameReply) {
        m_waiting.push_back({nCode, nCode, false});
    } else if (fault.nBehind != kNoReply) {
        m_waiting.push_back({fault.nBehind, fault.nBehind, false});
    }
    m_eLink = fault.eThen;
}

int CRules::Enter(const std::string& strDir) {
    const std::string strPath = strDir.front() == '/' ? strDir : m_strDirectory + strDir;
    if (m_directories.count(strPath) == 0) return 550;
    m_strDirectory = strPath;
    return 250;
}

int CRules::Create(const std::string& strDir) {
    return m_directories.insert(m_strDirectory + strDir).second ? 257 : 550;
}

// The server learns that the connection broke where it is told, and where the client closes before
// a file has been taken off its hands; a listing it has long sent.
int CRules::ClosingCode() const {
    const SDataFault* pFault = DataFault();
    if (pFault == nullptr) return 226;
    const bool bRetrieve = m_eOperation == EOperation::Get || m_eOperation == EOperation::GetBatch;
    return pFault->bServerTold || (pFault->eEnd == EDataEnd::Silent && bRetrieve) ? 426 : 226;
}

// ---- Reading ----

// A silent receive takes its whole time, one on a closed connection none.
void CRules::WaitForNothing(EPatience ePatience, bool bFirstWasted) {
    if (m_eLink == ELink::Ended || m_eLink == ELink::Broken) return;
    int nRetries = 0;
    if (ePatience == EPatience::Command) nRetries = kRetryTimes;
    if (ePatience == EPatience::ClosingReply) {
        nRetries = std::min<int>(kRetryTimes, kRetryTimeout);  // its number of tries is a time-out
    }
    const Seconds time((bFirstWasted ? 0 : kConnTimeout) + nRetries * kRetryTimeout);
    Wait(time, time);
}

CRules::SRead CRules::Read(EPatience ePatience) {
    // A line without a code is no reply: reading goes on behind it.
    while (!m_waiting.empty() && m_waiting.front().nCode == kTextLine)
        m_waiting.pop_front();
    const bool bFirstWasted = !m_waiting.empty() && m_waiting.front().nCode == kWastedReceive;
    if (bFirstWasted) m_waiting.pop_front();
    SRead read;
    if (m_waiting.empty() || (bFirstWasted && ePatience == EPatience::OneReceive)) {
        WaitForNothing(ePatience, bFirstWasted);
        read.eResult = ePatience == EPatience::Command ? FTP_NO_REPLY : FTP_REPLY_421;
        return read;
    }
    read.bCame = true;
    read.reply = m_waiting.front();
    m_waiting.pop_front();
    read.eResult = ResultOf(read.reply.nCode, FTP_REPLY_550);
    return read;
}

// nClosing: a second reply, which the server gives on its own.
CRules::SRead CRules::Command(const std::string& strStep, const std::function<int()>& answer,
                              FtpResult eOf550, int nClosing) {
    SRead read;
    if (m_bVerify && !m_waiting.empty()) {
        read.eResult = FTP_OUT_OF_STEP;
        return read;
    }
    if (m_eLink == ELink::Broken) {
        read.eResult = FTP_SEND_FAILED;
        return read;
    }
    if (m_eLink == ELink::Ended) m_eLink = ELink::Broken;  // the other side answers with a reset
    if (m_eLink == ELink::Open) Say(strStep, answer());
    if (m_eLink == ELink::Open && nClosing != 0) Say(strStep + ".end", nClosing);
    read = Read(EPatience::Command);
    if (read.bCame) read.eResult = ResultOf(read.reply.nCode, eOf550);
    return read;
}

CRules::SRead CRules::Command(const std::string& strStep, int nCode, int nClosing) {
    return Command(
        strStep, [nCode] { return nCode; }, FTP_REPLY_550, nClosing);
}

FtpResult CRules::ChangeTo(const std::string& strDir) {
    return Command(
               "CWD", [&] { return Enter(strDir); }, FTP_CWD_REFUSED)
        .eResult;
}

void CRules::Wait(Seconds least, Seconds most) {
    m_expected.least += least;
    m_expected.most += most;
}

// ---- Sessions ----

FtpResult CRules::Login() {
    Say("greeting", 220);
    const SRead greeting = Read(EPatience::Command);
    if (greeting.eResult == FTP_NO_REPLY) {
        Read(EPatience::Command);  // a server may be slow to greet, or never do
    } else if (greeting.eResult != FTP_OK) {
        return greeting.eResult;
    }
    const FtpResult eUser = Command("USER", 331).eResult;
    if (eUser != FTP_OK) return eUser;
    const FtpResult ePass = Command("PASS", 230).eResult;
    if (ePass != FTP_OK) return ePass;
    Command("PWD", 257);  // without it there is no root, which is no failure
    return FTP_OK;
}

FtpResult CRules::Quit() {
    return Command("QUIT", 221).eResult == FTP_OK ? FTP_OK : FTP_CLOSE_FAILED;
}

// ---- Transfers ----

const SDataFault* CRules::DataFault() const {
    return m_fault.nConnection == m_nConnections - 1 ? m_fault.pData : nullptr;
}

FtpResult CRules::OpenData() {
    const SRead pasv = Command("PASV", 227);
    if (pasv.eResult != FTP_OK) return pasv.eResult;
    if (pasv.reply.nShown != 227) return FTP_BAD_PASV_REPLY;
    ++m_nConnections;
    if (DataFault() == nullptr || DataFault()->eConnect == EConnect::Accepted) return FTP_OK;
    if (DataFault()->eConnect == EConnect::Unanswered) Wait(kDataConnectLimit, kDataConnectLimit);
    return FTP_CONNECT_FAILED;
}

FtpResult CRules::OpenDataIn(const std::string& strDir) {
    const FtpResult eCwd = ChangeTo(strDir);
    return eCwd == FTP_OK ? OpenData() : eCwd;
}

// The client has closed: the end of a store.
void CRules::CloseData() {
    if (m_bStoreAccepted && m_eLink == ELink::Open) Say("STOR.end", ClosingCode());
    m_bStoreAccepted = false;
}

// What receiving brings; the bytes and their sender's end, in the good case.
FtpResult CRules::Receive() {
    const SDataFault* pFault = DataFault();
    const EDataEnd eEnd = pFault == nullptr ? EDataEnd::Untouched : pFault->eEnd;
    if (eEnd == EDataEnd::Silent) Wait(kDataSilence, kDataSilence);
    m_expected.whole.back() = eEnd == EDataEnd::Untouched || (pFault != nullptr && pFault->bAtLast);
    const bool bGoodEnd = eEnd == EDataEnd::Untouched || eEnd == EDataEnd::Ended;
    return bGoodEnd ? FTP_OK : FTP_DATA_BROKEN;
}

// What sending brings. Unverified, there is no limit to the patience with a server that takes
// nothing; verified, silence ends it.
FtpResult CRules::SendAll() {
    const SDataFault* pFault = DataFault();
    if (pFault == nullptr || pFault->eEnd == EDataEnd::Untouched) {
        m_expected.whole.back() = true;
        return FTP_OK;
    }
    if (pFault->eEnd != EDataEnd::Silent) return FTP_DATA_BROKEN;
    if (!m_bVerify) {
        Wait(kStorePause, kStorePause);
        m_expected.whole.back() = true;
        return FTP_OK;
    }
    Wait(kDataSilence, kDataSilence);
    return FTP_DATA_BROKEN;
}

FtpResult CRules::ReadClosingReply() {
    for (int nMark = 0; nMark < kMaxMarks; ++nMark) {
        const SRead read = Read(EPatience::ClosingReply);
        if (!read.bCame) return FTP_NO_REPLY;
        if (read.reply.nCode / 100 != 1) return read.eResult;
    }
    return FTP_NO_REPLY;
}

// The end of a transfer that was not refused. Verified, the first thing that went wrong counts.
FtpResult CRules::Transferred(bool bClosingSeen, FtpResult eData) {
    CloseData();
    if (m_bVerify) {
        const FtpResult eClosing = bClosingSeen ? FTP_OK : ReadClosingReply();
        return eData != FTP_OK ? eData : eClosing;
    }
    if (bClosingSeen) {
        Wait(Seconds(0), Seconds(kConnTimeout + kRetryTimeout));  // may look for one more
    } else {
        Read(EPatience::ClosingReply);
    }
    return FTP_OK;
}

FtpResult CRules::List() {
    m_expected.whole.push_back(false);
    const FtpResult eData = OpenDataIn("/shared/");
    if (eData != FTP_OK) return eData;
    const SRead list = Command("LIST", 150, ClosingCode());
    if (list.eResult != FTP_OK) return list.eResult;
    const FtpResult eMoved = Receive();
    if (m_bVerify) {
        const FtpResult eEnd = Transferred(list.reply.bHoldsClosing, eMoved);
        if (eEnd != FTP_OK) return eEnd;
    } else if (!list.reply.bHoldsClosing && list.reply.nCode != 226) {
        Read(EPatience::OneReceive);
    }
    Command("OPTS", 200);
    return FTP_OK;
}

FtpResult CRules::RetrieveFile() {
    m_expected.whole.push_back(false);
    const FtpResult eData = OpenDataIn("/shared/");
    if (eData != FTP_OK) return eData;
    const SRead retr = Command("RETR", 150, ClosingCode());
    if (retr.eResult != FTP_OK) {
        if (!m_bVerify) Read(EPatience::ClosingReply);
        return retr.eResult;
    }
    return Transferred(retr.reply.bHoldsClosing, Receive());
}

FtpResult CRules::StoreFile() {
    m_expected.whole.push_back(false);
    const FtpResult eData = OpenDataIn("/cell/");
    if (eData != FTP_OK) return eData;
    const SRead stor = Command("STOR", [this] {
        m_bStoreAccepted = true;
        return 150;
    });
    if (stor.eResult != FTP_OK) {
        CloseData();
        if (!m_bVerify) Read(EPatience::ClosingReply);
        return stor.eResult;
    }
    return Transferred(stor.reply.bHoldsClosing, SendAll());
}

FtpResult CRules::Batch(FtpResult (CRules::*pOne)()) {
    FtpResult eResult = Command("TYPE", 200).eResult;
    for (int nFile = 0; nFile < 2 && eResult == FTP_OK; ++nFile)
        eResult = (this->*pOne)();
    return eResult;
}

// ---- Directories ----

FtpResult CRules::MakeDir() {
    const FtpResult eTop = ChangeTo("/");
    if (eTop != FTP_OK) return eTop;
    for (const std::string strLevel : {"cell/", "new/"}) {
        if (ChangeTo(strLevel) == FTP_OK) continue;
        const FtpResult eMade = Command(
                                    "MKD", [&] { return Create(strLevel); }, FTP_MKD_REFUSED)
                                    .eResult;
        if (eMade != FTP_OK) return eMade;
        const FtpResult eEntered = ChangeTo(strLevel);
        if (eEntered != FTP_OK) return eEntered;
    }
    return FTP_OK;
}

FtpResult CRules::RemoveDir() {
    const FtpResult eListed = List();
    if (eListed != FTP_OK) return eListed;
    const int nSeen = m_expected.whole.back() ? kListed : 0;
    int nLeft = kListed;
    for (int nFile = 0; nFile < nSeen; ++nFile) {
        Command("DELE", [&] {
            --nLeft;
            return 250;
        });
    }
    Command("CWD", [this] { return Enter("/"); });
    return Command(
               "RMD", [&] { return nLeft == 0 ? 250 : 550; }, FTP_RMD_REFUSED)
        .eResult;
}

}  // namespace FaultTest
