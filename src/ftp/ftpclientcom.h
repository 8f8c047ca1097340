#ifndef QEL_FTP_FTPCLIENTCOM_H
#define QEL_FTP_FTPCLIENTCOM_H

#include <ace/SOCK_Acceptor.h>
#include <ace/SOCK_Connector.h>
#include <ace/SOCK_Stream.h>

#include <string>

namespace RVN_FTP_CLIENT {

// What Connect needs to know.
struct FtpSockParam {
    std::string strHost;     // server name or dotted address
    unsigned int nPort = 0;  // control port, 16 bits used
    int bPasv = 1;           // data connections: 1 passive, 0 active
};

// The sockets of one session: the control connection, and the data connection of the transfer under
// way. Moves bytes and knows nothing of commands and replies.
//
// Time-outs are whole seconds; 0 only looks and never waits. One thread at a time. Destruction
// closes nothing. The command layer reaches the members directly.
class CFtpClientCom {
public:
    // From the first object on the process ignores SIGPIPE: a write to a connection that the server
    // has closed returns an error instead of ending the process.
    CFtpClientCom();

    // Opens the control connection. Returns 0, or a negative value after logging why; a refused
    // connection is answered only after a pause of nTimeout seconds, so that a server that is just
    // starting is up for the next attempt.
    int Connect(const FtpSockParam& param, int nTimeout);

    // Sends all nLength bytes on the control connection, waiting as long as it takes. Returns
    // nLength; a length below 1 unchanged and unsent; else the failed send's result, 0 or negative.
    int SendCtrl(const char* pData, int nLength);

    // One receive of at most nCapacity bytes. Returns the count, 0 when the server has closed,
    // negative on error or time-out. Adds no terminator.
    int RecvCtrl(char* pBuffer, int nCapacity, int nTimeout);

    // Whether the server has said something that was not received yet. Its closing of the
    // connection is nothing said.
    bool IsCtrlInputWaiting() const;

    // The same on the data connection. With nSilence it is an error, too, when the server takes
    // nothing for so many seconds.
    int SendData(const char* pData, int nLength);
    int SendData(const char* pData, int nLength, int nSilence);
    int RecvData(char* pBuffer, int nCapacity, int nTimeout);

    // Opens the data connection. Passive: connects to the control connection's host at usPort.
    // Active: listens, stores where in uIpOut and usPort, and accepts. Returns 0 or a negative
    // value; 0 too when listening failed, with the outputs as they were.
    int OpenDataLink(unsigned int& uIpOut, unsigned short& usPort, unsigned int uTimeout);

    // Listens on an ephemeral port of the control connection's own interface. usPortOut and uIpOut
    // are in host byte order. Returns 0 or -1. uIpOut is set even on failure.
    int ListenData(unsigned short& usPortOut, unsigned int& uIpOut);

    // Waits for the server's data connection. Its address is not checked. Returns 0 or -1.
    int AcceptData(int nTimeout);

    // Closes the data socket and, in active mode, the listening one, whose result then counts.
    int CloseDataSock();
    int CloseCtrlSock();

    // Closes everything. Returns 0, or FTP_CLOSE_FAILED when any socket could not be closed.
    unsigned int CloseAll();

    ACE_SOCK_Connector m_CtrlConnector;
    ACE_SOCK_Stream m_CtrlSock;
    ACE_SOCK_Stream m_DataSock;
    ACE_SOCK_Acceptor m_ListenSock;
    ACE_SOCK_Connector m_DataConnector;
    std::string m_strHost;
    unsigned int m_nPort = 0;
    int m_bPasv = 1;
};

}  // namespace RVN_FTP_CLIENT

#endif
