#include "tools/sessionfactory.h"

#include <algorithm>

#include "tools/dialogue.h"
#include "tools/logincredentials.h"
#include "tools/resolver.h"
#include "tools/schemes.h"

namespace qelftp {
namespace {

constexpr unsigned short kBriefTimeout = 3;  // seconds

}  // namespace

CSessionFactory::CSessionFactory(const SUrl& url, const SInvocation& invocation)
    : m_pOpen(FindScheme(url.strScheme)->pOpen),
      // The dialogue of other schemes is encrypted.
      m_bVerbose(invocation.report.bVerbose && url.strScheme == "ftp") {
    m_connection.strHost = url.strHost;
    m_connection.usPort = url.usPort;
    m_connection.strUser = url.strUser;
    m_connection.options = invocation.connect;
    m_connection.ssh = invocation.ssh;
    ObtainCredentials(url, m_connection, invocation.strPasswordFile);
    m_connection.strAddress = ResolveHost(url.strHost);
}

std::unique_ptr<CSession> CSessionFactory::OpenBriefly() const {
    SConnection brief = m_connection;
    brief.options.usTimeout = std::min(brief.options.usTimeout, kBriefTimeout);
    brief.options.usRetries = 0;
    return m_pOpen(brief);
}

std::shared_ptr<void> CSessionFactory::WatchThread() const {
    if (!m_bVerbose) return nullptr;
    return std::make_shared<CDialogueWatch>(m_connection.usPort, ShowDialogueLine);
}

}  // namespace qelftp
