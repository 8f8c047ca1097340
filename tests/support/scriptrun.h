#ifndef QEL_TESTS_SUPPORT_SCRIPTRUN_H
#define QEL_TESTS_SUPPORT_SCRIPTRUN_H

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/scriptedserver.h"
#include "tests/support/sockets.h"

namespace TestSupport {

// What a step throws when the dialogue does not go as written.
class CScriptFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// One run of a script: its thread, its connections and what was said. The steps work on this.
class CScriptRun {
public:
    explicit CScriptRun(const std::vector<SStep>& script);
    ~CScriptRun();
    CScriptRun(const CScriptRun&) = delete;
    CScriptRun& operator=(const CScriptRun&) = delete;

    // ---- For the test's thread ----

    void Start();
    std::string Finish();
    void WaitUntilHeld();
    void Release();
    unsigned short Port() const { return m_usPort; }
    std::vector<std::string> Commands() const;
    std::vector<std::string> Uploads() const;
    int Connections() const { return m_nConnections; }

    // ---- For the steps, in the server's thread ----

    void SetLimit(Millis limit) { m_limit = limit; }
    void Sleep(Millis time) const;
    void Hold();
    void Listen();

    void AcceptControl();
    void Say(const std::string& strText);
    void SayAsFarAsTaken(const std::string& strText);
    std::string ReadCommand();
    std::string ReadBytes(std::size_t nBytes);
    void ExpectSilence(Millis time);
    void ExpectClose();
    void CloseControl(bool bReset);

    enum class EDataPort { Listening, Dead, Silent };
    void SayPassive(std::string strText, EDataPort eKind);
    void RememberPort(const std::string& strCommand);
    void ConnectData();
    void AcceptData();
    // Returns false when the client ended the connection before all was sent.
    bool SendData(const std::string& strBytes);
    void ReceiveData(std::size_t nMost, bool bToEnd);
    void ExpectDataClosed();
    void CloseData(bool bReset);
    void CloseDataPort() { m_dataListener.Close(); }

private:
    // Returns how many bytes went out before an error or a wait of `patience`.
    std::size_t SendSome(int fd, const std::string& strBytes, Millis patience) const;
    void Play();
    void Note(const std::string& strLine);
    // Waits in slices, so that a finished test does not wait for a limit of many seconds.
    bool WaitForInput(int fd, Millis limit) const;
    CHandle AcceptFrom(int fd, const char* pszWhat) const;
    int Control();
    int Data();
    void FillInput(const char* pszWaitedFor);
    void RecordCommand(const std::string& strCommand);
    std::string Unexpected();
    std::string Report(const std::string& strWhat) const;

    const std::vector<SStep> m_script;
    CHandle m_listener;
    unsigned short m_usPort = 0;
    std::thread m_thread;
    std::string m_strOutcome;  // of Finish()
    Millis m_limit{15000};

    CHandle m_control;
    std::string m_strInput;  // received, not yet read by a step
    CHandle m_dataListener;
    std::unique_ptr<SilentPort> m_pSilentPort;
    CHandle m_data;
    unsigned short m_usClientPort = 0;  // of the last PORT

    mutable std::mutex m_lock;  // guards what follows
    std::condition_variable m_changed;
    std::vector<std::string> m_dialogue;
    std::vector<std::string> m_commands;
    std::vector<std::string> m_uploads;
    std::string m_strFailure;
    int m_nHolds = 0;
    int m_nReleases = 0;
    bool m_bUploadOpen = false;

    std::atomic<int> m_nConnections{0};
    std::atomic<bool> m_bClientDone{false};
};

// Control bytes made visible, for messages.
std::string Visible(const std::string& strBytes);

}  // namespace TestSupport

#endif
