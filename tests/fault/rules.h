#ifndef QEL_TESTS_FAULT_RULES_H
#define QEL_TESTS_FAULT_RULES_H

#include <chrono>
#include <deque>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "include/ftpresult.h"
#include "tests/fault/cell.h"

// What a fault must lead to, worked out from the rules of the operations and of reading replies: a
// dialogue of codes, without sockets or texts, between a server that behaves and a client that does
// what the documentation of result codes, waits and transfer options says.

namespace FaultTest {

using RVN_FTP_CLIENT::FtpResult;
using Seconds = std::chrono::seconds;

// setParam of every session of the matrix: three different values, short, since silence costs time.
constexpr unsigned short kConnTimeout = 2;
constexpr unsigned short kRetryTimes = 2;
constexpr unsigned short kRetryTimeout = 1;

constexpr Seconds kDataConnectLimit{5};
constexpr Seconds kDataSilence{5};
// How long a store stays silent: a client without a limit to its patience sees it through, a client
// with one does not.
constexpr Seconds kStorePause{6};
constexpr Seconds kStorePauseVerified{30};

struct SExpected {
    FtpResult eResult = RVN_FTP_CLIENT::FTP_OK;
    FtpResult eClose = RVN_FTP_CLIENT::FTP_OK;  // of the Close that follows; not for Close itself
    Seconds least{0};                           // the operation waits at least so long
    Seconds most{0};                            // and no longer
    std::vector<bool> whole;                    // of each file or listing: all of it was moved
};

struct SStep {
    std::string strName;
    int nCode = 0;
};

class CRules {
public:
    CRules(EOperation eOperation, bool bVerify, const SFault& fault);

    SExpected Work();

    // After Work: the replies that the server gave during the operation, and its data connections.
    const std::vector<SStep>& Steps() const { return m_steps; }
    int DataConnections() const { return m_nConnections; }

private:
    // A reply on its way. nShown: the code of the reply whose text is in it, which tells whether an
    // address can be found there.
    struct SReply {
        int nCode = 0;
        int nShown = 0;
        bool bHoldsClosing = false;
    };
    // How long the reader keeps trying.
    enum class EPatience { Command, ClosingReply, OneReceive };

    struct SRead {
        bool bCame = false;
        SReply reply;
        FtpResult eResult = RVN_FTP_CLIENT::FTP_OK;
    };

    // The server's side.
    void Say(const std::string& strStep, int nCode);
    void Strike(int nCode);
    int Enter(const std::string& strDir);
    int Create(const std::string& strDir);
    int ClosingCode() const;

    // The client's side.
    FtpResult Perform();
    SRead Read(EPatience ePatience);
    void WaitForNothing(EPatience ePatience, bool bFirstWasted);
    SRead Command(const std::string& strStep, const std::function<int()>& answer,
                  FtpResult eOf550 = RVN_FTP_CLIENT::FTP_REPLY_550, int nClosing = 0);
    SRead Command(const std::string& strStep, int nCode, int nClosing = 0);
    FtpResult Login();
    FtpResult OpenData();
    FtpResult OpenDataIn(const std::string& strDir);
    FtpResult ChangeTo(const std::string& strDir);
    FtpResult Receive();
    FtpResult SendAll();
    FtpResult Transferred(bool bClosingSeen, FtpResult eData);
    FtpResult ReadClosingReply();
    FtpResult List();
    FtpResult RetrieveFile();
    FtpResult StoreFile();
    FtpResult Batch(FtpResult (CRules::*pOne)());
    FtpResult MakeDir();
    FtpResult RemoveDir();
    FtpResult Quit();
    void CloseData();
    void Wait(Seconds least, Seconds most);
    const SDataFault* DataFault() const;

    const EOperation m_eOperation;
    const bool m_bVerify;
    const SFault m_fault;
    std::vector<SStep> m_steps;
    int m_nConnections = 0;
    std::deque<SReply> m_waiting;  // said by the server, not yet read
    ELink m_eLink = ELink::Open;
    bool m_bHeld = false;  // a reply waits for the next one, to arrive with it
    bool m_bStoreAccepted = false;
    std::string m_strDirectory = "/";
    std::set<std::string> m_directories;
    SExpected m_expected;
};

}  // namespace FaultTest

#endif
