#include "tests/hostile/hostileserver.h"

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>

using namespace TestSupport;

namespace HostileTest {
namespace {

constexpr Millis kSlice{50};
constexpr Millis kPatience{20000};

void Replace(std::string& strText, const std::string& strWhat, const std::string& strWith) {
    const std::size_t nAt = strText.find(strWhat);
    if (nAt != std::string::npos) strText.replace(nAt, strWhat.size(), strWith);
}

std::string PathOf(const std::string& strDirectory, const std::string& strName) {
    if (!strName.empty() && strName.front() == '/') return strName;
    return (strDirectory == "/" ? "" : strDirectory) + "/" + strName;
}

std::string WithoutSlashAtEnd(std::string strPath) {
    while (strPath.size() > 1 && strPath.back() == '/')
        strPath.pop_back();
    return strPath;
}

}  // namespace

// ---- CConversation ----

CConversation::CConversation(CHostileServer& server, CHandle control)
    : m_server(server), m_control(std::move(control)) {
    const int nOn = 1;
    ::setsockopt(m_control.Get(), IPPROTO_TCP, TCP_NODELAY, &nOn, sizeof nOn);
}

void CConversation::Send(int fd, const char* pData, std::size_t nSize) {
    Clock::time_point end = Clock::now() + kPatience;
    while (nSize > 0) {
        const ssize_t nSent = ::send(fd, pData, nSize, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (nSent > 0) {
            pData += nSent;
            nSize -= static_cast<std::size_t>(nSent);
            end = Clock::now() + kPatience;
            continue;
        }
        if (errno != EAGAIN && errno != EWOULDBLOCK) throw CGone();
        if (m_server.IsStopping() || Clock::now() > end) throw CGone();
        WaitWritable(fd, kSlice);
    }
}

void CConversation::Pause(Millis time) {
    const Clock::time_point end = Clock::now() + time;
    while (Clock::now() < end) {
        if (m_server.IsStopping()) throw CGone();
        std::this_thread::sleep_for(std::min(time, kSlice));
    }
}

void CConversation::Say(const std::string& strText) {
    Send(m_control.Get(), strText.data(), strText.size());
}

void CConversation::SayEndlessly(const std::string& strText) {
    std::string strBlock;
    while (strBlock.size() < 16 * 1024)
        strBlock += strText;
    while (true)
        Say(strBlock);
}

void CConversation::Drip(const std::string& strText, Millis pause) {
    for (const char c : strText) {
        Say(std::string(1, c));
        Pause(pause);
    }
}

std::string CConversation::Hear() {
    std::array<char, 4096> piece{};
    std::size_t nEnd = 0;
    while ((nEnd = m_strInput.find("\r\n")) == std::string::npos) {
        if (m_server.IsStopping()) throw CGone();
        if (!WaitReadable(m_control.Get(), kSlice)) continue;
        const ssize_t nRead = ::recv(m_control.Get(), piece.data(), piece.size(), 0);
        if (nRead <= 0) throw CGone();
        m_strInput.append(piece.data(), static_cast<std::size_t>(nRead));
    }
    std::string strCommand = m_strInput.substr(0, nEnd);
    m_strInput.erase(0, nEnd + 2);
    m_server.NoteCommand(strCommand);
    return strCommand;
}

void CConversation::FallSilent() {
    while (!m_server.IsStopping()) {
        pollfd entry{m_control.Get(), POLLRDHUP, 0};
        if (::poll(&entry, 1, static_cast<int>(kSlice.count())) > 0) break;
    }
    throw CGone();
}

void CConversation::Close() {
    m_control.Close();
    throw CGone();
}

void CConversation::Announce(const std::string& strText) {
    m_data.Close();
    m_dataListener = BindLoopback();
    StartListening(m_dataListener.Get());
    const unsigned short usPort = PortOf(m_dataListener.Get());
    std::string strReply = strText;
    Replace(strReply, "%a", "127,0,0,1");
    Replace(strReply, "%p", std::to_string(usPort / 256) + "," + std::to_string(usPort % 256));
    Say(strReply);
}

int CConversation::Data() {
    if (!m_data.IsOpen()) AcceptData();
    return m_data.Get();
}

void CConversation::AcceptData() {
    const Clock::time_point end = Clock::now() + kPatience;
    while (!WaitReadable(m_dataListener.Get(), kSlice))
        if (m_server.IsStopping() || Clock::now() > end) throw CGone();
    m_data = CHandle(::accept4(m_dataListener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!m_data.IsOpen()) throw CGone();
}

void CConversation::SendData(const std::string& strBytes) {
    Send(Data(), strBytes.data(), strBytes.size());
}

void CConversation::SendDataEndlessly(const std::string& strBytes) {
    std::string strBlock;
    while (strBlock.size() < 256 * 1024)
        strBlock += strBytes;
    while (true)
        SendData(strBlock);
}

void CConversation::DripData(const std::string& strBytes, Millis pause) {
    for (const char c : strBytes) {
        SendData(std::string(1, c));
        Pause(pause);
    }
}

std::string CConversation::ReceiveData() {
    std::string strAll;
    std::vector<char> piece(256 * 1024);
    const int fd = Data();
    while (true) {
        if (m_server.IsStopping()) throw CGone();
        if (!WaitReadable(fd, kSlice)) continue;
        const ssize_t nRead = ::recv(fd, piece.data(), piece.size(), 0);
        if (nRead <= 0) return strAll;
        strAll.append(piece.data(), static_cast<std::size_t>(nRead));
    }
}

void CConversation::CloseData() {
    Data();
    m_data.Close();
}

void CConversation::ResetData() {
    Data();
    m_data.Reset();
}

void CConversation::Vanish() {
    m_data.Close();
    Close();
}

// ---- CHostileServer ----

CHostileServer::CHostileServer(SHostility hostility)
    : m_hostility(std::move(hostility)),
      m_listener(BindLoopback()),
      m_usPort(PortOf(m_listener.Get())) {
    StartListening(m_listener.Get());
    m_acceptor = std::thread(&CHostileServer::Accept, this);
}

CHostileServer::~CHostileServer() {
    m_bStop = true;
    m_acceptor.join();
    for (std::thread& conversation : m_conversations)
        conversation.join();
}

std::vector<std::string> CHostileServer::Commands() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_commands;
}

bool CHostileServer::Heard(const std::string& strCommand) const {
    const std::vector<std::string> commands = Commands();
    return std::find(commands.begin(), commands.end(), strCommand) != commands.end();
}

std::vector<std::string> CHostileServer::Stored() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_stored;
}

void CHostileServer::NoteCommand(const std::string& strCommand) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_commands.push_back(strCommand);
}

void CHostileServer::Accept() {
    while (!m_bStop) {
        if (!WaitReadable(m_listener.Get(), kSlice)) continue;
        CHandle control(::accept4(m_listener.Get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (!control.IsOpen()) continue;
        ++m_nConnections;
        m_conversations.emplace_back(
            [this, nControl = control.Release()] { Serve(CHandle(nControl)); });
    }
}

void CHostileServer::Serve(CHandle control) {
    CConversation talk(*this, std::move(control));
    try {
        Answer(talk, "", "");
        while (true) {
            const std::string strCommand = talk.Hear();
            const std::size_t nBlank = std::min(strCommand.find(' '), strCommand.size());
            Answer(talk, strCommand.substr(0, nBlank),
                   strCommand.substr(std::min(nBlank + 1, strCommand.size())));
        }
    } catch (const CGone&) {
    }
}

void CHostileServer::Answer(CConversation& talk, const std::string& strWord,
                            const std::string& strArgument) {
    static const std::map<std::string, const char*> kUsual = {
        {"", "220 ready\r\n"},     {"USER", "331 password\r\n"}, {"PASS", "230 in\r\n"},
        {"PWD", "257 \"/\"\r\n"},  {"TYPE", "200 image\r\n"},    {"CWD", "250 there\r\n"},
        {"OPTS", "200 UTF-8\r\n"}, {"DELE", "250 gone\r\n"},     {"MKD", "257 made\r\n"},
        {"RMD", "250 gone\r\n"},   {"ABOR", "226 ended\r\n"},
    };
    const auto instead = m_hostility.instead.find(strWord);
    if (strWord == "CWD") {
        talk.strDirectory = WithoutSlashAtEnd(PathOf(talk.strDirectory, strArgument));
    }
    if (instead != m_hostility.instead.end()) return instead->second(talk, strArgument);
    if (strWord == "PASV") return talk.Announce();
    if (strWord == "LIST") return List(talk);
    if (strWord == "RETR") return Retrieve(talk, strArgument);
    if (strWord == "STOR") return Store(talk);
    if (strWord == "QUIT") {
        talk.Say("221 bye\r\n");
        talk.Close();
    }
    const auto usual = kUsual.find(strWord);
    talk.Say(usual != kUsual.end() ? usual->second : "500 what?\r\n");
}

void CHostileServer::List(CConversation& talk) {
    talk.Say("150 here\r\n");
    talk.SendData(m_hostility.listing ? m_hostility.listing(talk.strDirectory) : "");
    talk.CloseData();
    talk.Say("226 done\r\n");
}

void CHostileServer::Retrieve(CConversation& talk, const std::string& strName) {
    talk.Say("150 here\r\n");
    const std::string strPath = PathOf(talk.strDirectory, strName);
    talk.SendData(m_hostility.file ? m_hostility.file(strPath) : "content of " + strPath);
    talk.CloseData();
    talk.Say("226 done\r\n");
}

void CHostileServer::Store(CConversation& talk) {
    talk.Say("150 go ahead\r\n");
    std::string strBytes = talk.ReceiveData();
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_stored.push_back(std::move(strBytes));
    }
    talk.CloseData();
    talk.Say("226 done\r\n");
}

}  // namespace HostileTest
