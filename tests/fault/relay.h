#ifndef QEL_TESTS_FAULT_RELAY_H
#define QEL_TESTS_FAULT_RELAY_H

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/fault/cell.h"
#include "tests/support/sockets.h"

namespace FaultTest {

// Stands between one client of this process and a server on 127.0.0.1, one session after the other,
// and does one thing wrong when told so. Both connections of a session go through it: it announces
// ports of its own to the client.
//
// What arrives together and what apart is not left to chance: where a fault gives its pieces one by
// one, each is sent when the client has read the one before, and is there before the client goes
// on. For that, the client's log calls OnPieceRead.
class CFaultRelay {
public:
    explicit CFaultRelay(unsigned short usServerPort);
    ~CFaultRelay();

    CFaultRelay(const CFaultRelay&) = delete;
    CFaultRelay& operator=(const CFaultRelay&) = delete;

    unsigned short Port() const { return m_usPort; }

    // The server's replies and the data connections count from here. A store in silence goes on
    // when the client has given it up, or after a pause.
    void Arm(const SFault& fault, std::chrono::seconds storePause);

    // Returns when the server has said all that it owes and the client could read it.
    void Settle();

    // No fault any more. A session that got silent is cut.
    void Disarm();

    // In the client's thread: it has taken what arrived last on its control connection.
    void OnPieceRead();

    // The code of the reply that was struck and the command it answers ("RETR 150"; "data" for a
    // data connection); empty when nothing was.
    std::string Struck();

    // Everything that was said, and what the relay did about it.
    std::string Dialogue();

private:
    using Clock = TestSupport::Clock;

    struct SEnds {
        TestSupport::CHandle client;
        TestSupport::CHandle server;
        void Close() {
            client.Close();
            server.Close();
        }
    };

    void Run();
    void Do(std::function<void()> work);
    void Note(const std::string& strText);

    void AcceptControl();
    void ReadCommands();
    void ReadReplies();
    void OnReply(std::string strReply);
    std::string WithOwnPort(const std::string& strReply);
    unsigned short PortForClient();
    void Strike(const std::string& strReply);
    void Deliver(const std::string& strPiece);
    void SendNext();
    void WaitConnected() const;
    void WaitTaken();
    void WaitArrived();
    int ClientEnd();

    void AcceptData();
    void ReadFromServer();
    void ReadFromClient();
    void EndOfServerData();
    bool IsDataStruck() const { return m_bDataStruck && m_fault.pData != nullptr; }
    void PassStruck(const std::string& strBytes, int nTo);
    void BreakDataBeforeTransfer();
    void BreakData();
    bool HasClientClosedData() const;
    void GoOnStoring();

    const unsigned short m_usServerPort;
    TestSupport::CHandle m_listener;
    unsigned short m_usPort = 0;
    TestSupport::DeadPort m_deadPort;
    const Clock::time_point m_start = Clock::now();

    std::mutex m_mutex;  // all below
    std::condition_variable m_changed;
    std::string m_strDialogue;
    SFault m_fault;
    std::unique_ptr<TestSupport::SilentPort> m_pSilentPort;  // when the fault wants one
    bool m_bArmed = false;
    int m_nReplies = 0;
    int m_nConnections = 0;
    std::string m_strStruck;

    SEnds m_control;
    std::string m_strVerb = "greeting";
    std::string m_strLines;            // of the server, not yet a whole reply
    std::string m_strHeld;             // a reply that waits for the next
    std::deque<std::string> m_pieces;  // for the client, to be sent one by one
    bool m_bOneByOne = false;
    bool m_bInFlight = false;  // sent and not yet read
    bool m_bSilent = false;
    bool m_bOwes = false;  // the server: a closing reply
    int m_nClientEnd = -1;

    TestSupport::CHandle m_dataListener;
    unsigned short m_usDataPort = 0;
    SEnds m_data;
    bool m_bDataStruck = false;
    bool m_bDataBroken = false;  // the client's side is done with; the server's is drained
    bool m_bDataSilent = false;
    bool m_bDataEnded = false;  // by the server, of which the client does not know yet
    bool m_bStore = false;
    std::size_t m_nPassed = 0;
    std::string m_strKept;
    std::chrono::seconds m_storePause{0};
    Clock::time_point m_goOn;

    std::vector<std::function<void()>> m_work;
    bool m_bStop = false;
    TestSupport::CHandle m_wake;
    std::thread m_thread;
};

}  // namespace FaultTest

#endif
