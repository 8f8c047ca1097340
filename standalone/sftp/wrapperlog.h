#ifndef QEL_STANDALONE_SFTP_WRAPPERLOG_H
#define QEL_STANDALONE_SFTP_WRAPPERLOG_H

#include <string>

namespace sftpwrapper {

// Writes a line to the host's log, after its filter. pszFunction: a literal.
void LogError(int nCode, const char* pszFunction, const std::string& strText, int nLine);

}  // namespace sftpwrapper

#endif
