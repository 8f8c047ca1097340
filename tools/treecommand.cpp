#include "tools/treecommand.h"

#include <fmt/format.h>

#include <cerrno>
#include <memory>

#include "platform/encoding.h"
#include "tools/confirm.h"
#include "tools/failure.h"
#include "tools/localcheck.h"
#include "tools/localtree.h"
#include "tools/printdata.h"
#include "tools/remotepath.h"
#include "tools/remotetree.h"
#include "tools/transferrun.h"
#include "tools/treeplan.h"
#include "tools/visible.h"
#include "tools/wildcard.h"

namespace qelftp {
namespace {

// A source and its target, and what is to be done between them.
struct SPair {
    std::unique_ptr<CTree> source;
    std::unique_ptr<CTree> target;
    STreeRules rules;
    std::string strMeant;  // for the message that nothing is; empty when nothing need be
    STreePlan plan = {};
};

std::string Shown(const std::string& strUtf8) {
    return VisibleText(ZeltGlobalUtils::UTF8TOLOC(strUtf8.c_str()));
}

class CTreeCommand {
public:
    CTreeCommand(CTransferRun& run, const SInvocation& invocation, bool bPut)
        : m_run(run), m_options(invocation.transfer), m_bPut(bPut) {
        m_run.WantSummary();
    }

    STreeRules Rules() const {
        STreeRules rules;
        rules.bRecursive = m_options.bRecursive;
        rules.bForce = m_options.bForce;
        rules.bDelete = m_options.bDelete;
        rules.interrupted = CTransferRun::Interrupted;
        rules.pszOperation = m_bPut ? "put" : "get";
        return rules;
    }

    void Run(std::vector<SPair>& pairs) {
        m_run.Session().Do([](CSession&) {});  // a login that fails says so itself
        std::vector<STransferJob> jobs;
        for (SPair& pair : pairs) {
            pair.plan = PlanTree(*pair.source, *pair.target, pair.rules);
            Tell(pair);
            AddJobs(pair, jobs);
        }
        RefuseDuplicates(Transfers(jobs), m_bPut ? &STransfer::strRemote : &STransfer::strLocal);
        if (CTransferRun::Interrupted()) return;
        if (m_options.bDryRun) return Print(pairs, jobs);
        const bool bDelete = MayDelete(pairs);
        for (SPair& pair : pairs)
            MakeDirectories(pair);
        if (!jobs.empty()) m_run.Move(jobs, true);
        if (bDelete) Delete(pairs);
    }

private:
    void Tell(SPair& pair) {
        m_run.Fail(pair.plan.failures);
        for (const std::string& strLine : pair.plan.skipped)
            m_run.Skip(strLine);
        m_run.CountSame(pair.plan.nSame);
        if (pair.strMeant.empty() || pair.plan.nMeant != 0) return;
        pair.plan.directories.clear();
        if (pair.plan.failures.empty() && !CTransferRun::Interrupted()) {
            m_run.Fail({m_bPut ? "put" : "get", pair.strMeant, "no such file or directory",
                        std::nullopt, ""});
        }
    }

    void AddJobs(const SPair& pair, std::vector<STransferJob>& jobs) const {
        for (const STreePlan::SMove& move : pair.plan.moves) {
            const std::string strFrom = pair.source->Path(move.strPath);
            const std::string strTo = pair.target->Path(move.strPath);
            STransferJob job;
            job.transfer = m_bPut ? STransfer{strTo, strFrom} : STransfer{strFrom, strTo};
            job.bPut = m_bPut;
            job.ullSize = move.source.ullSize;
            job.llModified = move.source.llModified;
            jobs.push_back(std::move(job));
        }
    }

    static std::vector<STransfer> Transfers(const std::vector<STransferJob>& jobs) {
        std::vector<STransfer> transfers;
        transfers.reserve(jobs.size());
        for (const STransferJob& job : jobs)
            transfers.push_back(job.transfer);
        return transfers;
    }

    void Print(const std::vector<SPair>& pairs, const std::vector<STransferJob>& jobs) const {
        std::string strText;
        for (const SPair& pair : pairs) {
            for (const std::string& strDir : pair.plan.directories)
                strText += "mkdir " + TargetShown(pair, strDir) + "\n";
        }
        for (const STransferJob& job : jobs)
            strText += TransferText(job.transfer, m_bPut) + "\n";
        for (const SPair& pair : pairs) {
            for (const std::string& strFile : pair.plan.extraFiles)
                strText += "delete " + TargetShown(pair, strFile) + "\n";
            for (auto dir = pair.plan.extraDirs.rbegin(); dir != pair.plan.extraDirs.rend(); ++dir)
                strText += "delete " + TargetShown(pair, *dir) + "/\n";
        }
        PrintData(strText);
        m_run.WantSummary(false);
    }

    std::string TargetShown(const SPair& pair, const std::string& strPath) const {
        const std::string strFull = pair.target->Path(strPath);
        return m_bPut ? Shown(strFull) : VisibleText(strFull);
    }

    // Asked before anything is moved: later nobody may be there to answer.
    bool MayDelete(const std::vector<SPair>& pairs) const {
        std::size_t nFiles = 0;
        std::size_t nDirs = 0;
        for (const SPair& pair : pairs) {
            nFiles += pair.plan.extraFiles.size();
            nDirs += pair.plan.extraDirs.size();
        }
        if (nFiles + nDirs == 0) return false;
        if (m_options.bYes || !m_run.IsSpotless()) return true;  // Delete looks again
        const std::optional<bool> answer =
            Confirm(fmt::format("Remove {} files and {} directories from {}, which the source "
                                "has not?",
                                nFiles, nDirs, TargetShown(pairs.front(), "")));
        if (!answer) {
            throw CUsageError(
                "there is no terminal to ask on whether to remove what the source has not: --yes "
                "removes it without asking");
        }
        return *answer;
    }

    void MakeDirectories(const SPair& pair) {
        for (const std::string& strDir : pair.plan.directories) {
            if (CTransferRun::Interrupted()) return;
            Try([&] { pair.target->MakeDir(strDir); });
        }
    }

    void Delete(const std::vector<SPair>& pairs) {
        if (CTransferRun::Interrupted()) return;
        if (!m_run.IsSpotless()) {
            m_run.Fail({"mirror", TargetShown(pairs.front(), ""),
                        "nothing was removed, since not all went well", std::nullopt, ""});
            return;
        }
        for (const SPair& pair : pairs) {
            for (const std::string& strFile : pair.plan.extraFiles) {
                if (CTransferRun::Interrupted()) return;
                if (Try([&] { pair.target->RemoveFile(strFile); })) m_run.CountRemoved();
            }
            for (auto dir = pair.plan.extraDirs.rbegin(); dir != pair.plan.extraDirs.rend();
                 ++dir) {
                if (CTransferRun::Interrupted()) return;
                if (Try([&] { pair.target->RemoveDir(*dir); })) m_run.CountRemoved();
            }
        }
    }

    template <typename Work>
    bool Try(Work work) {
        try {
            work();
            return true;
        } catch (const COperationError& error) {
            if (!CTransferRun::Interrupted()) m_run.Fail(error.Failures());
            return false;
        }
    }

    CTransferRun& m_run;
    const STransferOptions& m_options;
    const bool m_bPut;
};

// "dir/", "." and "..": what is in it, not the directory by its name.
bool MeansContents(const std::string& strLocal) {
    const std::string strName = strLocal.substr(strLocal.rfind('/') + 1);
    return strName.empty() || strName == "." || strName == "..";
}

SPair GetPair(const CTreeCommand& command, CTransferRun& run, const SGetSource& source,
              const std::string& strLocal) {
    SPair pair;
    pair.rules = command.Rules();
    pair.target = std::make_unique<CLocalTree>(strLocal, "get");
    const std::string& strPath = source.url.strPath;
    if (source.url.bDirectory && !source.strPattern) {
        pair.source = std::make_unique<CRemoteTree>(strPath, run.Session());
        return pair;
    }
    pair.source = std::make_unique<CRemoteTree>(ParentOf(strPath), run.Session());
    const std::string strLast = strPath.substr(strPath.rfind('/') + 1);
    const std::string strName = ZeltGlobalUtils::UTF8TOLOC(strLast.c_str());
    pair.strMeant = ZeltGlobalUtils::UTF8TOLOC(strPath.c_str());
    if (source.strPattern) {
        pair.rules.isMeant = [strPattern = *source.strPattern](const std::string& strEntry) {
            return MatchesPattern(strPattern, strEntry);
        };
    } else {
        // The listing's names are local only if the server said that it sends UTF-8.
        pair.rules.isMeant = [strName, strLast](const std::string& strEntry) {
            return strEntry == strName || strEntry == strLast;
        };
    }
    return pair;
}

SPair PutPair(const CTreeCommand& command, CTransferRun& run, const std::string& strLocal,
              const SUrl& target) {
    SPair pair;
    pair.rules = command.Rules();
    const bool bContents = MeansContents(strLocal);
    const std::size_t nName = strLocal.rfind('/') + 1;  // 0 without "/"
    const std::string strDir = nName == 0 ? "." : strLocal.substr(0, nName);
    const std::string strName = strLocal.substr(nName);
    if (!bContents && DirectoryErrno(strLocal) == 0) {
        // Directly, so that a link on the command line is followed.
        pair.source = std::make_unique<CLocalTree>(strLocal, "put");
        pair.target = std::make_unique<CRemoteTree>(
            Below(target.strPath, ZeltGlobalUtils::LOCTOUTF8(strName.c_str())), run.Session());
        return pair;
    }
    pair.source = std::make_unique<CLocalTree>(bContents ? strLocal : strDir, "put");
    pair.target = std::make_unique<CRemoteTree>(target.strPath, run.Session());
    if (bContents) return pair;
    pair.strMeant = strLocal;
    pair.rules.isMeant = [strName](const std::string& strEntry) { return strEntry == strName; };
    return pair;
}

// Before anybody is asked for a password.
void CheckLocalSources(const std::vector<std::string>& sources) {
    std::vector<STransfer> files;
    for (const std::string& strSource : sources) {
        if (DirectoryErrno(strSource) != 0) files.push_back({"", strSource});
    }
    CheckSources(files);
}

}  // namespace

void RunTreeGet(const SInvocation& invocation, const SGetArguments& arguments) {
    CTransferRun run(arguments.sources.front().url, invocation);
    RunToEnd(run, [&] {
        CTreeCommand command(run, invocation, false);
        std::vector<SPair> pairs;
        for (const SGetSource& source : arguments.sources)
            pairs.push_back(GetPair(command, run, source, arguments.strLocal));
        command.Run(pairs);
    });
}

void RunTreePut(const SInvocation& invocation, const SPutArguments& arguments) {
    CheckLocalSources(arguments.sources);
    CTransferRun run(arguments.target, invocation);
    RunToEnd(run, [&] {
        CTreeCommand command(run, invocation, true);
        std::vector<SPair> pairs;
        for (const std::string& strLocal : arguments.sources)
            pairs.push_back(PutPair(command, run, strLocal, arguments.target));
        command.Run(pairs);
    });
}

void RunTreeMirror(const SInvocation& invocation) {
    const std::string& strSource = invocation.arguments[0];
    const std::string& strTarget = invocation.arguments[1];
    const bool bPut = LooksLikeUrl(strTarget);
    if (bPut == LooksLikeUrl(strSource)) {
        throw CUsageError("one of SOURCE and TARGET must be a URL, the other a local directory");
    }
    const std::string& strLocal = bPut ? strSource : strTarget;
    const SUrl url = UrlArgument(bPut ? strTarget : strSource);
    SInvocation mirror = invocation;
    mirror.transfer.bRecursive = true;
    const int nNoDirectory = DirectoryErrno(strLocal);
    if (nNoDirectory != 0 && (bPut || nNoDirectory != ENOENT)) {
        throw COperationError(LocalFailure("mirror", strLocal, nNoDirectory));
    }
    CTransferRun run(url, mirror);
    RunToEnd(run, [&] {
        CTreeCommand command(run, mirror, bPut);
        std::vector<SPair> pairs(1);
        SPair& pair = pairs.front();
        pair.rules = command.Rules();
        auto local = std::make_unique<CLocalTree>(strLocal, bPut ? "put" : "get");
        auto remote = std::make_unique<CRemoteTree>(url.strPath, run.Session());
        if (bPut) {
            pair.source = std::move(local);
            pair.target = std::move(remote);
        } else {
            pair.source = std::move(remote);
            pair.target = std::move(local);
        }
        command.Run(pairs);
    });
}

}  // namespace qelftp
