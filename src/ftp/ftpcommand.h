#ifndef QEL_FTP_FTPCOMMAND_H
#define QEL_FTP_FTPCOMMAND_H

#include <string>
#include <string_view>

#include "include/ftpclient.h"
#include "platform/cipher.h"
#include "src/ftp/ftpclientcom.h"

namespace RVN_FTP_CLIENT {

class CRetrievedFile;
class CStoredFile;
struct SCommandRule;

// The FTP commands of one session, each one operation: format the line, send it, read the reply,
// turn it into a result code of ftpresult.h. One thread at a time. A failure leaves the connection
// open. Where a reply's text is not what the command expects but its code says success, that is
// logged and is success all the same.
//
// Arguments that hold CR, LF or NUL are never sent (they would smuggle in a second command): such a
// command counts as not formatted, FTP_SEND_FAILED.
class CFtpComand : public CFtpClientCom {
public:
    // Time limits as setParam of the facade would set them with 5, 2, 2.
    CFtpComand() = default;

    // ---- Replies (ftpreply.cpp) ----

    // Reads one reply. Returns 0 for a code of 1xx, 2xx or 3xx, else the result code of
    // ClassifyReply; FTP_NO_REPLY when nothing usable came or the reply passed its bounds.
    // reply: every finished line group is appended; pass it empty.
    // tries: receives after a first one that brought nothing; 0 gives up at once, as if 421 had
    // been read.
    unsigned int GetRetCode(std::string& reply, int tries);
    unsigned int GetRetCode(int tries);
    unsigned int GetRetCode();  // tries: m_nRetryTimes

    // ---- Session (ftplogin.cpp) ----

    // Opens the control connection, with retries, and reads the greeting. A server that connects
    // but never greets is accepted.
    unsigned int Ftp_connect();
    unsigned int Ftp_user();
    unsigned int Ftp_pass();
    // path: the directory between the first two double quotes of the reply; unchanged without them.
    unsigned int FTP_pwd(std::string& path);  // the capitals are part of its name
    unsigned int Ftp_quit();

    // ---- Single commands (ftpcommand.cpp) ----

    unsigned int Ftp_syst();
    unsigned int Ftp_type(int nAscii);  // 0: image; else ASCII
    unsigned int Ftp_cwd(const std::string& strDir);
    unsigned int Ftp_mkd(const std::string& strDir);
    unsigned int Ftp_rmd(const std::string& strDir);
    unsigned int Ftp_dele(const std::string& strFile);
    unsigned int Ftp_optsUtf8();

    // ---- Transfer commands (ftpcommand.cpp) ----

    // completeSeen: the reply already contains the closing 226 line.
    unsigned int Ftp_list(bool& completeSeen);
    // pClosingSeen (may be null): see HoldsClosingReply.
    unsigned int Ftp_retr(const std::string& strFile, bool* pClosingSeen = nullptr);
    unsigned int Ftp_stor(const std::string& strFile, bool* pClosingSeen = nullptr);
    // Closes the data socket between sending and reading.
    unsigned int Ftp_abor();

    // ---- Data port and data link (dataport.cpp, datalink.cpp) ----

    // port: where the server awaits the data connection; unchanged on failure, and when the reply
    // holds no port.
    unsigned int Ftp_pasv(unsigned short& port);
    unsigned int GetPasvPort(const std::string& reply, unsigned short& port);
    // address: the first number of the dotted form is the most significant byte.
    unsigned int Ftp_port(unsigned int address, unsigned short port);
    // Opens the data connection of the next transfer command, waiting 5 seconds at most.
    unsigned int CreatePasvDataLink();

    // ---- Transfers (ftplisting.cpp, ftptransfer.cpp) ----
    //
    // Without m_Options.bVerify a data connection that breaks or falls silent ends the file or
    // listing as its end does, and the closing reply changes nothing.

    // listing: replaced by the raw listing in the local encoding; unchanged on failure.
    unsigned int Ftp_ListFile(const std::string& remoteDir, std::string& listing);
    // Argument order differs on purpose: source first, target second, each time.
    // firstBlockOnly: ABOR once 1024 bytes are there.
    unsigned int Ftp_GetFile(const std::string& remotePath, const std::string& localPath,
                             bool firstBlockOnly);
    unsigned int Ftp_PutFile(const std::string& localPath, const std::string& remotePath);

    std::string m_strServer;           // as given to the session; the transport keeps its own copy
    unsigned short m_nServerPort = 0;  //
    std::string m_strUser;
    TQ_UTIL::CcipheString m_Password;    // plain only inside Ftp_pass
    unsigned short m_nConnTimeout = 5;   // seconds: first connect attempt, first receive of a reply
    unsigned short m_nRetryTimes = 2;    // further attempts of both
    unsigned short m_nRetryTimeout = 2;  // seconds of each of these
    FtpTransferOptions m_Options;        // uBlockSize is in its range

private:
    // The common procedure of a command in its two halves. strGiven: the argument as the caller
    // gave it, for logs; strSent: the zero-terminated text that goes into the line.
    unsigned int Send(const SCommandRule& rule, std::string_view strGiven,
                      std::string_view strSent);
    unsigned int Answer(const SCommandRule& rule, std::string& strReply);

    unsigned int Execute(const SCommandRule& rule, std::string_view strGiven = {},
                         std::string_view strSent = "");
    unsigned int ExecuteTransfer(const SCommandRule& rule, const std::string& strFile,
                                 bool* pClosingSeen);

    // The files of one transfer (ftptransfer.cpp). 0 whatever happens to the connection or the
    // file, unless the options want to know.
    unsigned int ReceiveFile(CRetrievedFile& file, bool bFirstBlockOnly);
    unsigned int SendFile(CStoredFile& file);
    bool TellProgress(unsigned long long ullMoved) const;

    // What comes after the last byte (transferend.cpp).
    //
    // Closes the data connection and reads the closing reply, unless it was seen already. Returns
    // what it says, 0 for a finished transfer.
    unsigned int FinishTransfer(bool bClosingSeen);
    // After a refusal: no data and no closing reply will come.
    unsigned int EndRefused(unsigned int uRefusal, bool bClosingSeen);
    unsigned int ReadClosingReply();
};

}  // namespace RVN_FTP_CLIENT

#endif
