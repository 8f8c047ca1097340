#include "tools/putcheck.h"

#include <sys/stat.h>

#include <map>
#include <string>

#include "platform/encoding.h"
#include "tools/remotepath.h"

namespace qelftp {
namespace {

using Sizes = std::map<std::string, std::optional<unsigned long long>>;  // by name in UTF-8

Sizes SizesIn(CSession& session, const std::string& strDir) {
    Sizes sizes;
    for (const SEntry& entry : session.List(strDir))
        sizes[ZeltGlobalUtils::LOCTOUTF8(entry.strName.c_str())] = entry.ullSize;
    return sizes;
}

void Judge(std::size_t nJob, const STransfer& transfer, const Sizes& sizes, SPutCheck& check) {
    const auto listed = sizes.find(transfer.strRemote.substr(transfer.strRemote.rfind('/') + 1));
    struct stat status {};
    if (listed == sizes.end() || !listed->second) return;
    if (::stat(transfer.strLocal.c_str(), &status) != 0) return;
    const auto ullSize = static_cast<unsigned long long>(status.st_size);
    if (*listed->second == ullSize) return;
    check.wrong.push_back({nJob,
                           {"put", ZeltGlobalUtils::UTF8TOLOC(transfer.strRemote.c_str()),
                            "the server has " + std::to_string(*listed->second) + " of " +
                                std::to_string(ullSize) + " bytes",
                            std::nullopt, ""}});
}

}  // namespace

SPutCheck CheckPuts(const std::vector<STransferJob>& jobs, const std::vector<SJobResult>& results,
                    CReopeningSession& session) {
    std::map<std::string, std::vector<std::size_t>> stored;  // by directory
    for (std::size_t n = 0; n < jobs.size(); ++n) {
        if (jobs[n].bPut && results[n].eEnd == EJobEnd::Done)
            stored[ParentOf(jobs[n].transfer.strRemote)].push_back(n);
    }
    SPutCheck check;
    for (const auto& [strDir, positions] : stored) {
        try {
            Sizes sizes;
            session.Do([&, &strPath = strDir](CSession& open) {
                if (open.PutNeedsCheck()) sizes = SizesIn(open, strPath);
            });
            for (const std::size_t n : positions)
                Judge(n, jobs[n].transfer, sizes, check);
        } catch (const COperationError& error) {
            for (SFailure failure : error.Failures()) {
                failure.strAdvice = "the sizes of files sent there could not be checked";
                check.failures.push_back(failure);
            }
        }
    }
    return check;
}

}  // namespace qelftp
