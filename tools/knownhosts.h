#ifndef QEL_TOOLS_KNOWNHOSTS_H
#define QEL_TOOLS_KNOWNHOSTS_H

#include <cstddef>
#include <string>
#include <vector>

namespace qelftp {

// A public key as known_hosts and the SFTP wrapper write it.
struct SPublicKey {
    std::string strType;  // "ssh-ed25519"
    std::string strBlob;  // base64

    bool operator==(const SPublicKey& other) const {
        return strType == other.strType && strBlob == other.strBlob;
    }
};

// "ssh-ed25519 AAAA..."; what follows the blob is a comment. Both texts are empty when it is no
// key.
SPublicKey ParsePublicKey(const std::string& strText);

// "ED25519 SHA256:..." with type and fingerprint as "ssh-keygen -lf" prints them.
std::string KeyFingerprint(const SPublicKey& key);

struct SKnownKey {
    SPublicKey key;
    std::size_t nLine;  // in its file, from 1
};

enum class EHostKey {
    Known,
    Unknown,  // the file has no key of this host
    Changed,  // it has others
    Revoked,
};

struct SHostKeyVerdict {
    EHostKey eHostKey = EHostKey::Unknown;
    // Known and Revoked: the line that says so. Changed: the host's keys of the presented type, or
    // all of them when none is of that type.
    std::vector<SKnownKey> keys;
};

// The content of a known_hosts file (sshd(8), section "SSH_KNOWN_HOSTS FILE FORMAT"). Lines that
// are not understood are passed over, and so are those of certificate authorities: host
// certificates are not asked for.
//
// A host is looked up as the user named it, in small letters. With another port than 22 it is
// "[host]:port"; lines with the bare name then only count when they have the very key.
class CKnownHosts {
public:
    explicit CKnownHosts(const std::string& strText);

    SHostKeyVerdict Judge(const std::string& strHost, unsigned int uPort,
                          const SPublicKey& key) const;

    // The types of the keys that the file has for a host, in its order, each once.
    std::vector<std::string> TypesOf(const std::string& strHost, unsigned int uPort) const;

private:
    enum class EMark { None, Revoked };

    struct SLine {
        EMark eMark;
        std::string strHosts;
        SKnownKey known;
    };

    void AddLine(const std::string& strLine, std::size_t nLine);
    std::vector<SKnownKey> KeysOf(const std::string& strName, EMark eMark) const;

    std::vector<SLine> m_lines;
};

// "host" or "[host]:port", as a line of the file begins.
std::string KnownHostName(const std::string& strHost, unsigned int uPort);

// Whether the first field of a line covers a name of KnownHostName(): patterns with "*", "?" and
// "!", separated by commas, or "|1|salt|hash".
bool CoversHost(const std::string& strHosts, const std::string& strName);

}  // namespace qelftp

#endif
