#include "src/ftp/ftpclientcom.h"

#include <ace/ACE.h>
#include <ace/Countdown_Time.h>
#include <ace/INET_Addr.h>
#include <ace/OS_NS_string.h>
#include <ace/OS_NS_sys_socket.h>
#include <ace/Signal.h>
#include <ace/Time_Value.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <sstream>

#include "include/ftpresult.h"
#include "src/support/log.h"

namespace RVN_FTP_CLIENT {
namespace {

constexpr const char* kFile = "ftpclientcom";
constexpr int kLineConnectError = 51;
constexpr int kLineConnectSleep = 53;
constexpr int kLineDataClose = 221;
constexpr int kLineListenClose = 230;

// What Windows Sockets calls "already connected". No Linux errno has this number; the rule that it
// counts as connected is kept for the code this class shares with other hosts.
constexpr int kWinsockIsConnected = 10056;

constexpr int kListenBacklog = 5;

void SleepSeconds(int nSeconds) {
    timespec left{nSeconds, 0};
    while (::nanosleep(&left, &left) == -1 && errno == EINTR) {
    }
}

// Waits for a connection that was begun. A signal that the host handles takes nothing from it:
// ACE's own wait would give the attempt up, and another one is not the same to a server, which
// takes one data connection only.
int AwaitConnection(ACE_SOCK_Stream& stream, int nTimeout) {
    ACE_Time_Value left(nTimeout, 0);
    ACE_Countdown_Time countdown(&left);
    while (ACE::handle_timed_complete(stream.get_handle(), &left) == ACE_INVALID_HANDLE) {
        if (errno != EINTR) return -1;
        countdown.update();
    }
    return 0;
}

// ACE connects on whatever handle the stream still has, and leaves that handle open after some
// failed attempts; here every attempt begins with a socket of its own and a failed one leaves none.
//
// Connected, it is non-blocking, which spares receiving system calls, and close-on-exec: it must
// not leak into programs that the host starts.
int ConnectStream(ACE_SOCK_Connector& connector, ACE_SOCK_Stream& stream, const std::string& host,
                  unsigned short usPort, int nTimeout) {
    stream.close();
    ACE_INET_Addr server;
    if (server.set(usPort, host.c_str(), 1, AF_UNSPEC) == -1) return -1;
    int nResult = 0;
    do {
        nResult =
            connector.connect(stream, server, &ACE_Time_Value::zero, ACE_Addr::sap_any, 0, 0, 0, 0);
    } while (nResult < 0 && errno == EINTR);
    const bool bAtOnce = nResult >= 0;
    if (!bAtOnce && errno == EWOULDBLOCK && nTimeout > 0) {
        nResult = AwaitConnection(stream, nTimeout);
    }
    if (nResult < 0) {
        const int nErrno = errno;
        stream.close();
        errno = nErrno;
        return nResult;
    }
    if (bAtOnce) stream.enable(ACE_NONBLOCK);  // ACE ends it then, and only then
    stream.enable(ACE_CLOEXEC);
    return nResult;
}

// Waits until the peer takes more, or for pSilence, which signals do not prolong.
bool AwaitRoom(ACE_HANDLE handle, const ACE_Time_Value* pSilence) {
    ACE_Time_Value left = pSilence != nullptr ? *pSilence : ACE_Time_Value::zero;
    ACE_Countdown_Time countdown(&left);
    while (ACE::handle_write_ready(handle, pSilence != nullptr ? &left : nullptr) == -1) {
        if (errno != EINTR) return false;
        countdown.update();
    }
    return true;
}

// A signal that the host handles must not cost a block: both directions go on after EINTR.
// pSilence: how long the peer may take nothing; null: for ever.
int SendAll(const ACE_SOCK_Stream& stream, const char* pData, int nLength,
            const ACE_Time_Value* pSilence) {
    const ACE_HANDLE handle = stream.get_handle();
    int nSent = 0;
    while (nSent < nLength) {
        const ssize_t nResult =
            ACE_OS::send(handle, pData + nSent, static_cast<std::size_t>(nLength - nSent));
        if (nResult > 0) {
            nSent += static_cast<int>(nResult);
            continue;
        }
        if (nResult == 0) return 0;
        if (errno == EINTR) continue;
        if (errno != EWOULDBLOCK && errno != ENOBUFS) return -1;
        if (!AwaitRoom(handle, pSilence)) return -1;
    }
    return nLength;
}

int ReceiveOnce(const ACE_SOCK_Stream& stream, char* pBuffer, int nCapacity, int nTimeout) {
    // poll() takes no notice of a closed handle, it would wait the time-out for nothing.
    if (stream.get_handle() == ACE_INVALID_HANDLE) {
        errno = ENOTCONN;
        return -1;
    }
    ACE_Time_Value left(nTimeout, 0);
    ACE_Countdown_Time countdown(&left);
    // What ACE::recv does with a time-out, but for its look at the socket's mode, which is known.
    while (true) {
        int nResult = ACE::handle_read_ready(stream.get_handle(), &left);
        if (nResult != -1) {
            nResult = static_cast<int>(
                ACE_OS::recv(stream.get_handle(), pBuffer, static_cast<std::size_t>(nCapacity)));
        }
        if (nResult != -1 || errno != EINTR) return nResult;
        countdown.update();
    }
}

// The same for a stream of blocks: asks for the bytes first and waits only when there are none,
// which is one system call a block while they keep coming.
int ReceiveBlock(const ACE_SOCK_Stream& stream, char* pBuffer, int nCapacity, int nTimeout) {
    const ssize_t nReceived = ACE_OS::recv(stream.get_handle(), pBuffer,
                                           static_cast<std::size_t>(nCapacity), MSG_DONTWAIT);
    if (nReceived >= 0) return static_cast<int>(nReceived);
    if (errno != EWOULDBLOCK && errno != EINTR) return -1;
    return ReceiveOnce(stream, pBuffer, nCapacity, nTimeout);
}

}  // namespace

CFtpClientCom::CFtpClientCom() {
    ACE_Sig_Action ignore(static_cast<ACE_SignalHandler>(SIG_IGN), static_cast<sigset_t*>(nullptr),
                          0);
    ignore.register_action(SIGPIPE);
}

int CFtpClientCom::Connect(const FtpSockParam& param, int nTimeout) {
    m_bPasv = param.bPasv;
    m_strHost = param.strHost;
    m_nPort = param.nPort;

    const int nResult = ConnectStream(m_CtrlConnector, m_CtrlSock, m_strHost,
                                      static_cast<unsigned short>(m_nPort), nTimeout);
    if (nResult >= 0) return nResult;

    const int nErrno = errno;
    const char* pszText = ACE_OS::strerror(nErrno);
    std::ostringstream message;
    message << "CFtpClientCom::Connect error :" << (pszText != nullptr ? pszText : "")
            << ",ErrorCode:" << nErrno << '\n';
    LogError(FTP_CONNECT_FAILED, message.str(), LocationInfo(kFile, "Connect", kLineConnectError));

    if (nErrno == ECONNREFUSED) {
        LogError(static_cast<unsigned int>(nErrno), "CFtpClientCom::Connect error :sleep ",
                 LocationInfo(kFile, "Connect", kLineConnectSleep));
        SleepSeconds(nTimeout);
        return nResult;
    }
    return nErrno == kWinsockIsConnected ? 0 : nResult;
}

int CFtpClientCom::SendCtrl(const char* pData, int nLength) {
    return SendAll(m_CtrlSock, pData, nLength, nullptr);
}

int CFtpClientCom::SendData(const char* pData, int nLength) {
    return SendAll(m_DataSock, pData, nLength, nullptr);
}

int CFtpClientCom::SendData(const char* pData, int nLength, int nSilence) {
    const ACE_Time_Value silence(nSilence, 0);
    return SendAll(m_DataSock, pData, nLength, &silence);
}

int CFtpClientCom::RecvCtrl(char* pBuffer, int nCapacity, int nTimeout) {
    return ReceiveOnce(m_CtrlSock, pBuffer, nCapacity, nTimeout);
}

bool CFtpClientCom::IsCtrlInputWaiting() const {
    char cFirst = 0;
    return ACE_OS::recv(m_CtrlSock.get_handle(), &cFirst, 1, MSG_PEEK | MSG_DONTWAIT) > 0;
}

int CFtpClientCom::RecvData(char* pBuffer, int nCapacity, int nTimeout) {
    return ReceiveBlock(m_DataSock, pBuffer, nCapacity, nTimeout);
}

int CFtpClientCom::OpenDataLink(unsigned int& uIpOut, unsigned short& usPort,
                                unsigned int uTimeout) {
    const int nTimeout = static_cast<int>(uTimeout);
    if (m_bPasv != 0) {
        return ConnectStream(m_DataConnector, m_DataSock, m_strHost, usPort, nTimeout);
    }
    unsigned short usListening = 0;
    unsigned int uLocalIp = 0;
    if (ListenData(usListening, uLocalIp) != 0) return 0;  // the transfer command will tell
    usPort = usListening;
    uIpOut = uLocalIp;
    return AcceptData(nTimeout);
}

int CFtpClientCom::ListenData(unsigned short& usPortOut, unsigned int& uIpOut) {
    m_ListenSock.close();
    ACE_INET_Addr local;
    m_CtrlSock.get_local_addr(local);
    uIpOut = local.get_ip_address();

    const ACE_INET_Addr anyPort(static_cast<unsigned short>(0), uIpOut);
    if (m_ListenSock.open(anyPort, 0, AF_INET, kListenBacklog, 0) == -1) return -1;
    m_ListenSock.enable(ACE_CLOEXEC);

    ACE_INET_Addr listening;
    m_ListenSock.get_local_addr(listening);
    usPortOut = listening.get_port_number();
    return 0;
}

int CFtpClientCom::AcceptData(int nTimeout) {
    ACE_INET_Addr peer;
    ACE_Time_Value timeout(nTimeout, 0);
    m_DataSock.close();
    if (m_ListenSock.accept(m_DataSock, &peer, &timeout, true, false) == -1) return -1;
    m_DataSock.enable(ACE_NONBLOCK);
    m_DataSock.enable(ACE_CLOEXEC);
    return 0;
}

int CFtpClientCom::CloseDataSock() {
    const int nData = m_DataSock.close();
    if (nData != 0) {
        LogError(static_cast<unsigned int>(nData), "CloseDataSock m_DataSock close failure!",
                 LocationInfo(kFile, "CloseDataSock", kLineDataClose));
    }
    if (m_bPasv != 0) return nData;

    // In active mode the caller learns of the listening socket only.
    const int nListen = m_ListenSock.close();
    if (nListen != 0) {
        LogError(static_cast<unsigned int>(nListen), "CloseDataSock m_ListenSock close failure!",
                 LocationInfo(kFile, "CloseDataSock", kLineListenClose));
    }
    return nListen;
}

int CFtpClientCom::CloseCtrlSock() {
    return m_CtrlSock.close();
}

unsigned int CFtpClientCom::CloseAll() {
    const int nData = CloseDataSock();
    const int nCtrl = CloseCtrlSock();
    return nData != 0 || nCtrl != 0 ? FTP_CLOSE_FAILED : FTP_OK;
}

}  // namespace RVN_FTP_CLIENT
