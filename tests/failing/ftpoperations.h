#ifndef QEL_TESTS_FAILING_FTPOPERATIONS_H
#define QEL_TESTS_FAILING_FTPOPERATIONS_H

#include <string>
#include <vector>

#include "include/ftpclient.h"
#include "tests/failing/calls.h"
#include "tests/failing/outcome.h"
#include "tests/support/scriptedserver.h"

namespace FailingTest {

// What the operations are given, made before calls are counted.
struct SFtpArguments {
    explicit SFtpArguments(const std::string& strDirectory);

    std::string strLocal;
    std::string strSecond;  // of a batch
    std::string strName{"/file"};
    std::string strDir{"/dir"};
    std::vector<RVN_FTP_CLIENT::Ftp_File_Pair> gets;
    std::vector<RVN_FTP_CLIENT::Ftp_File_Pair> puts;
    std::vector<RVN_FTP_CLIENT::TkFileInfo*> entries;
};

// An operation of the client and the dialogue that it has when all goes well. Log-in and log-out
// are played around it and are operations themselves.
struct SFtpOperation {
    const char* pszName;
    std::vector<TestSupport::SStep> steps;
    unsigned int (*pfnRun)(RVN_FTP_CLIENT::CFtpClient&, SFtpArguments&);
};

extern const std::vector<SFtpOperation> kFtpOperations;

// The bytes of a retrieved or stored file: several blocks.
const std::string& FileBytes();

// A whole session, of which one operation is watched, and then the same session again with nothing
// failing, which must go well. Problems: whatever is left behind, a file that is not what the
// result says, a session afterwards that fails.
SOutcome RunFtp(const SFtpOperation& operation, bool bVerify, const SFailure* pFailure, long nAt);

}  // namespace FailingTest

#endif
