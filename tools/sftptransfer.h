#ifndef QEL_TOOLS_SFTPTRANSFER_H
#define QEL_TOOLS_SFTPTRANSFER_H

#include "tools/session.h"
#include "tools/sftplink.h"

namespace qelftp {

// One file between the remote and the local file system, as CSession::GetFile and PutFile promise.
// It grows beside its target as target + ".part", which is renamed when it is complete and stays
// after a failure; with bContinue what is there of it is kept, unless it is longer than the source.
// A target that is no regular file is written to directly. Both throw COperationError.
void GetOverSftp(CSftpLink& link, const STransfer& transfer, bool bContinue,
                 const FProgress& progress);
void PutOverSftp(CSftpLink& link, const STransfer& transfer, bool bContinue,
                 const FProgress& progress);

}  // namespace qelftp

#endif
