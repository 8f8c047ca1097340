// The floor: the fewest system calls that do the work on the same server. Not a client for use: it
// takes every reply as good that begins with the expected digit.

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <utility>

#include "bench/harness/peer.h"

namespace {

constexpr std::size_t kBuffer = 256U * 1024U;  // of one read or write of a local file

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
    CBare(SServer server, const SManner& manner)
        : m_server(std::move(server)),
          m_nBlock(manner.nBlock == 0 ? kBuffer : std::min(manner.nBlock, kBuffer)),
          m_bSameRules(manner.bSameRules),
          m_buffer(kBuffer) {}

    void Login() override {
        m_control.Reset(Connected(m_server.usPort));
        Await('2');
        Command("USER " + m_server.strUser, '3');
        Command("PASS " + m_server.strPassword, '2');
        if (m_bSameRules) TakeRoot();
        Command("TYPE I", '2');
    }
    void Close() override {
        Command("QUIT", '2');
        m_control.Reset(-1);
    }

    std::size_t List(const std::string& strDir) override {
        Command("CWD " + strDir, '2');
        return m_bSameRules ? ListRecords() : ListLines();
    }

    void Get(const Batch& batch) override {
        for (const auto& [strRemote, strLocal] : batch) {
            CDescriptor data(Transfer("RETR", strRemote));
            const CDescriptor file(
                ::open(strLocal.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
            Receive(data.Get(), file.Get());
            data.Reset(-1);
            Finish();
        }
    }

    void Put(const Batch& batch) override {
        for (const auto& [strRemote, strLocal] : batch) {
            const CDescriptor file(::open(strLocal.c_str(), O_RDONLY | O_CLOEXEC));
            {
                const CDescriptor data(Transfer("STOR", strRemote));
                Send(data.Get(), file.Get());
            }
            Finish();
        }
    }

private:
    std::size_t ListLines() {
        CDescriptor data(Transfer("LIST"));
        std::size_t nLines = 0;
        ssize_t nReceived = 0;
        while ((nReceived = ::recv(data.Get(), m_buffer.data(), m_buffer.size(), 0)) > 0)
            nLines += static_cast<std::size_t>(
                std::count(m_buffer.data(), m_buffer.data() + nReceived, '\n'));
        data.Reset(-1);
        Finish();
        return nLines;
    }

    std::size_t ListRecords() {
        constexpr std::size_t kRuleBlock = 1024;
        CDescriptor data(Transfer("LIST"));
        std::string strText;
        ssize_t nReceived = 0;
        while ((nReceived = ::recv(data.Get(), m_buffer.data(), kRuleBlock, 0)) > 0)
            strText.append(m_buffer.data(), static_cast<std::size_t>(nReceived));
        data.Reset(-1);
        Finish();
        Command("OPTS UTF8 ON", '2');
        const std::string strConverted = strText;
        std::vector<std::unique_ptr<SRecord>> records;
        std::size_t nStart = 0;
        for (std::size_t nEnd = 0; (nEnd = strConverted.find('\n', nStart)) != std::string::npos;
             nStart = nEnd + 1) {
            records.push_back(Record(strConverted.data() + nStart, strConverted.data() + nEnd));
        }
        return records.size();
    }

    // What a listing is made into, and the least that makes it: nine columns with one or more
    // blanks between them, of which none is looked at.
    struct SRecord {
        std::string strName;
        std::string strTime;
        std::string strSize;
        unsigned char ucType = 0;
    };
    static std::unique_ptr<SRecord> Record(const char* pStart, const char* pEnd) {
        constexpr std::size_t kColumns = 9;
        std::array<const char*, kColumns + 1> columns{};
        for (std::size_t n = 0; n < kColumns; ++n) {
            columns[n] = pStart;
            pStart = std::find(pStart, pEnd, ' ');
            while (pStart != pEnd && *pStart == ' ')
                ++pStart;
        }
        columns[kColumns] = pEnd;
        auto record = std::make_unique<SRecord>();
        record->strName.assign(columns[8], columns[9]);
        record->strTime.assign("2026-11-21 18:00");
        record->strSize.assign(columns[4], columns[5] - 1);
        return record;
    }

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

    void Receive(int fdData, int fdFile) {
        std::size_t nHeld = 0;
        ssize_t nReceived = 0;
        while ((nReceived = ::recv(fdData, m_buffer.data() + nHeld, m_nBlock, 0)) > 0) {
            nHeld += static_cast<std::size_t>(nReceived);
            if (nHeld + m_nBlock <= kBuffer) continue;
            Write(fdFile, nHeld);
            nHeld = 0;
        }
        if (nHeld > 0) Write(fdFile, nHeld);
    }

    void Write(int fdFile, std::size_t nSize) {
        if (::write(fdFile, m_buffer.data(), nSize) != static_cast<ssize_t>(nSize))
            throw std::runtime_error("cannot write");
    }

    // sendfile() would be fewer system calls and takes longer, from memory to a loopback socket.
    void Send(int fdData, int fdFile) {
        ssize_t nRead = 0;
        while ((nRead = ::read(fdFile, m_buffer.data(), kBuffer)) > 0) {
            std::size_t nSize = 0;
            for (std::size_t n = 0; n < static_cast<std::size_t>(nRead); n += nSize) {
                nSize = std::min(m_nBlock, static_cast<std::size_t>(nRead) - n);
                if (::send(fdData, m_buffer.data() + n, nSize, MSG_NOSIGNAL) !=
                    static_cast<ssize_t>(nSize))
                    throw std::runtime_error("cannot send");
            }
        }
    }

    void TakeRoot() {
        Command("PWD", '2');
        const std::size_t nFirst = m_strReply.find('"');
        const std::size_t nLast = m_strReply.rfind('"');
        if (nFirst == nLast) throw std::runtime_error(m_strReply);
        m_strRoot = m_strReply.substr(nFirst + 1, nLast - nFirst - 1);
        if (m_strRoot == "/") m_strRoot.clear();
    }

    int Transfer(const std::string& strCommand, const std::string& strPath) {
        const std::size_t nSlash = strPath.rfind('/');
        if (!m_bSameRules || nSlash == std::string::npos)
            return Transfer(strCommand + " " + strPath);
        Command("CWD " + m_strRoot + "/" + strPath.substr(0, nSlash), '2');
        return Transfer(strCommand + " " + strPath.substr(nSlash + 1));
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

    // After the data socket was closed: a server that waits for the end of it would wait for an
    // acknowledgement that is otherwise delayed.
    void Finish() { Await('2'); }

    SServer m_server;
    std::size_t m_nBlock;
    bool m_bSameRules;
    std::vector<char> m_buffer;
    CDescriptor m_control;
    std::string m_strWaiting;
    std::string m_strReply;
    std::string m_strRoot;
};

}  // namespace

std::unique_ptr<CPeer> MakePeer(const SServer& server, const SManner& manner) {
    return std::make_unique<CBare>(server, manner);
}
