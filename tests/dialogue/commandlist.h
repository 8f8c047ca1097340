#ifndef QEL_TESTS_DIALOGUE_COMMANDLIST_H
#define QEL_TESTS_DIALOGUE_COMMANDLIST_H

#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "src/ftp/ftpcommand.h"

// The commands of a session, each with a plain argument, as tests call them in a row.

struct SCommand {
    const char* pszName;   // in log locations and messages
    const char* pszLine;   // what goes over the wire, without line end
    bool bTestsReplyText;  // a reply outside what it accepts is logged
    unsigned int (*run)(RVN_FTP_CLIENT::CFtpComand&);
};

inline std::ostream& operator<<(std::ostream& stream, const SCommand& row) {
    return stream << row.pszName;
}

inline const std::vector<SCommand>& Commands() {
    using CFtpComand = RVN_FTP_CLIENT::CFtpComand;
    static const std::vector<SCommand> commands = {
        {"Ftp_user", "USER bob", true, [](CFtpComand& c) { return c.Ftp_user(); }},
        {"Ftp_pass", "PASS tea", true, [](CFtpComand& c) { return c.Ftp_pass(); }},
        {"Ftp_cwd", "CWD /a b", true, [](CFtpComand& c) { return c.Ftp_cwd("/a b"); }},
        {"Ftp_list", "LIST", true,
         [](CFtpComand& c) {
             bool bCompleteSeen = false;
             return c.Ftp_list(bCompleteSeen);
         }},
        {"Ftp_quit", "QUIT", true, [](CFtpComand& c) { return c.Ftp_quit(); }},
        {"Ftp_syst", "SYST", false, [](CFtpComand& c) { return c.Ftp_syst(); }},
        {"FTP_pwd", "PWD", true,
         [](CFtpComand& c) {
             std::string strPath;
             return c.FTP_pwd(strPath);
         }},
        {"Ftp_type", "TYPE I", false, [](CFtpComand& c) { return c.Ftp_type(0); }},
        {"Ftp_retr", "RETR a.txt", false, [](CFtpComand& c) { return c.Ftp_retr("a.txt"); }},
        {"Ftp_dele", "DELE a.txt", false, [](CFtpComand& c) { return c.Ftp_dele("a.txt"); }},
        {"Ftp_stor", "STOR a.txt", true, [](CFtpComand& c) { return c.Ftp_stor("a.txt"); }},
        {"Ftp_mkd", "MKD new", true, [](CFtpComand& c) { return c.Ftp_mkd("new"); }},
        {"Ftp_rmd", "RMD old", true, [](CFtpComand& c) { return c.Ftp_rmd("old"); }},
        {"Ftp_abor", "ABOR", false, [](CFtpComand& c) { return c.Ftp_abor(); }},
        {"Ftp_optsUtf8", "OPTS UTF8 ON", false, [](CFtpComand& c) { return c.Ftp_optsUtf8(); }},
        {"Ftp_pasv", "PASV", true,
         [](CFtpComand& c) {
             unsigned short usPort = 0;
             return c.Ftp_pasv(usPort);
         }},
        {"Ftp_port", "PORT 127,0,0,1,195,80", false,
         [](CFtpComand& c) { return c.Ftp_port(0x7F000001, 50000); }},
    };
    return commands;
}

inline const SCommand& CommandOf(const std::string& strName) {
    for (const SCommand& command : Commands()) {
        if (strName == command.pszName) return command;
    }
    throw std::out_of_range(strName);
}

inline std::string ReplyError(const std::string& strName, const std::string& strReply) {
    return "[FTPCLIENT]" + strName + " getRetCode error,the real retCode:" + strReply;
}

inline std::string FormatError(const std::string& strName, const std::string& strArgument = "") {
    return "[FTPCLIENT]CFtpComand::" + strName + ".snprintf_s failed!" + strArgument;
}

#endif
