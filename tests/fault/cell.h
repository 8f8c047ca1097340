#ifndef QEL_TESTS_FAULT_CELL_H
#define QEL_TESTS_FAULT_CELL_H

#include <string>
#include <vector>

#include "tests/fault/faults.h"

namespace FaultTest {

enum class EOperation {
    Login,
    List,
    Exists,
    Get,
    Put,
    GetBatch,
    PutBatch,
    MakeDir,
    RemoveDir,
    RemoveFile,
    ChangeDir,
    Close,
};

struct SOperationName {
    EOperation eOperation;
    const char* pszName;
};
const std::vector<SOperationName>& Operations();
const char* NameOf(EOperation eOperation);

// One fault in one place: either of the two is set, or none for a run without any.
struct SFault {
    const SControlFault* pControl = nullptr;
    int nReply = 0;  // which of the server's replies during the operation, from 0
    const SDataFault* pData = nullptr;
    int nConnection = 0;  // which of the operation's data connections, from 0
};

struct SCell {
    EOperation eOperation = EOperation::Login;
    SFault fault;
    bool bVerify = false;
    std::string strName;  // "get/RETR/cut/verified"
    std::string strStep;  // the reply's ("RETR", "RETR.end") or the data connection's ("data")
    int nReplyCode = 0;   // of the reply that is struck
};

// All cells of an operation: each of its steps, with each fault that fits there, plain and
// verified.
std::vector<SCell> CellsOf(EOperation eOperation);

}  // namespace FaultTest

#endif
