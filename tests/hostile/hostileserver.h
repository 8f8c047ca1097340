#ifndef QEL_TESTS_HOSTILE_HOSTILESERVER_H
#define QEL_TESTS_HOSTILE_HOSTILESERVER_H

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/sockets.h"

namespace HostileTest {

using TestSupport::Millis;

// What a conversation throws when it is over: the client has gone, takes nothing any more, or the
// server is taken down.
class CGone {};

class CHostileServer;

// One control connection, with its data connection, in a thread of its own. Whatever sends goes on
// as long as the client takes something within 20 seconds; else it throws CGone.
class CConversation {
public:
    CConversation(CHostileServer& server, TestSupport::CHandle control);

    // ---- Control connection ----

    void Say(const std::string& strText);
    void SayEndlessly(const std::string& strText);
    // Byte by byte with a pause after each.
    void Drip(const std::string& strText, Millis pause);
    // The next command without its line end.
    std::string Hear();
    // Nothing more is said or read until the client goes.
    [[noreturn]] void FallSilent();
    void Close();

    // ---- Data connection ----

    // Opens a data port and announces it, "%a" standing for the address and "%p" for the two
    // numbers of the port.
    void Announce(const std::string& strText = "227 Entering Passive Mode (%a,%p).\r\n");
    void SendData(const std::string& strBytes);
    void SendDataEndlessly(const std::string& strBytes);
    void DripData(const std::string& strBytes, Millis pause);
    void AcceptData();
    std::string ReceiveData();
    void CloseData();
    void ResetData();
    // Of the control connection, too, without a word.
    void Vanish();

    std::string strDirectory = "/";  // where CWD has led

private:
    void Send(int fd, const char* pData, std::size_t nSize);
    void Pause(Millis time);
    int Data();

    CHostileServer& m_server;
    TestSupport::CHandle m_control;
    TestSupport::CHandle m_dataListener;
    TestSupport::CHandle m_data;
    std::string m_strInput;
};

// What stands in for the usual answer to a command; the argument is what follows the command word.
using Behaviour = std::function<void(CConversation& talk, const std::string& strArgument)>;

// A server that does what FTP servers do, but for what a test replaces. The login directory is "/".
struct SHostility {
    // By command word; "" is the greeting.
    std::map<std::string, Behaviour> instead = {};
    // What LIST gives of a directory.
    std::function<std::string(const std::string& strDirectory)> listing = {};
    // What RETR gives.
    std::function<std::string(const std::string& strPath)> file = {};
};

class CHostileServer {
public:
    explicit CHostileServer(SHostility hostility);
    ~CHostileServer();
    CHostileServer(const CHostileServer&) = delete;
    CHostileServer& operator=(const CHostileServer&) = delete;

    unsigned short Port() const { return m_usPort; }
    int Connections() const { return m_nConnections; }
    bool IsStopping() const { return m_bStop; }

    // All that clients have sent, without line ends.
    std::vector<std::string> Commands() const;
    bool Heard(const std::string& strCommand) const;
    // What clients have stored, one text each.
    std::vector<std::string> Stored() const;

    void NoteCommand(const std::string& strCommand);

private:
    void Accept();
    void Serve(TestSupport::CHandle control);
    void Answer(CConversation& talk, const std::string& strWord, const std::string& strArgument);
    void List(CConversation& talk);
    void Retrieve(CConversation& talk, const std::string& strName);
    void Store(CConversation& talk);

    const SHostility m_hostility;
    TestSupport::CHandle m_listener;
    unsigned short m_usPort;
    std::atomic<bool> m_bStop{false};
    std::atomic<int> m_nConnections{0};
    mutable std::mutex m_mutex;
    std::vector<std::string> m_commands;
    std::vector<std::string> m_stored;
    std::vector<std::thread> m_conversations;
    std::thread m_acceptor;
};

}  // namespace HostileTest

#endif
