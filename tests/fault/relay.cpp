#include "tests/fault/relay.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

#include "tests/session/descriptors.h"

namespace FaultTest {

using namespace TestSupport;

namespace {

constexpr Millis kTick{50};
constexpr Millis kOweLimit{2000};
constexpr Millis kArriveLimit{500};
constexpr std::size_t kFirstBytes = 64;  // that come one at a time

bool Receive(int fd, std::string& strBytes) {
    std::array<char, 65536> block;
    const ssize_t nReceived = ::recv(fd, block.data(), block.size(), 0);
    if (nReceived <= 0) return false;
    strBytes.assign(block.data(), static_cast<std::size_t>(nReceived));
    return true;
}

void SendAll(int fd, const std::string& strBytes) {
    for (std::size_t nSent = 0; nSent < strBytes.size();) {
        const ssize_t n =
            ::send(fd, strBytes.data() + nSent, strBytes.size() - nSent, MSG_NOSIGNAL);
        if (n <= 0) return;
        nSent += static_cast<std::size_t>(n);
    }
}

// What is sent as a piece leaves as one; nobody waits for ever.
void Prepare(int fd) {
    const int nOn = 1;
    ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &nOn, sizeof nOn);
    const timeval limit{10, 0};
    ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

bool Holds(short nEvents) {
    return (nEvents & (POLLIN | POLLHUP | POLLERR)) != 0;
}

}  // namespace

CFaultRelay::CFaultRelay(unsigned short usServerPort)
    : m_usServerPort(usServerPort),
      m_listener(BindLoopback()),
      m_wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    StartListening(m_listener.Get());
    m_usPort = PortOf(m_listener.Get());
    m_thread = std::thread([this] { Run(); });
}

CFaultRelay::~CFaultRelay() {
    Do([this] { m_bStop = true; });
    m_thread.join();
}

// In the relay's own thread, which alone opens and closes.
void CFaultRelay::Do(std::function<void()> work) {
    std::unique_lock<std::mutex> lock(m_mutex);
    bool bDone = false;
    m_work.push_back([&] {
        work();
        bDone = true;
    });
    ::eventfd_write(m_wake.Get(), 1);
    m_changed.wait(lock, [&] { return bDone; });
}

void CFaultRelay::Note(const std::string& strText) {
    char szTime[16];
    std::snprintf(szTime, sizeof szTime, "%6.3f ", static_cast<double>(MsSince(m_start)) / 1000);
    m_strDialogue += szTime;
    for (const char c : strText) {
        if (c == '\r' || c == '\n') continue;
        const bool bPlain = c >= ' ' && c < 127;
        char szCode[8];
        std::snprintf(szCode, sizeof szCode, "\\x%02x", static_cast<unsigned char>(c));
        m_strDialogue += bPlain ? std::string(1, c) : szCode;
    }
    m_strDialogue += '\n';
}

void CFaultRelay::Arm(const SFault& fault, std::chrono::seconds storePause) {
    std::unique_ptr<SilentPort> pSilentPort;
    if (fault.pData != nullptr && fault.pData->eConnect == EConnect::Unanswered) {
        pSilentPort = std::make_unique<SilentPort>();
    }
    Do([&] {
        m_pSilentPort = std::move(pSilentPort);
        m_fault = fault;
        m_storePause = storePause;
        m_bArmed = true;
        m_nReplies = 0;
        m_nConnections = 0;
    });
}

void CFaultRelay::Disarm() {
    Do([this] {
        m_bArmed = false;
        if (!m_bSilent) return;
        Note("-- the silent session is cut");
        m_control.Close();
    });
}

void CFaultRelay::Settle() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait_for(lock, kOweLimit,
                       [this] { return !m_bOwes || m_bSilent || !m_control.client.IsOpen(); });
    if (!m_control.client.IsOpen()) return;
    // What the other side has acknowledged can be read there.
    const Clock::time_point end = Clock::now() + kArriveLimit;
    int nUnsent = 1;
    while (::ioctl(m_control.client.Get(), TIOCOUTQ, &nUnsent) == 0 && nUnsent > 0 &&
           Clock::now() < end) {
        ::usleep(500);
    }
}

std::string CFaultRelay::Struck() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_strStruck;
}

std::string CFaultRelay::Dialogue() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_strDialogue;
}

void CFaultRelay::Run() {
    while (true) {
        std::vector<pollfd> waited;
        std::vector<void (CFaultRelay::*)()> handlers;
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            if (m_bStop) return;
            const auto wait = [&](const CHandle& handle, void (CFaultRelay::*pHandler)()) {
                if (!handle.IsOpen()) return;
                waited.push_back({handle.Get(), POLLIN, 0});
                handlers.push_back(pHandler);
            };
            wait(m_listener, &CFaultRelay::AcceptControl);
            if (!m_bSilent) {
                wait(m_control.client, &CFaultRelay::ReadCommands);
                wait(m_control.server, &CFaultRelay::ReadReplies);
            }
            wait(m_dataListener, &CFaultRelay::AcceptData);
            // In a silence only a client that receives is watched: it may close.
            if (!m_bDataSilent || !m_bStore) wait(m_data.client, &CFaultRelay::ReadFromClient);
            if (!m_bDataSilent && !m_bDataEnded) wait(m_data.server, &CFaultRelay::ReadFromServer);
        }
        waited.push_back({m_wake.Get(), POLLIN, 0});
        ::poll(waited.data(), waited.size(), static_cast<int>(kTick.count()));

        const std::lock_guard<std::mutex> lock(m_mutex);
        eventfd_t nWoken = 0;
        ::eventfd_read(m_wake.Get(), &nWoken);
        const bool bAsked = !m_work.empty();
        for (const auto& work : m_work)
            work();
        m_work.clear();
        m_changed.notify_all();
        if (bAsked) continue;  // what was polled may be gone
        // One at a time: it may close what another one is for.
        for (std::size_t i = 0; i < handlers.size(); ++i) {
            if (!Holds(waited[i].revents)) continue;
            (this->*handlers[i])();
            break;
        }
        if (m_bDataSilent && m_bStore && (Clock::now() >= m_goOn || HasClientClosedData())) {
            GoOnStoring();
        }
        if (m_bDataEnded && !m_bOwes) EndOfServerData();
        // Nothing more to come, and everything that came has been passed on.
        if (!m_control.server.IsOpen() && m_pieces.empty() && !m_bSilent) m_control.client.Close();
        m_changed.notify_all();
    }
}

// ---- Control connection ----

void CFaultRelay::AcceptControl() {
    m_control.Close();
    m_data.Close();
    m_dataListener.Close();
    m_control.client = CHandle(::accept4(m_listener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
    m_control.server = ConnectLoopback(m_usServerPort);
    for (const CHandle* pEnd : {&m_control.client, &m_control.server}) {
        const int nFlags = ::fcntl(pEnd->Get(), F_GETFL);
        ::fcntl(pEnd->Get(), F_SETFL, nFlags & ~O_NONBLOCK);
        Prepare(pEnd->Get());
    }
    m_strVerb = "greeting";
    m_strLines.clear();
    m_strHeld.clear();
    m_pieces.clear();
    m_bOneByOne = m_bInFlight = m_bSilent = m_bOwes = false;
    m_nClientEnd = -1;
    Note("-- connected");
}

void CFaultRelay::ReadCommands() {
    std::string strBytes;
    if (!Receive(m_control.client.Get(), strBytes)) {
        Note("-- closed by the client");
        m_control.Close();
        return;
    }
    Note("> " + strBytes);
    m_strVerb = strBytes.substr(0, strBytes.find_first_of(" \r\n"));
    if (m_strVerb == "LIST" || m_strVerb == "RETR" || m_strVerb == "STOR") {
        BreakDataBeforeTransfer();
    }
    if (m_control.server.IsOpen()) SendAll(m_control.server.Get(), strBytes);
}

void CFaultRelay::ReadReplies() {
    std::string strBytes;
    if (!Receive(m_control.server.Get(), strBytes)) {
        Note("-- closed by the server");
        m_control.server.Close();
        return;
    }
    m_strLines += strBytes;
    for (std::size_t nEnd = 0; (nEnd = m_strLines.find('\n')) != std::string::npos;) {
        const std::string strReply = m_strLines.substr(0, nEnd + 1);
        m_strLines.erase(0, nEnd + 1);
        OnReply(strReply);
    }
}

void CFaultRelay::OnReply(std::string strReply) {
    Note("< " + strReply);
    const int nCode = std::atoi(strReply.c_str());
    m_bOwes = nCode / 100 == 1;
    if (nCode == 227) strReply = WithOwnPort(strReply);
    const bool bStruck = m_bArmed && m_fault.pControl != nullptr && m_nReplies++ == m_fault.nReply;
    if (bStruck) {
        Strike(strReply);
    } else if (!m_strHeld.empty()) {
        Deliver(m_strHeld + strReply);
        m_strHeld.clear();
    } else {
        Deliver(strReply);
    }
}

std::string CFaultRelay::WithOwnPort(const std::string& strReply) {
    unsigned int uHigh = 0;
    unsigned int uLow = 0;
    const std::size_t nOpen = std::min(strReply.find('('), strReply.size());
    if (std::sscanf(strReply.c_str() + nOpen, "(127,0,0,1,%u,%u)", &uHigh, &uLow) != 2) {
        return strReply;
    }
    m_bDataStruck = m_bArmed && m_fault.pData != nullptr && m_nConnections++ == m_fault.nConnection;
    if (m_bDataStruck) {
        m_strStruck = "data";
        m_bOneByOne = true;  // a server that fails at once could say so together with its 150
    }
    m_data.Close();
    m_dataListener.Close();
    m_bDataBroken = m_bDataSilent = m_bDataEnded = m_bStore = false;
    m_nPassed = 0;
    m_strKept.clear();
    const unsigned int uPort = PortForClient();
    // At once: the server has time to accept before anything breaks.
    if (m_dataListener.IsOpen()) {
        m_data.server = ConnectLoopback(static_cast<unsigned short>(uHigh * 256 + uLow));
        const int nFlags = ::fcntl(m_data.server.Get(), F_GETFL);
        ::fcntl(m_data.server.Get(), F_SETFL, nFlags & ~O_NONBLOCK);
        Prepare(m_data.server.Get());
    }
    return "227 Entering Passive Mode (127,0,0,1," + std::to_string(uPort / 256) + "," +
           std::to_string(uPort % 256) + ").\r\n";
}

unsigned short CFaultRelay::PortForClient() {
    if (IsDataStruck() && m_fault.pData->eConnect == EConnect::Refused) return m_deadPort.Port();
    if (IsDataStruck() && m_fault.pData->eConnect == EConnect::Unanswered) {
        return m_pSilentPort->Port();
    }
    m_dataListener = BindLoopback();
    StartListening(m_dataListener.Get());
    m_usDataPort = PortOf(m_dataListener.Get());
    return m_usDataPort;
}

void CFaultRelay::Strike(const std::string& strReply) {
    const SControlFault& fault = *m_fault.pControl;
    m_strStruck = m_strVerb + " " + strReply.substr(0, 3);
    Note(std::string("-- ") + fault.pszName);
    WaitTaken();  // what came before is no part of it
    if (NeedsNextReply(fault)) {
        m_strHeld = strReply;
        return;
    }
    const std::vector<std::string> pieces = PiecesOf(fault, strReply);
    m_bOneByOne = pieces.size() > 1;
    for (const std::string& strPiece : pieces)
        Deliver(strPiece);
    switch (fault.eThen) {
        case ELink::Open:
            break;
        case ELink::Ended:
            m_control.Close();
            break;
        case ELink::Broken:
            WaitConnected();
            m_control.client.Reset();
            m_control.server.Close();
            break;
        case ELink::Silent:
            m_bSilent = true;
            break;
    }
}

void CFaultRelay::Deliver(const std::string& strPiece) {
    if (m_bSilent) return;
    if (m_bArmed && !m_bOneByOne) WaitTaken();
    m_pieces.push_back(strPiece);
    if (!m_bOneByOne || !m_bInFlight) SendNext();
}

void CFaultRelay::SendNext() {
    const std::string strPiece = m_pieces.front();
    m_pieces.pop_front();
    if (!m_control.client.IsOpen()) return;
    Note("to the client: " + strPiece);
    SendAll(m_control.client.Get(), strPiece);
    m_bInFlight = true;
    if (m_pieces.empty()) ::eventfd_write(m_wake.Get(), 1);
}

void CFaultRelay::OnPieceRead() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_bInFlight = false;
    if (!m_bOneByOne) return;
    // The client has ended its transfer: what the server says to that comes before the client goes
    // on, as it would from a server that is quicker than its client.
    if (m_pieces.empty() && m_bOwes && HasClientClosedData()) {
        m_changed.wait_for(lock, kOweLimit, [this] { return !m_bOwes || m_bInFlight; });
    }
    if (!m_pieces.empty() && !m_bInFlight) SendNext();
    if (m_bInFlight) WaitArrived();
}

// To reset a connection that is just being made would be to refuse it, and the client would try
// anew. It makes its end close-on-exec when it is connected.
void CFaultRelay::WaitConnected() const {
    const Clock::time_point end = Clock::now() + kArriveLimit;
    while (Clock::now() < end) {
        const int fd = SessionTest::DescriptorConnectedTo(m_usPort);
        if (fd != -1 && (::fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0) return;
        ::usleep(200);
    }
}

int CFaultRelay::ClientEnd() {
    if (m_nClientEnd == -1) m_nClientEnd = SessionTest::DescriptorConnectedTo(m_usPort);
    return m_nClientEnd;
}

// Without being told by the client: it may take bytes that it has no use for, and log none.
void CFaultRelay::WaitTaken() {
    const Clock::time_point end = Clock::now() + kOweLimit;
    int nWaiting = 0;
    while (::ioctl(ClientEnd(), FIONREAD, &nWaiting) == 0 && nWaiting > 0 && Clock::now() < end) {
        ::usleep(200);
    }
}

void CFaultRelay::WaitArrived() {
    const Clock::time_point end = Clock::now() + kArriveLimit;
    int nWaiting = 0;
    while (::ioctl(ClientEnd(), FIONREAD, &nWaiting) == 0 && nWaiting == 0 && Clock::now() < end) {
        ::usleep(200);
    }
}

// ---- Data connection ----

void CFaultRelay::AcceptData() {
    m_data.client = CHandle(::accept4(m_dataListener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
    m_dataListener.Close();
    Prepare(m_data.client.Get());
}

// Not when it connects: to reset a connection that is just being made would be to refuse it.
void CFaultRelay::BreakDataBeforeTransfer() {
    if (!IsDataStruck() || !m_fault.pData->bAtOnce || !m_fault.pData->bServerTold) return;
    if (m_dataListener.IsOpen()) AcceptData();
    BreakData();
}

void CFaultRelay::ReadFromServer() {
    std::string strBytes;
    if (!Receive(m_data.server.Get(), strBytes)) {
        m_bDataEnded = true;
        return;
    }
    if (m_bDataBroken || !m_data.client.IsOpen()) return;
    if (IsDataStruck()) {
        PassStruck(strBytes, m_data.client.Get());
    } else {
        SendAll(m_data.client.Get(), strBytes);
    }
}

// The closing reply has arrived, too: a client never finds the one without the other.
void CFaultRelay::EndOfServerData() {
    m_bDataEnded = false;
    m_data.server.Close();
    if (m_data.client.IsOpen() && IsDataStruck() && m_fault.pData->bAtLast) {
        Note("-- data reset in place of its end");
        m_data.client.Reset();
    }
    m_data.client.Close();
}

void CFaultRelay::ReadFromClient() {
    std::string strBytes;
    if (!Receive(m_data.client.Get(), strBytes)) {
        // With bytes still unread the server is told by a reset.
        m_data.Close();
        m_bDataSilent = m_bDataEnded = false;
        return;
    }
    m_bStore = true;
    if (IsDataStruck()) {
        PassStruck(strBytes, m_data.server.Get());
    } else {
        SendAll(m_data.server.Get(), strBytes);
    }
}

void CFaultRelay::PassStruck(const std::string& strBytes, int nTo) {
    const SDataFault& fault = *m_fault.pData;
    if (fault.bByteByByte) {
        const std::size_t nSingle =
            std::min(strBytes.size(), kFirstBytes - std::min(kFirstBytes, m_nPassed));
        for (std::size_t i = 0; i < nSingle; ++i) {
            SendAll(nTo, strBytes.substr(i, 1));
            ::usleep(500);
        }
        SendAll(nTo, strBytes.substr(nSingle));
        m_nPassed += strBytes.size();
        return;
    }
    if (fault.bAtLast) {
        SendAll(nTo, strBytes);
        return;
    }
    const bool bFile = m_strVerb == "RETR" || m_strVerb == "STOR";
    const std::size_t nAmid = bFile ? kFileBytesPassed : kListingBytesPassed;
    const std::size_t nLimit = fault.bAtOnce ? 0 : nAmid;
    const std::size_t nPass = std::min(strBytes.size(), nLimit - m_nPassed);
    SendAll(nTo, strBytes.substr(0, nPass));
    m_nPassed += nPass;
    if (nPass == strBytes.size()) return;
    m_strKept = strBytes.substr(nPass);
    BreakData();
}

void CFaultRelay::BreakData() {
    const SDataFault& fault = *m_fault.pData;
    Note(std::string("-- data ") + fault.pszName + " after " + std::to_string(m_nPassed));
    if (fault.eEnd == EDataEnd::Silent) {
        m_bDataSilent = true;
        m_goOn = Clock::now() + m_storePause;
        return;
    }
    if (fault.eEnd == EDataEnd::Broken) {
        m_data.client.Reset();
    } else {
        m_data.client.Close();
    }
    m_bDataBroken = true;
    if (fault.bServerTold) {
        m_data.server.Reset();
    } else if (m_bStore) {
        m_data.server.Close();
    }
}

bool CFaultRelay::HasClientClosedData() const {
    return SessionTest::DescriptorConnectedTo(m_usDataPort) == -1;
}

void CFaultRelay::GoOnStoring() {
    Note("-- the data go on");
    m_bDataSilent = false;
    m_bDataStruck = false;
    SendAll(m_data.server.Get(), m_strKept);
}

}  // namespace FaultTest
