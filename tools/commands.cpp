#include "tools/commands.h"

#include <cerrno>
#include <cstdio>
#include <memory>

#include "include/ftpresult.h"
#include "tools/failure.h"
#include "tools/ftpfailure.h"
#include "tools/localcheck.h"
#include "tools/password.h"
#include "tools/resolver.h"
#include "tools/schemes.h"
#include "tools/table.h"
#include "tools/transferplan.h"

namespace qelftp {
namespace {

std::unique_ptr<CSession> OpenSession(const SUrl& url, const SInvocation& invocation) {
    SConnection connection;
    connection.strHost = url.strHost;
    connection.usPort = url.usPort;
    connection.strUser = url.strUser;
    connection.options = invocation.connect;
    connection.password = ObtainPassword(url.strUser, url.strHost);
    connection.strAddress = ResolveHost(url.strHost);
    return FindScheme(url.strScheme)->pOpen(connection);
}

// The one URL of a command that must name something below the login directory.
SUrl UrlBelowLogin(const SInvocation& invocation) {
    SUrl url = UrlArgument(invocation.arguments.front());
    if (url.strPath == "/") throw CUsageError("the URL must have a path");
    return url;
}

void PrintData(const std::string& strText) {
    const bool bWritten = std::fwrite(strText.data(), 1, strText.size(), stdout) == strText.size();
    if (bWritten && std::fflush(stdout) == 0) return;
    throw COperationError(LocalFailure("write", "standard output", errno));
}

}  // namespace

void RunList(const SInvocation& invocation) {
    const SUrl url = UrlArgument(invocation.arguments.front());
    const auto session = OpenSession(url, invocation);
    PrintData(EntryTable(session->List(url.strPath)));
    session->Close();
}

void RunGet(const SInvocation& invocation) {
    const SGetArguments arguments = ParseGetArguments(invocation.arguments);
    const int nNoDirectory = DirectoryErrno(arguments.strLocal);
    if (arguments.sources.size() > 1 && nNoDirectory != 0) {
        throw COperationError(LocalFailure("get", arguments.strLocal, nNoDirectory));
    }
    const std::vector<STransfer> batch = PlanGet(arguments, nNoDirectory == 0);
    CheckTargets(batch);
    const auto session = OpenSession(arguments.sources.front(), invocation);
    session->Get(batch);
    session->Close();
}

void RunPut(const SInvocation& invocation) {
    const SPutArguments arguments = ParsePutArguments(invocation.arguments);
    const std::vector<STransfer> batch = PlanPut(arguments);
    CheckSources(batch);
    const auto session = OpenSession(arguments.target, invocation);
    session->Put(batch);
    session->Close();
}

void RunRemove(const SInvocation& invocation) {
    const SUrl url = UrlBelowLogin(invocation);
    const auto session = OpenSession(url, invocation);
    session->Remove(url.strPath);
    session->Close();
}

void RunMakeDir(const SInvocation& invocation) {
    const SUrl url = UrlBelowLogin(invocation);
    const auto session = OpenSession(url, invocation);
    session->MakeDir(url.strPath);
    session->Close();
}

void RunRemoveDir(const SInvocation& invocation) {
    const SUrl url = UrlBelowLogin(invocation);
    const auto session = OpenSession(url, invocation);
    session->RemoveDir(url.strPath);
    session->Close();
}

void RunExists(const SInvocation& invocation) {
    const SUrl url = UrlArgument(invocation.arguments.front());
    const auto session = OpenSession(url, invocation);
    if (!session->Exists(url.strPath)) {
        throw COperationError(FtpFailure("exists", url.strPath, RVN_FTP_CLIENT::FTP_NO_SUCH_FILE));
    }
    session->Close();
}

}  // namespace qelftp
