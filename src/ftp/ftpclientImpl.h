#ifndef QEL_FTP_FTPCLIENTIMPL_H
#define QEL_FTP_FTPCLIENTIMPL_H

#include <memory>
#include <string>
#include <vector>

#include "include/ftpclient.h"
#include "src/ftp/ftpcommand.h"
#include "src/ftp/listparser.h"
#include "src/ftp/remotepath.h"

namespace RVN_FTP_CLIENT {

// The session behind CFtpClient; its operations are documented there.
class CFtpClientImpl {
public:
    CFtpClientImpl(const std::string& host, unsigned short port, const std::string& user,
                   const TQ_UTIL::CcipheString& password);

    void setParam(unsigned short connTimeout, unsigned short retryTimes,
                  unsigned short retryTimeout);
    void getFTPConnInfo(FTPConnInfo& info) const;
    void setTransferOptions(const FtpTransferOptions& options);
    unsigned int Login();
    unsigned int Close();

    // Files (ftpfiles.cpp)
    unsigned int ChangeDir(const std::string& dir);
    unsigned int ListFile(const std::string& dir, std::vector<TkFileInfo*>& files);
    unsigned int checkOneFileExist(const std::string& dir, const std::string& name);
    unsigned int checkOneFileExist(const std::string& path);
    unsigned int GetOneFile(const std::string& remote, const std::string& local);
    unsigned int PutOneFileToFile(const std::string& local, const std::string& remoteFile);
    unsigned int PutOneFileToPath(const std::string& local, const std::string& remoteDir);
    unsigned int GetFile(const std::vector<Ftp_File_Pair>& files);
    unsigned int PutFile(const std::vector<Ftp_File_Pair>& files);
    unsigned int RemoveFile(const std::string& path);

    // Directories (ftpdirectories.cpp)
    unsigned int MakeDir(const std::string& dir);
    unsigned int RemoveDir(const std::string& dir);

private:
    // Lists a directory below the root; entries as of ParseListText. The result is the transfer's.
    unsigned int List(const std::string& dir, ESelect eSelect, std::vector<TkFileInfo*>& files);

    std::string Joined(const std::string& path) const { return addRoodDir(path, m_strRootDir); }

    std::unique_ptr<CFtpComand> m_pCommand;
    std::string m_strRootDir;  // the server's directory right after login
};

}  // namespace RVN_FTP_CLIENT

#endif
