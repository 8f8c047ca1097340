// The floor: the fewest system calls that do the work on the same server. Not a client for use: it
// takes every reply as good that begins with the expected digit.

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>
#include <utility>

#include "bench/harness/peer.h"

namespace {

constexpr std::size_t kBlock = 256U * 1024U;

class CDescriptor {
public:
    explicit CDescriptor(int fd = -1) : m_fd(fd) {}
    ~CDescriptor() { Reset(-1); }
    CDescriptor(const CDescriptor&) = delete;
    CDescriptor& operator=(const CDescriptor&) = delete;
    void Reset(int fd) {
        if (m_fd != -1) ::close(m_fd);
        m_fd = fd;
    }
    int Get() const { return m_fd; }
    int Release() { return std::exchange(m_fd, -1); }

private:
    int m_fd;
};

class CBare : public CPeer {
public:
    CBare(SServer server, std::size_t nBlock)
        : m_server(std::move(server)), m_buffer(nBlock == 0 ? kBlock : nBlock) {}

    void Login() override {
        m_control.Reset(Connected(m_server.usPort));
        Await('2');
        Command("USER " + m_server.strUser, '3');
        Command("PASS " + m_server.strPassword, '2');
        Command("TYPE I", '2');
    }
    void Close() override {
        Command("QUIT", '2');
        m_control.Reset(-1);
    }

    std::size_t List(const std::string& strDir) override {
        Command("CWD " + strDir, '2');
        const CDescriptor data(Transfer("LIST"));
        std::size_t nLines = 0;
        ssize_t nReceived = 0;
        while ((nReceived = ::recv(data.Get(), m_buffer.data(), m_buffer.size(), 0)) > 0)
            nLines += static_cast<std::size_t>(
                std::count(m_buffer.data(), m_buffer.data() + nReceived, '\n'));
        Finish();
        return nLines;
    }

    void Get(const Batch& batch) override {
        for (const auto& [strRemote, strLocal] : batch) {
            const CDescriptor data(Transfer("RETR " + strRemote));
            const CDescriptor file(
                ::open(strLocal.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
            ssize_t nReceived = 0;
            while ((nReceived = ::recv(data.Get(), m_buffer.data(), m_buffer.size(), 0)) > 0) {
                if (::write(file.Get(), m_buffer.data(), static_cast<std::size_t>(nReceived)) !=
                    nReceived) {
                    throw std::runtime_error("cannot write " + strLocal);
                }
            }
            Finish();
        }
    }

    void Put(const Batch& batch) override {
        for (const auto& [strRemote, strLocal] : batch) {
            const CDescriptor file(::open(strLocal.c_str(), O_RDONLY | O_CLOEXEC));
            {
                const CDescriptor data(Transfer("STOR " + strRemote));
                while (::sendfile(data.Get(), file.Get(), nullptr, 1U << 30U) > 0) {
                }
            }
            Finish();
        }
    }

private:
    int Connected(unsigned short usPort) const {
        const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(usPort);
        ::inet_pton(AF_INET, m_server.strAddress.c_str(), &address.sin_addr);
        if (::connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
            ::close(fd);
            throw std::runtime_error("cannot connect");
        }
        return fd;
    }

    void Command(const std::string& strLine, char cExpected) {
        const std::string strSent = strLine + "\r\n";
        if (::send(m_control.Get(), strSent.data(), strSent.size(), MSG_NOSIGNAL) < 0) {
            throw std::runtime_error("cannot send " + strLine);
        }
        Await(cExpected);
    }

    // Takes the next reply line off m_strWaiting, receiving more when there is none.
    void Await(char cExpected) {
        std::size_t nEnd = 0;
        while ((nEnd = m_strWaiting.find('\n')) == std::string::npos) {
            char piece[1024];
            const ssize_t nReceived = ::recv(m_control.Get(), piece, sizeof piece, 0);
            if (nReceived <= 0) throw std::runtime_error("no reply");
            m_strWaiting.append(piece, static_cast<std::size_t>(nReceived));
        }
        m_strReply = m_strWaiting.substr(0, nEnd);
        m_strWaiting.erase(0, nEnd + 1);
        if (m_strReply.empty() || m_strReply.front() != cExpected) {
            throw std::runtime_error(m_strReply);
        }
    }

    int Transfer(const std::string& strLine) {
        Command("PASV", '2');
        unsigned int uHigh = 0;
        unsigned int uLow = 0;
        const std::size_t nOpen = m_strReply.find('(');
        if (nOpen == std::string::npos ||
            std::sscanf(m_strReply.c_str() + nOpen, "(%*u,%*u,%*u,%*u,%u,%u", &uHigh, &uLow) != 2) {
            throw std::runtime_error(m_strReply);
        }
        CDescriptor data(Connected(static_cast<unsigned short>(uHigh * 256 + uLow)));
        Command(strLine, '1');
        return data.Release();
    }

    void Finish() { Await('2'); }

    SServer m_server;
    std::vector<char> m_buffer;
    CDescriptor m_control;
    std::string m_strWaiting;
    std::string m_strReply;
};

}  // namespace

std::unique_ptr<CPeer> MakePeer(const SServer& server, std::size_t nBlock) {
    return std::make_unique<CBare>(server, nBlock);
}
