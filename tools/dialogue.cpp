#include "tools/dialogue.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <strings.h>
#include <sys/socket.h>

#include <cstdio>
#include <utility>

#include "tools/visible.h"

namespace qelftp {
namespace {

constexpr std::size_t kSecretPrefix = 5;
constexpr const char* kSecretCommand = "PASS ";  // RFC 959, section 4.1.1

thread_local CDialogueWatch* t_pWatch = nullptr;

// 0 when there is no peer, or none of IPv4.
unsigned short PeerPort(int nSocket) {
    sockaddr_in peer{};
    socklen_t nSize = sizeof peer;
    if (::getpeername(nSocket, reinterpret_cast<sockaddr*>(&peer), &nSize) != 0) return 0;
    return peer.sin_family == AF_INET ? ntohs(peer.sin_port) : 0;
}

}  // namespace

void CDialogueWatch::CLines::Feed(const char* pBytes, std::size_t nSize) {
    for (const char* p = pBytes; p != pBytes + nSize; ++p) {
        if (*p == '\n') {
            ShowLine();
            continue;
        }
        if (m_bSecret) continue;
        m_strLine += *p;
        m_bSecret = m_eDirection == EDirection::Sent && m_strLine.size() == kSecretPrefix &&
                    ::strcasecmp(m_strLine.c_str(), kSecretCommand) == 0;
        if (m_strLine.size() == kMaxLine) ShowLine();
    }
}

void CDialogueWatch::CLines::ShowRest() {
    if (!m_strLine.empty()) ShowLine();
}

void CDialogueWatch::CLines::ShowLine() {
    if (m_bSecret) m_strLine += "***";
    if (!m_strLine.empty() && m_strLine.back() == '\r') m_strLine.pop_back();
    m_showLine(m_eDirection, m_strLine);
    m_strLine.clear();
    m_bSecret = false;
}

CDialogueWatch::CDialogueWatch(unsigned short usPort, FDialogueLine showLine, FDataBlock showData)
    : m_usPort(usPort),
      m_showLine(std::move(showLine)),
      m_showData(std::move(showData)),
      m_sent(EDirection::Sent, m_showLine),
      m_received(EDirection::Received, m_showLine) {
    t_pWatch = this;
}

CDialogueWatch::~CDialogueWatch() {
    t_pWatch = nullptr;
    m_sent.ShowRest();
    m_received.ShowRest();
}

CDialogueWatch* CDialogueWatch::OfThisThread() {
    return t_pWatch;
}

void CDialogueWatch::NoteTraffic(int nSocket, EDirection eDirection, const char* pBytes,
                                 std::size_t nSize) {
    const unsigned short usPort = PeerPort(nSocket);
    if (usPort != m_usPort) {
        if (usPort != 0 && nSize != 0 && m_showData) m_showData(eDirection, pBytes, nSize);
        return;
    }
    CLines& lines = eDirection == EDirection::Sent ? m_sent : m_received;
    if (nSize == 0) {
        lines.ShowRest();
    } else {
        lines.Feed(pBytes, nSize);
    }
}

void ShowDialogueLine(EDirection eDirection, const std::string& strLine) {
    (void)std::fprintf(stderr, "%c %s\n", eDirection == EDirection::Sent ? '>' : '<',
                       VisibleText(strLine).c_str());
}

}  // namespace qelftp
