#include "tools/halffile.h"

#include <memory>
#include <optional>

namespace qelftp {
namespace {

void AddAdvice(SFailure& failure, const char* pszAdvice) {
    if (!failure.strAdvice.empty()) failure.strAdvice += "; ";
    failure.strAdvice += pszAdvice;
}

void Remove(CSession& session, const STransfer& transfer, EStoreBegan eBegan) {
    if (eBegan == EStoreBegan::Perhaps) {
        const std::optional<SEntry> entry = session.Find(transfer.strRemote);
        if (!entry || entry->ullSize.value_or(1) != 0) return;
    }
    session.Remove(transfer.strRemote);
}

// Not there is as good as removed.
bool IsGone(const FOpenSession& open, const STransfer& transfer) {
    try {
        return !open()->Find(transfer.strRemote).has_value();
    } catch (const COperationError&) {
        return false;  // not known
    }
}

}  // namespace

void RemoveHalfFile(const STransfer& transfer, EStoreBegan eBegan, const FOpenSession& open,
                    SFailure& failure) {
    if (eBegan == EStoreBegan::No) return;
    try {
        const std::unique_ptr<CSession> session = open();
        Remove(*session, transfer, eBegan);
    } catch (const COperationError&) {
        if (IsGone(open, transfer)) return;
        AddAdvice(failure, eBegan == EStoreBegan::Yes
                               ? "what was sent of it could not be removed from the server"
                               : "an empty file may be left on the server");
    }
}

}  // namespace qelftp
