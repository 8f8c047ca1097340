#ifndef QEL_STANDALONE_SFTP_FILETRANSFER_H
#define QEL_STANDALONE_SFTP_FILETRANSFER_H

#include <cstdint>
#include <string>

#include "platform/sftpwrapper.h"
#include "standalone/sftp/sftpchannel.h"

namespace sftpwrapper {

// Whole files between the remote and the local file system; what getFile and putFile of the
// session promise. pProgress may be null.
int GetWholeFile(CSftpChannel& channel, CLastError& error, const std::string& strRemote,
                 const std::string& strLocal, SFTP_Progress* pProgress);
int PutWholeFile(CSftpChannel& channel, CLastError& error, const std::string& strLocal,
                 const std::string& strRemote, SFTP_Progress* pProgress);

// Open remote files, in the order of their bytes; what readAll and writeAll promise.
int ReadStream(CSftpChannel& channel, CLastError& error, const std::string& strHandle,
               std::uint64_t ullOffset, SFTP_Sink& sink);
int WriteStream(CSftpChannel& channel, CLastError& error, const std::string& strHandle,
                std::uint64_t ullOffset, SFTP_Source& source);

}  // namespace sftpwrapper

#endif
