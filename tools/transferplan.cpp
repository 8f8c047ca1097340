#include "tools/transferplan.h"

#include <algorithm>
#include <set>
#include <tuple>

#include "platform/encoding.h"
#include "tools/failure.h"
#include "tools/remotepath.h"
#include "tools/visible.h"
#include "tools/wildcard.h"

namespace qelftp {
namespace {

bool SameAccount(const SUrl& left, const SUrl& right) {
    return std::tie(left.strScheme, left.strUser, left.strHost, left.usPort) ==
           std::tie(right.strScheme, right.strUser, right.strHost, right.usPort);
}

std::string LocalDirectoryEntry(const std::string& strDir, const std::string& strName) {
    const bool bSeparated = !strDir.empty() && strDir.back() == '/';
    return strDir + (bSeparated ? "" : "/") + strName;
}

}  // namespace

std::string TransferText(const STransfer& transfer, bool bPut) {
    const std::string strRemote =
        VisibleText(ZeltGlobalUtils::UTF8TOLOC(transfer.strRemote.c_str()));
    const std::string strLocal = VisibleText(transfer.strLocal);
    return bPut ? "put " + strLocal + " -> " + strRemote : "get " + strRemote + " -> " + strLocal;
}

void RefuseDuplicates(const std::vector<STransfer>& batch, std::string STransfer::*pTarget) {
    std::set<std::string> targets;
    for (const STransfer& transfer : batch) {
        if (targets.insert(transfer.*pTarget).second) continue;
        throw CUsageError("two of the files would become the same " +
                          VisibleText(transfer.*pTarget));
    }
}

SUrl UrlArgument(const std::string& strArgument) {
    return ParseUrl(ZeltGlobalUtils::LOCTOUTF8(strArgument.c_str()));
}

bool SGetArguments::HasPatterns() const {
    return std::any_of(sources.begin(), sources.end(),
                       [](const SGetSource& source) { return source.strPattern.has_value(); });
}

SGetArguments ParseGetArguments(const std::vector<std::string>& arguments, bool bRecursive) {
    SGetArguments parsed;
    std::vector<std::string> urls = arguments;
    if (urls.size() > 1 && !LooksLikeUrl(urls.back())) {
        parsed.strLocal = urls.back();
        urls.pop_back();
    }
    for (const std::string& strUrl : urls) {
        SGetSource source{UrlArgument(strUrl), UrlPattern(strUrl)};
        if (source.url.bDirectory && !bRecursive) {
            throw CUsageError("get takes URLs of files, and " + source.url.strPath +
                              " is a directory: -r takes directories, too");
        }
        if (!parsed.sources.empty() && !SameAccount(source.url, parsed.sources.front().url)) {
            throw CUsageError("the URLs of one get must have the same user, host and port");
        }
        parsed.sources.push_back(std::move(source));
    }
    return parsed;
}

std::vector<STransfer> PlanGet(const SGetArguments& arguments, bool bIntoDirectory) {
    std::vector<STransfer> batch;
    for (const SGetSource& source : arguments.sources) {
        const SUrl& url = source.url;
        const std::string strName = ZeltGlobalUtils::UTF8TOLOC(NameOf(url.strPath).c_str());
        batch.push_back({url.strPath, bIntoDirectory
                                          ? LocalDirectoryEntry(arguments.strLocal, strName)
                                          : arguments.strLocal});
    }
    RefuseDuplicates(batch, &STransfer::strLocal);
    return batch;
}

SPutArguments ParsePutArguments(const std::vector<std::string>& arguments) {
    SPutArguments parsed;
    parsed.target = UrlArgument(arguments.back());
    parsed.sources.assign(arguments.begin(), arguments.end() - 1);
    return parsed;
}

std::vector<STransfer> PlanPut(const SPutArguments& arguments) {
    const bool bIntoDirectory = arguments.target.bDirectory || arguments.sources.size() > 1;
    std::vector<STransfer> batch;
    for (const std::string& strLocal : arguments.sources) {
        if (!bIntoDirectory) {
            batch.push_back({arguments.target.strPath, strLocal});
            continue;
        }
        const std::string strName = ZeltGlobalUtils::LOCTOUTF8(NameOf(strLocal).c_str());
        if (!FitsOnCommandLine(strName)) {
            throw CUsageError(
                "a file with a line end in its name needs another name there: give "
                "it in the URL");
        }
        batch.push_back({Below(arguments.target.strPath, strName), strLocal});
    }
    RefuseDuplicates(batch, &STransfer::strRemote);
    return batch;
}

}  // namespace qelftp
