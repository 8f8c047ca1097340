#ifndef QEL_TOOLS_HOSTKEYCHECK_H
#define QEL_TOOLS_HOSTKEYCHECK_H

#include <optional>
#include <string>

#include "platform/sftpwrapper.h"
#include "tools/failure.h"
#include "tools/knownhosts.h"
#include "tools/session.h"

namespace qelftp {

// Decides whether a server's key is the one that known_hosts has for the host as the user named it.
// Registered with a session, which it must outlive.
class CHostKeyCheck : public SFTP_SessionCB {
public:
    // Reads the file. Throws COperationError.
    explicit CHostKeyCheck(const SConnection& connection);

    // The types of the host's known keys, separated by commas, for preferHostKeys(); empty when it
    // has none.
    std::string KnownTypes() const;

    // Whether a server got as far as showing its key.
    bool WasAsked() const { return m_bAsked; }

    // Why the key was refused; empty when it was not.
    const std::optional<SFailure>& Refusal() const { return m_refusal; }

    // Records an unknown key first, where that is wanted.
    int verifyHostKey(const SFTP_String& host, unsigned int uPort,
                      const SFTP_String& serverKey) override;

    int firstCallback(const void*, const void*) override { return 0; }
    int secondCallback(const void*, const void*) override { return 0; }
    int thirdCallback(const void*, const void*) override { return 0; }
    void fifthCallback(const void*, const void*) override {}

private:
    SHostKeyVerdict VerdictOn(const SPublicKey& key) const;
    SFailure RefusalOf(const SPublicKey& key, const SHostKeyVerdict& verdict) const;

    std::string m_strHost;
    unsigned int m_uPort;
    std::string m_strFile;
    bool m_bRecord;
    CKnownHosts m_known;
    bool m_bAsked = false;
    std::optional<SFailure> m_refusal;
};

}  // namespace qelftp

#endif
