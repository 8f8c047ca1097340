#ifndef QEL_FTPRESULT_H
#define QEL_FTPRESULT_H

namespace RVN_FTP_CLIENT {

// Results of the FTP client's operations. The numbers never change.
enum FtpResult : unsigned int {
    FTP_OK = 0,

    FTP_CONNECT_FAILED = 0x3bb00001,       // control or data connection not made
    FTP_SEND_FAILED = 0x3bb00002,          // command not formatted or not sent
    FTP_NO_REPLY = 0x3bb00003,             // nothing usable came back
    FTP_LOCAL_OPEN_FAILED = 0x3bb00005,    // source file of a store
    FTP_LOCAL_CREATE_FAILED = 0x3bb00006,  // target file of a retrieve
    FTP_LOGIN_REFUSED = 0x3bb00007,        // 530 to PASS

    FTP_CWD_REFUSED = 0x3bb00009,        // 550 to CWD
    FTP_MKD_REFUSED = 0x3bb0000a,        // 550 to MKD
    FTP_RMD_REFUSED = 0x3bb0000b,        // 550 to RMD
    FTP_DELE_REFUSED = 0x3bb0000c,       // 550 to DELE
    FTP_PERMISSION_DENIED = 0x3bb0000d,  // by the server's text
    FTP_NO_SUCH_FILE = 0x3bb0000e,       // by the server's text; path too long; not in the listing

    FTP_REPLY_421 = 0x3bb0000f,       // service not available; no reply in time
    FTP_REPLY_425 = 0x3bb00010,       // server cannot open the data connection
    FTP_REPLY_426 = 0x3bb00011,       // transfer aborted
    FTP_REPLY_450 = 0x3bb00012,       // file busy
    FTP_REPLY_451 = 0x3bb00013,       // local error at the server
    FTP_REPLY_452 = 0x3bb00014,       // no storage left at the server
    FTP_REPLY_501 = 0x3bb00015,       // syntax error in an argument
    FTP_ALREADY_EXISTS = 0x3bb00016,  // 521, or by the server's text
    FTP_REPLY_553 = 0x3bb00017,       // name not allowed
    FTP_REPLY_552 = 0x3bb00018,       // quota exceeded
    FTP_REPLY_550 = 0x3bb00019,       // file unavailable
    FTP_REPLY_530 = 0x3bb0001a,       // not logged in

    FTP_CLOSE_FAILED = 0x3bb0001b,     // QUIT or the closing of a socket
    FTP_SERVER_SHUTDOWN = 0x3bb0001c,  // by the server's text

    // Only with FtpTransferOptions.
    FTP_DATA_BROKEN = 0x3bb00020,       // data connection broke or fell silent before the end
    FTP_LOCAL_IO_FAILED = 0x3bb00021,   // local file could not be read or written
    FTP_CANCELLED = 0x3bb00022,         // the progress function said so
    FTP_LISTING_TOO_LONG = 0x3bb00023,  // longer than ullMaxListing
    FTP_OUT_OF_STEP = 0x3bb00024,       // a reply that no command asked for was waiting

    FTP_BAD_PASV_REPLY = 0x40070019,  // no usable address in the reply to PASV
    FTP_UNKNOWN_REPLY = 0x4007001a    // a failure reply of any other code
};

// A result code's meaning in a few words; never null.
inline const char* FtpResultText(unsigned int code) {
    switch (code) {
        case FTP_OK:
            return "success";
        case FTP_CONNECT_FAILED:
            return "connection could not be made";
        case FTP_SEND_FAILED:
            return "command could not be sent";
        case FTP_NO_REPLY:
            return "no usable reply from the server";
        case FTP_LOCAL_OPEN_FAILED:
            return "local file could not be opened";
        case FTP_LOCAL_CREATE_FAILED:
            return "local file could not be created";
        case FTP_LOGIN_REFUSED:
            return "login refused";
        case FTP_CWD_REFUSED:
            return "directory change refused";
        case FTP_MKD_REFUSED:
            return "directory creation refused";
        case FTP_RMD_REFUSED:
            return "directory removal refused";
        case FTP_DELE_REFUSED:
            return "file removal refused";
        case FTP_PERMISSION_DENIED:
            return "permission denied";
        case FTP_NO_SUCH_FILE:
            return "no such file or directory";
        case FTP_REPLY_421:
            return "service not available";
        case FTP_REPLY_425:
            return "server cannot open the data connection";
        case FTP_REPLY_426:
            return "transfer aborted by the server";
        case FTP_REPLY_450:
            return "file busy";
        case FTP_REPLY_451:
            return "local error at the server";
        case FTP_REPLY_452:
            return "no storage left at the server";
        case FTP_REPLY_501:
            return "argument not understood by the server";
        case FTP_ALREADY_EXISTS:
            return "already exists";
        case FTP_REPLY_553:
            return "file name not allowed";
        case FTP_REPLY_552:
            return "storage allocation exceeded";
        case FTP_REPLY_550:
            return "file unavailable";
        case FTP_REPLY_530:
            return "not logged in";
        case FTP_CLOSE_FAILED:
            return "session could not be closed in order";
        case FTP_SERVER_SHUTDOWN:
            return "server is shutting down";
        case FTP_DATA_BROKEN:
            return "data connection broke before the end";
        case FTP_LOCAL_IO_FAILED:
            return "local file could not be read or written";
        case FTP_CANCELLED:
            return "cancelled";
        case FTP_LISTING_TOO_LONG:
            return "listing too long";
        case FTP_OUT_OF_STEP:
            return "session out of step with the server";
        case FTP_BAD_PASV_REPLY:
            return "passive mode reply not understood";
        case FTP_UNKNOWN_REPLY:
            return "unexpected failure reply";
        default:
            return "unknown result code";
    }
}

}  // namespace RVN_FTP_CLIENT

#endif
