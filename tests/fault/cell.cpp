#include "tests/fault/cell.h"

#include "tests/fault/rules.h"

namespace FaultTest {
namespace {

enum class EDirection { Listing, Retrieve, Store };

EDirection DirectionOf(EOperation eOperation) {
    switch (eOperation) {
        case EOperation::Get:
        case EOperation::GetBatch:
            return EDirection::Retrieve;
        case EOperation::Put:
        case EOperation::PutBatch:
            return EDirection::Store;
        default:
            return EDirection::Listing;
    }
}

bool CanStrike(const SDataFault& fault, EDirection eDirection) {
    switch (eDirection) {
        case EDirection::Retrieve:
            return fault.bForRetrieve;
        case EDirection::Store:
            return fault.bForStore;
        default:
            return fault.bForListing;
    }
}

// A server answers LIST and RETR, and goes on to the closing reply on its own.
bool HasNext(const std::string& strStep) {
    const std::string strCommand = strStep.substr(0, strStep.find('#'));
    return strCommand == "LIST" || strCommand == "RETR";
}

// A verified store takes an unasked reply that came with the 150 for its closing one. Whether the
// true one is there before the client sends its next command is up to the server.
bool IsRace(const SCell& cell) {
    return cell.eOperation == EOperation::PutBatch && cell.strStep == "STOR" && cell.bVerify &&
           cell.fault.pControl != nullptr && cell.fault.pControl->eOwn == EOwnReply::Overruled;
}

void AddBoth(std::vector<SCell>& cells, SCell cell, const char* pszFault) {
    const std::string strName =
        std::string(NameOf(cell.eOperation)) + "/" + cell.strStep + "/" + pszFault;
    for (const bool bVerify : {false, true}) {
        cell.bVerify = bVerify;
        cell.strName = strName + (bVerify ? "/verified" : "/plain");
        if (!IsRace(cell)) cells.push_back(cell);
    }
}

}  // namespace

const std::vector<SOperationName>& Operations() {
    static const std::vector<SOperationName> operations{
        {EOperation::Login, "login"},
        {EOperation::List, "list"},
        {EOperation::Exists, "exists"},
        {EOperation::Get, "get"},
        {EOperation::Put, "put"},
        {EOperation::GetBatch, "get-batch"},
        {EOperation::PutBatch, "put-batch"},
        {EOperation::MakeDir, "make-dir"},
        {EOperation::RemoveDir, "remove-dir"},
        {EOperation::RemoveFile, "remove-file"},
        {EOperation::ChangeDir, "change-dir"},
        {EOperation::Close, "close"},
    };
    return operations;
}

const char* NameOf(EOperation eOperation) {
    for (const SOperationName& operation : Operations()) {
        if (operation.eOperation == eOperation) return operation.pszName;
    }
    return "?";
}

std::vector<SCell> CellsOf(EOperation eOperation) {
    CRules faultless(eOperation, false, {});
    faultless.Work();
    std::vector<SCell> cells;
    for (std::size_t nReply = 0; nReply < faultless.Steps().size(); ++nReply) {
        const SStep& step = faultless.Steps()[nReply];
        for (const SControlFault& fault : ControlFaults()) {
            if (NeedsNextReply(fault) && !HasNext(step.strName)) continue;
            SCell cell;
            cell.eOperation = eOperation;
            cell.fault.pControl = &fault;
            cell.fault.nReply = static_cast<int>(nReply);
            cell.strStep = step.strName;
            cell.nReplyCode = step.nCode;
            AddBoth(cells, cell, fault.pszName);
        }
    }
    for (int nConnection = 0; nConnection < faultless.DataConnections(); ++nConnection) {
        for (const SDataFault& fault : DataFaults()) {
            if (!CanStrike(fault, DirectionOf(eOperation))) continue;
            SCell cell;
            cell.eOperation = eOperation;
            cell.fault.pData = &fault;
            cell.fault.nConnection = nConnection;
            cell.strStep = nConnection == 0 ? "data" : "data#" + std::to_string(nConnection + 1);
            AddBoth(cells, cell, fault.pszName);
        }
    }
    return cells;
}

}  // namespace FaultTest
