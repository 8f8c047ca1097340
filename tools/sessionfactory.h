#ifndef QEL_TOOLS_SESSIONFACTORY_H
#define QEL_TOOLS_SESSIONFACTORY_H

#include <memory>
#include <string>

#include "tools/commands.h"
#include "tools/session.h"
#include "tools/url.h"

namespace qelftp {

// Opens sessions with one account. The password is obtained and the host resolved once, at the
// start. Open and the others may be called from any thread.
class CSessionFactory {
public:
    // Throws CUsageError or COperationError.
    CSessionFactory(const SUrl& url, const SInvocation& invocation);

    std::unique_ptr<CSession> Open() const { return m_pOpen(m_connection); }

    const SConnection& Connection() const { return m_connection; }

    // With short time-outs, for what must not take long.
    std::unique_ptr<CSession> OpenBriefly() const;

    // Shows this thread's dialogue on standard error while the result lives, if that is wanted.
    std::shared_ptr<void> WatchThread() const;

private:
    SConnection m_connection;
    std::unique_ptr<CSession> (*m_pOpen)(const SConnection& connection);
    bool m_bVerbose;
};

}  // namespace qelftp

#endif
