#include "tests/load/resetrelay.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <list>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace LoadTest {
namespace {

using TestSupport::CHandle;

constexpr std::size_t kMostHeld = 256U * 1024U;  // bytes taken from one end and not yet given away

CHandle NewListener() {
    CHandle listener = TestSupport::BindLoopback();
    ::fcntl(listener.Get(), F_SETFL, O_NONBLOCK);
    TestSupport::StartListening(listener.Get(), 128);
    return listener;
}

// One direction of a connection.
struct SFlow {
    std::string strHeld;
    bool bEnded = false;  // nothing comes any more
    bool bTold = false;   // and the other end knows
};

}  // namespace

// The relay's process.
class CRelayLoop {
public:
    CRelayLoop(EProtocol eProtocol, CHandle listener, CHandle orders)
        : m_eProtocol(eProtocol), m_orders(std::move(orders)) {
        m_doors.push_back({std::move(listener), 0, nullptr});
    }

    void Run() {
        while (true) {
            std::vector<pollfd> wanted{{m_orders.Get(), POLLIN, 0}};
            for (const SDoor& door : m_doors)
                wanted.push_back({door.listener.Get(), POLLIN, 0});
            for (const SLine& line : m_lines) {
                wanted.push_back({line.client.Get(), Events(line.up, line.down), 0});
                wanted.push_back({line.server.Get(), Events(line.down, line.up), 0});
            }
            if (::poll(wanted.data(), wanted.size(), -1) == -1 && errno != EINTR) return;
            Serve(wanted);
            if (wanted[0].revents != 0 && !TakeOrder()) return;
        }
    }

private:
    struct SLine {
        CHandle client;
        CHandle server;
        SFlow up;    // from the client
        SFlow down;  // to the client
        bool bControl;
    };

    // Where a client may come in; a data connection's belongs to a control connection.
    struct SDoor {
        CHandle listener;
        unsigned short usServerPort;
        const SLine* pOwner;
    };

    static short Events(const SFlow& from, const SFlow& to) {
        const bool bMayRead = !from.bEnded && from.strHeld.size() < kMostHeld;
        return static_cast<short>((bMayRead ? POLLIN : 0) | (to.strHeld.empty() ? 0 : POLLOUT));
    }

    // In the order in which Run() asked for them.
    void Serve(const std::vector<pollfd>& ready) {
        std::size_t n = 1 + m_doors.size();
        const std::size_t nDoors = m_doors.size();
        for (auto line = m_lines.begin(); line != m_lines.end(); n += 2) {
            const auto current = line++;
            if (!Relay(*current, ready[n].revents, ready[n + 1].revents)) End(current);
        }
        auto door = m_doors.begin();
        for (n = 1; n <= nDoors; ++n) {
            const auto current = door++;
            const bool bGone = current->pOwner == nullptr && current != m_doors.begin();
            if (bGone || (ready[n].revents != 0 && LetIn(*current) && current != m_doors.begin()))
                m_doors.erase(current);
        }
    }

    // True when the door has done its work.
    bool LetIn(const SDoor& door) {
        CHandle client(::accept4(door.listener.Get(), nullptr, nullptr, SOCK_NONBLOCK));
        if (!client.IsOpen()) return false;
        const bool bControl = &door == &m_doors.front();
        CHandle server = TestSupport::ConnectLoopback(bControl ? m_usServer : door.usServerPort);
        if (server.IsOpen()) {
            m_lines.push_back({std::move(client), std::move(server), {}, {}, bControl});
        } else {
            client.Reset();
        }
        return true;
    }

    // False when the connection is over.
    bool Relay(SLine& line, short nClient, short nServer) {
        const bool bWell = Receive(line.client, line.up, nClient) && Send(line.server, line.up) &&
                           Receive(line.server, line.down, nServer);
        if (bWell && m_eProtocol == EProtocol::Ftp && line.bControl) OpenDoor(line);
        if (!bWell || !Send(line.client, line.down)) {
            line.client.Reset();
            line.server.Reset();
            return false;
        }
        return !line.up.bTold || !line.down.bTold;
    }

    static bool Receive(const CHandle& from, SFlow& flow, short nEvents) {
        if ((nEvents & POLLERR) != 0) return false;
        if (flow.bEnded || (nEvents & (POLLIN | POLLHUP)) == 0) return true;
        std::array<char, 65536> block;
        const ssize_t nReceived = ::recv(from.Get(), block.data(), block.size(), 0);
        if (nReceived < 0) return errno == EAGAIN || errno == EINTR;
        flow.strHeld.append(block.data(), static_cast<std::size_t>(nReceived));
        flow.bEnded = nReceived == 0;
        return true;
    }

    static bool Send(const CHandle& to, SFlow& flow) {
        while (!flow.strHeld.empty()) {
            const ssize_t nSent =
                ::send(to.Get(), flow.strHeld.data(), flow.strHeld.size(), MSG_NOSIGNAL);
            if (nSent < 0) return errno == EAGAIN || errno == EINTR;
            flow.strHeld.erase(0, static_cast<std::size_t>(nSent));
        }
        if (flow.bEnded && !flow.bTold) {
            ::shutdown(to.Get(), SHUT_WR);
            flow.bTold = true;
        }
        return true;
    }

    // "227 Entering Passive Mode (127,0,0,1,200,13)."
    void OpenDoor(SLine& line) {
        std::string& strReply = line.down.strHeld;
        const std::size_t nReply = strReply.find("227 ");
        const std::size_t nAddress = strReply.find('(', nReply);
        if (nReply == std::string::npos || nAddress == std::string::npos) return;
        unsigned int uHigh = 0;
        unsigned int uLow = 0;
        if (std::sscanf(strReply.c_str() + nAddress, "(127,0,0,1,%u,%u)", &uHigh, &uLow) != 2)
            return;
        CHandle listener = NewListener();
        const unsigned short usOwn = TestSupport::PortOf(listener.Get());
        const std::size_t nEnd = strReply.find(')', nAddress);
        strReply.replace(
            nAddress, nEnd - nAddress,
            "(127,0,0,1," + std::to_string(usOwn / 256) + "," + std::to_string(usOwn % 256));
        m_doors.push_back(
            {std::move(listener), static_cast<unsigned short>(uHigh * 256 + uLow), &line});
    }

    void End(std::list<SLine>::iterator line) {
        for (SDoor& door : m_doors) {
            if (door.pOwner == &*line) door.pOwner = nullptr;
        }
        m_lines.erase(line);
    }

    bool TakeOrder() {
        CResetRelay::SOrder order{};
        if (::read(m_orders.Get(), &order, sizeof order) != sizeof order) return false;
        char cDone = 1;
        if (order.uReset == 0) {
            m_usServer = static_cast<unsigned short>(order.uValue);
        } else if (m_lines.empty()) {
            cDone = 0;
        } else {
            const auto line = std::next(m_lines.begin(), order.uValue % m_lines.size());
            line->client.Reset();
            line->server.Reset();
            End(line);
        }
        return ::write(m_orders.Get(), &cDone, 1) == 1;
    }

    EProtocol m_eProtocol;
    CHandle m_orders;
    unsigned short m_usServer = 0;
    std::list<SDoor> m_doors;  // the first is the server's own
    std::list<SLine> m_lines;
};

CResetRelay::CResetRelay(EProtocol eProtocol) {
    int pair[2] = {-1, -1};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair) != 0)
        throw std::runtime_error("socketpair failed");
    m_orders = CHandle(pair[0]);
    CHandle theirs(pair[1]);
    CHandle listener = NewListener();
    m_usPort = TestSupport::PortOf(listener.Get());
    m_nProcess = ::fork();
    if (m_nProcess == -1) throw std::runtime_error("cannot fork");
    if (m_nProcess != 0) return;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    m_orders.Close();
    CRelayLoop(eProtocol, std::move(listener), std::move(theirs)).Run();
    ::_exit(0);
}

CResetRelay::~CResetRelay() {
    ::kill(m_nProcess, SIGKILL);
    while (::waitpid(m_nProcess, nullptr, 0) == -1 && errno == EINTR) {
    }
}

void CResetRelay::LeadTo(unsigned short usPort) {
    Order({0, usPort});
}

bool CResetRelay::ResetOne(std::uint32_t uChoice) {
    return Order({1, uChoice});
}

bool CResetRelay::Order(const SOrder& order) {
    char cDone = 0;
    if (::write(m_orders.Get(), &order, sizeof order) != sizeof order ||
        ::read(m_orders.Get(), &cDone, 1) != 1) {
        throw std::runtime_error("the relay has gone");
    }
    return cDone != 0;
}

}  // namespace LoadTest
