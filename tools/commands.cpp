#include "tools/commands.h"

#include <sys/stat.h>

#include <algorithm>
#include <memory>

#include "platform/encoding.h"
#include "tools/failure.h"
#include "tools/jsonlines.h"
#include "tools/localcheck.h"
#include "tools/printdata.h"
#include "tools/remotepath.h"
#include "tools/sessionfactory.h"
#include "tools/table.h"
#include "tools/transferplan.h"
#include "tools/transferrun.h"
#include "tools/treecommand.h"
#include "tools/wildcard.h"

namespace qelftp {
namespace {

// For commands that need one session.
struct SOneSession {
    SOneSession(const SUrl& url, const SInvocation& invocation)
        : factory(url, invocation), watch(factory.WatchThread()), session(factory.Open()) {}

    CSession* operator->() const { return session.get(); }

    CSessionFactory factory;
    std::shared_ptr<void> watch;
    std::unique_ptr<CSession> session;
};

// The one URL of a command that must name something below the login directory.
SUrl UrlBelowLogin(const SInvocation& invocation) {
    SUrl url = UrlArgument(invocation.arguments.front());
    if (url.strPath == "/") throw CUsageError("the URL must have a path");
    return url;
}

std::optional<unsigned long long> SizeOfFile(const std::string& strPath) {
    struct stat status {};
    if (::stat(strPath.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return {};
    return static_cast<unsigned long long>(status.st_size);
}

SFailure NoMatch(const char* pszOperation, const SUrl& url) {
    return {pszOperation, ZeltGlobalUtils::UTF8TOLOC(url.strPath.c_str()), "nothing matches",
            std::nullopt, ""};
}

std::vector<SEntry> Matching(std::vector<SEntry> entries, const std::string& strPattern) {
    entries.erase(std::remove_if(entries.begin(), entries.end(),
                                 [&](const SEntry& entry) {
                                     return !MatchesPattern(strPattern, entry.strName);
                                 }),
                  entries.end());
    return entries;
}

std::string JsonLines(std::vector<SEntry> entries) {
    SortByName(entries);
    std::string strLines;
    for (const SEntry& entry : entries)
        strLines += EntryJson(entry);
    return strLines;
}

void PrintPlan(const std::vector<STransfer>& batch, bool bPut) {
    std::string strText;
    for (const STransfer& transfer : batch)
        strText += TransferText(transfer, bPut) + "\n";
    PrintData(strText);
}

// Files named one by one: nobody has listed them.
void MoveFiles(const SUrl& account, const std::vector<STransfer>& batch, bool bPut,
               const SInvocation& invocation) {
    if (invocation.transfer.bDryRun) return PrintPlan(batch, bPut);
    std::vector<STransferJob> jobs;
    for (const STransfer& transfer : batch) {
        jobs.push_back({transfer, bPut});
        if (bPut) jobs.back().ullSize = SizeOfFile(transfer.strLocal);
    }
    CTransferRun run(account, invocation);
    RunToEnd(run, [&] { run.Move(jobs, false); });
}

void RefuseContinue(const SUrl& url, const SInvocation& invocation) {
    if (!invocation.transfer.bContinue || url.strScheme != "ftp") return;
    throw CUsageError("ftp:// cannot add to a half file: -c is for sftp://");
}

// Files only; each that cannot be removed is named.
void RemoveMatching(CSession& session, const SUrl& url, const std::string& strPattern) {
    const std::string strDir = ParentOf(url.strPath);
    std::vector<SFailure> failures;
    bool bAny = false;
    for (const SEntry& entry : Matching(session.List(strDir), strPattern)) {
        if (entry.eType == EEntryType::Directory) continue;
        bAny = true;
        try {
            session.Remove(Below(strDir, ZeltGlobalUtils::LOCTOUTF8(entry.strName.c_str())));
        } catch (const COperationError& error) {
            failures.insert(failures.end(), error.Failures().begin(), error.Failures().end());
        }
    }
    if (!bAny) failures.push_back(NoMatch("rm", url));
    if (!failures.empty()) throw COperationError(failures);
}

}  // namespace

void RunList(const SInvocation& invocation) {
    const SUrl url = UrlArgument(invocation.arguments.front());
    const std::optional<std::string> pattern = UrlPattern(invocation.arguments.front());
    const SOneSession session(url, invocation);
    std::vector<SEntry> entries = session->List(pattern ? ParentOf(url.strPath) : url.strPath);
    if (pattern) entries = Matching(std::move(entries), *pattern);
    if (pattern && entries.empty()) throw COperationError(NoMatch("ls", url));
    PrintData(invocation.report.bJson ? JsonLines(entries) : EntryTable(std::move(entries)));
    session->Close();
}

void RunGet(const SInvocation& invocation) {
    const bool bRecursive = invocation.transfer.bRecursive;
    const SGetArguments arguments = ParseGetArguments(invocation.arguments, bRecursive);
    RefuseContinue(arguments.sources.front().url, invocation);
    const int nNoDirectory = DirectoryErrno(arguments.strLocal);
    if (!bRecursive && nNoDirectory != 0 &&
        (arguments.sources.size() > 1 || arguments.HasPatterns())) {
        throw COperationError(LocalFailure("get", arguments.strLocal, nNoDirectory));
    }
    if (bRecursive || arguments.HasPatterns()) return RunTreeGet(invocation, arguments);
    const std::vector<STransfer> batch = PlanGet(arguments, nNoDirectory == 0);
    CheckTargets(batch);
    MoveFiles(arguments.sources.front().url, batch, false, invocation);
}

void RunPut(const SInvocation& invocation) {
    const SPutArguments arguments = ParsePutArguments(invocation.arguments);
    RefuseContinue(arguments.target, invocation);
    if (invocation.transfer.bRecursive) return RunTreePut(invocation, arguments);
    const std::vector<STransfer> batch = PlanPut(arguments);
    CheckSources(batch);
    MoveFiles(arguments.target, batch, true, invocation);
}

void RunMirror(const SInvocation& invocation) {
    for (const std::string& strArgument : invocation.arguments)
        if (LooksLikeUrl(strArgument)) RefuseContinue(UrlArgument(strArgument), invocation);
    RunTreeMirror(invocation);
}

void RunRemove(const SInvocation& invocation) {
    const SUrl url = UrlBelowLogin(invocation);
    const std::optional<std::string> pattern = UrlPattern(invocation.arguments.front());
    const SOneSession session(url, invocation);
    if (pattern) {
        RemoveMatching(*session.session, url, *pattern);
    } else {
        session->Remove(url.strPath);
    }
    session->Close();
}

void RunMakeDir(const SInvocation& invocation) {
    const SUrl url = UrlBelowLogin(invocation);
    const SOneSession session(url, invocation);
    session->MakeDir(url.strPath);
    session->Close();
}

void RunRemoveDir(const SInvocation& invocation) {
    const SUrl url = UrlBelowLogin(invocation);
    const SOneSession session(url, invocation);
    session->RemoveDir(url.strPath);
    session->Close();
}

void RunExists(const SInvocation& invocation) {
    const SUrl url = UrlArgument(invocation.arguments.front());
    const SOneSession session(url, invocation);
    if (!session->Find(url.strPath)) {
        throw COperationError(session->NotThere("exists", url.strPath));
    }
    session->Close();
}

}  // namespace qelftp
