#ifndef QEL_TESTS_SUPPORT_SCRIPTEDSERVER_H
#define QEL_TESTS_SUPPORT_SCRIPTEDSERVER_H

#include <chrono>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/sockets.h"

// An FTP server that plays a written dialogue, on an ephemeral port of 127.0.0.1 in a thread of its
// own.
//
//     ScriptedServer server{
//         Say("220 ready\r\n"), Expect("USER bob"), Say("331 password, please\r\n"),
//         Expect("PASV"), SayPassive(),
//         Expect("LIST"), Say("150 here\r\n"), SendData("a\r\nb\r\n"), CloseData(), Say("226
//         done\r\n"),
//     };
//     ... the client's work, against server.Port() ...
//     server.ExpectFinished();
//
// The control connection is accepted when the first step is reached that needs it; after Close(),
// Reset() or ExpectClose() such a step accepts the client's next connection. Steps run in the order
// written; a step waits for the client, but never longer than the limit (15 seconds unless Limit()
// says otherwise). The first step that does not go as written ends the script and closes every
// connection, so that the client fails soon, too. After the last step the connections stay open
// until ExpectFinished or the end of the object.

namespace TestSupport {

class CScriptRun;

struct SStep {
    std::string strName;                   // in messages
    std::function<void(CScriptRun&)> run;  // throws CScriptFailure
    std::vector<SStep> parts = {};         // of Sequence, which has no run
    bool bBeforeListening = false;         // must be the first step
};

// ---- The whole script ----

// Several steps as one: a login prelude, say.
SStep Sequence(std::vector<SStep> parts);
// The longest wait of every following step.
SStep Limit(Millis limit);
// Does nothing for a time. The client's bytes wait unread.
SStep Wait(Millis time);
// Runs code of the test in the server's thread, to look at something between two steps.
SStep Do(std::function<void()> code);
// Stops here until the test calls Release(). WaitUntilHeld() tells when the script has come here.
SStep Hold();

// ---- Control connection ----

// As first step: connections are refused for a time, after which the server listens.
SStep RefuseFor(Millis time);
// Accepts the next control connection now; a previous one is closed. Only needed where no later
// step would do it (a server that never greets) or to leave one connection for the next.
SStep Accept();
// Sends the bytes as they are, in one piece; line ends are written out.
SStep Say(const std::string& strText);
// Sends the pieces one by one with a pause after each but the last.
SStep SayPieces(const std::vector<std::string>& pieces, Millis pause = Millis(60));
// Sends as much as the client's side takes; what it leaves unread for 300 ms is dropped.
SStep SayAsFarAsTaken(const std::string& strText);
// Reads one command and requires it to be strLine + CR LF, byte for byte.
SStep Expect(const std::string& strLine);
// Reads exactly as many bytes and requires these: for a command without its line end.
SStep ExpectBytes(const std::string& strBytes);
// Requires that the client neither sends nor closes for a time.
SStep ExpectSilence(Millis time = Millis(200));
// Requires that the client closes (or resets) the connection without another byte.
SStep ExpectClose();
// End the connection: in order, with RST. A RST may overtake what was said just before.
SStep Close();
SStep Reset();

// ---- Data connection, passive ----
//
// One at a time: announcing the next one closes the previous one. It is accepted when the first
// step is reached that needs it.

// Opens a data port and announces it. In the text %a stands for "127,0,0,1" and %p for the two
// numbers of the port: SayPassive("227 (10,9,8,7,%p)\r\n") announces another host.
SStep SayPassive(const std::string& strText = "227 Entering Passive Mode (%a,%p).\r\n");
// Announces a port on which connections are refused.
SStep SayPassiveDead(const std::string& strText = "227 Entering Passive Mode (%a,%p).\r\n");
// Announces a port on which connections are neither accepted nor refused.
SStep SayPassiveSilent(const std::string& strText = "227 Entering Passive Mode (%a,%p).\r\n");

// ---- Data connection, active ----

// Reads a PORT command and remembers its address and port, which must be 127.0.0.1.
SStep ExpectPort();
// Connects there.
SStep ConnectData();

// ---- Data connection, both ----

// Accepts now, before the step that sends or receives would.
SStep AcceptData();
// Sends the bytes, in blocks of nBlock bytes with a pause between (0: all at once).
SStep SendData(const std::string& strBytes, std::size_t nBlock = 0, Millis pause = Millis(0));
// The same, but the client may end the connection before it has them all.
SStep SendDataAsFarAsTaken(const std::string& strBytes);
// Receives until the client ends the connection, or exactly nBytes. See Uploads().
SStep ReceiveData();
SStep ReceiveData(std::size_t nBytes);
// Requires that the client closes the data connection; bytes that still come are dropped.
SStep ExpectDataClosed();
// End the connection: in order, with RST.
SStep CloseData();
SStep ResetData();
// Closes the passive port: a client that has not connected yet is refused.
SStep CloseDataPort();

class ScriptedServer {
public:
    ScriptedServer(std::initializer_list<SStep> script);
    explicit ScriptedServer(const std::vector<SStep>& script);
    // Fails the test when ExpectFinished (or Finish) was not called: nothing was checked then.
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    const char* Host() const { return "127.0.0.1"; }
    unsigned short Port() const;

    // To be called when the client's work is done. Fails the test unless the whole script was
    // played, and when the client sent a byte or made a connection that the script did not have;
    // shows the dialogue then. A step that still waits for the client is given one second.
    void ExpectFinished();
    // The same as text, empty when all is well.
    std::string Finish();

    // What the client sent, one entry per command with its line end. Any time.
    std::vector<std::string> Commands() const;
    // What the client uploaded, one entry per data connection that a ReceiveData step read.
    std::vector<std::string> Uploads() const;
    // Control connections accepted so far.
    int Connections() const;

    void WaitUntilHeld();
    void Release();

private:
    std::unique_ptr<CScriptRun> m_pRun;
    bool m_bChecked = false;
};

}  // namespace TestSupport

#endif
