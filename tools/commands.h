#ifndef QEL_TOOLS_COMMANDS_H
#define QEL_TOOLS_COMMANDS_H

#include <string>
#include <vector>

#include "tools/session.h"
#include "tools/transferreport.h"

namespace qelftp {

// How get, put and mirror go about it.
struct STransferOptions {
    bool bRecursive = false;
    bool bForce = false;     // move also what is there already
    bool bContinue = false;  // add to a half file
    bool bDryRun = false;
    bool bDelete = false;  // remove what the source has not
    bool bYes = false;     // without asking
    unsigned int uRetries = 2;
};

// A command line without the program's and the command's name.
struct SInvocation {
    std::vector<std::string> arguments;  // as many as the command's row allows
    SConnectOptions connect;
    SSshOptions ssh;
    SReportOptions report;
    STransferOptions transfer;
    std::string strPasswordFile;  // empty: none
};

// Each throws CUsageError, COperationError or CEnd; data goes to standard output.
void RunList(const SInvocation& invocation);
void RunGet(const SInvocation& invocation);
void RunPut(const SInvocation& invocation);
void RunMirror(const SInvocation& invocation);
void RunRemove(const SInvocation& invocation);
void RunMakeDir(const SInvocation& invocation);
void RunRemoveDir(const SInvocation& invocation);
void RunExists(const SInvocation& invocation);

}  // namespace qelftp

#endif
