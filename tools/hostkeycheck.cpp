#include "tools/hostkeycheck.h"

#include <exception>

#include "tools/knownhostsfile.h"

namespace qelftp {
namespace {

constexpr int kAccept = 0;
constexpr int kRefuse = 2;

std::string FileOf(const SConnection& connection) {
    return connection.ssh.strKnownHosts.empty() ? DefaultKnownHostsPath()
                                                : connection.ssh.strKnownHosts;
}

std::string LinesOf(const SHostKeyVerdict& verdict) {
    std::string strLines;
    for (const SKnownKey& known : verdict.keys)
        strLines += (strLines.empty() ? "" : ", ") + std::to_string(known.nLine);
    return (verdict.keys.size() == 1 ? "line " : "lines ") + strLines;
}

std::string FingerprintsOf(const SHostKeyVerdict& verdict) {
    std::string strAll;
    for (const SKnownKey& known : verdict.keys)
        strAll += (strAll.empty() ? "" : ", ") + KeyFingerprint(known.key);
    return strAll;
}

}  // namespace

CHostKeyCheck::CHostKeyCheck(const SConnection& connection)
    : m_strHost(connection.strHost),
      m_uPort(connection.usPort),
      m_strFile(FileOf(connection)),
      m_bRecord(connection.ssh.bAcceptNewHostKey),
      m_known(ReadKnownHosts(m_strFile)) {}

std::string CHostKeyCheck::KnownTypes() const {
    std::string strTypes;
    for (const std::string& strType : m_known.TypesOf(m_strHost, m_uPort))
        strTypes += (strTypes.empty() ? "" : ",") + strType;
    return strTypes;
}

SHostKeyVerdict CHostKeyCheck::VerdictOn(const SPublicKey& key) const {
    SHostKeyVerdict verdict = m_known.Judge(m_strHost, m_uPort, key);
    if (verdict.eHostKey == EHostKey::Unknown && m_bRecord)
        verdict = RecordHostKey(m_strFile, m_strHost, m_uPort, key);
    return verdict;
}

SFailure CHostKeyCheck::RefusalOf(const SPublicKey& key, const SHostKeyVerdict& verdict) const {
    const std::string strPresented = KeyFingerprint(key);
    SFailure failure;
    failure.strOperation = "login";
    failure.strSubject = m_strHost + ":" + std::to_string(m_uPort);
    failure.uCode = static_cast<unsigned int>(SFTP_ERR_HOST_KEY);
    failure.bLasting = true;
    failure.eCodeKind = ECodeKind::Sftp;
    switch (verdict.eHostKey) {
        case EHostKey::Known:
            break;
        case EHostKey::Unknown:
            failure.strMeaning = "the host is not known; it shows the key " + strPresented;
            failure.strAdvice =
                "ask its administrator for the fingerprint (ssh-keygen -lf of the host's public "
                "key prints it); if it is this one, --accept-new-host-key records it in " +
                m_strFile;
            break;
        case EHostKey::Changed:
            failure.strMeaning = "THE HOST KEY HAS CHANGED: known is " + FingerprintsOf(verdict) +
                                 " (" + m_strFile + ", " + LinesOf(verdict) + "), shown is " +
                                 strPresented;
            failure.strAdvice =
                "somebody may be reading along, or the host has got a new key: ask its "
                "administrator for the fingerprint; only if it is the one shown, remove " +
                LinesOf(verdict) + " (ssh-keygen -R '" + KnownHostName(m_strHost, m_uPort) +
                "' -f '" + m_strFile + "' does) and try again";
            break;
        case EHostKey::Revoked:
            failure.strMeaning = "the host key " + strPresented + " is marked as revoked (" +
                                 m_strFile + ", " + LinesOf(verdict) + ")";
            failure.strAdvice = "ask the host's administrator: this key is not to be trusted";
            break;
    }
    return failure;
}

// Called by the session: nothing may be thrown through it.
int CHostKeyCheck::verifyHostKey(const SFTP_String& /*host*/, unsigned int /*uPort*/,
                                 const SFTP_String& serverKey) {
    m_bAsked = true;
    try {
        const char* const pszKey = serverKey.c_str();
        const SPublicKey key = ParsePublicKey(pszKey != nullptr ? pszKey : "");
        if (key.strType.empty()) {
            m_refusal = SFailure{"login",      m_strHost, "the host's key is not understood",
                                 std::nullopt, "",        true};
            return kRefuse;
        }
        const SHostKeyVerdict verdict = VerdictOn(key);
        if (verdict.eHostKey == EHostKey::Known) return kAccept;
        m_refusal = RefusalOf(key, verdict);
    } catch (const COperationError& error) {
        m_refusal = error.Failures().front();
    } catch (const std::exception&) {  // no memory: the session's own failure tells
    }
    return kRefuse;
}

}  // namespace qelftp
