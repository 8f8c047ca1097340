#ifndef QEL_STANDALONE_SFTP_ALGORITHMS_H
#define QEL_STANDALONE_SFTP_ALGORITHMS_H

#include <cstddef>
#include <iterator>

// The identifiers of "sftpAlgorithm.cfg" and the SSH names they stand for, each defined here and
// nowhere else. Identifiers are kept for ever: installed configuration files hold the numbers. The
// third digit from the right tells the family, so that an entry in the wrong list is found out.

namespace sftpwrapper {

struct SAlgorithm {
    int nId;
    const char* pszName;  // as in RFC 4253 and its successors
};

inline constexpr SAlgorithm kCiphers[] = {
    {0x101, "aes256-gcm@openssh.com"},
    {0x102, "aes128-gcm@openssh.com"},
    {0x103, "chacha20-poly1305@openssh.com"},
    {0x104, "aes256-ctr"},
    {0x105, "aes192-ctr"},
    {0x106, "aes128-ctr"},
    {0x107, "aes256-cbc"},
    {0x108, "aes192-cbc"},
    {0x109, "aes128-cbc"},
    {0x10a, "3des-cbc"},
};

inline constexpr SAlgorithm kMacs[] = {
    {0x201, "hmac-sha2-256-etm@openssh.com"},
    {0x202, "hmac-sha2-512-etm@openssh.com"},
    {0x203, "hmac-sha2-256"},
    {0x204, "hmac-sha2-512"},
    {0x205, "hmac-sha1-etm@openssh.com"},
    {0x206, "hmac-sha1"},
};

inline constexpr SAlgorithm kKeyExchanges[] = {
    {0x301, "curve25519-sha256"},
    {0x302, "curve25519-sha256@libssh.org"},
    {0x303, "ecdh-sha2-nistp256"},
    {0x304, "ecdh-sha2-nistp384"},
    {0x305, "ecdh-sha2-nistp521"},
    {0x306, "diffie-hellman-group16-sha512"},
    {0x307, "diffie-hellman-group18-sha512"},
    {0x308, "diffie-hellman-group-exchange-sha256"},
    {0x309, "diffie-hellman-group14-sha256"},
    {0x30a, "diffie-hellman-group14-sha1"},
    {0x30b, "diffie-hellman-group1-sha1"},
};

inline constexpr SAlgorithm kHostKeys[] = {
    {0x401, "ssh-ed25519"},
    {0x402, "ecdsa-sha2-nistp256"},
    {0x403, "ecdsa-sha2-nistp384"},
    {0x404, "ecdsa-sha2-nistp521"},
    {0x405, "rsa-sha2-512"},
    {0x406, "rsa-sha2-256"},
    {0x407, "ssh-rsa"},
};

// An absent or unreadable entry arrives as 0.
inline constexpr SAlgorithm kCompressions[] = {
    {0, "none"},
    {0x501, "none"},
    {0x502, "zlib@openssh.com"},
    {0x503, "zlib"},
};

inline constexpr SAlgorithm kAuthTypes[] = {
    {0x601, "publickey"},
    {0x602, "password"},
    {0x603, "keyboard-interactive"},
};

struct SAlgorithmFamily {
    const char* pszTitle;  // for people, "cipher"
    const SAlgorithm* pFirst;
    std::size_t uCount;
};

inline constexpr SAlgorithmFamily kCipherFamily = {"cipher", kCiphers, std::size(kCiphers)};
inline constexpr SAlgorithmFamily kMacFamily = {"MAC", kMacs, std::size(kMacs)};
inline constexpr SAlgorithmFamily kKeyExchangeFamily = {"key-exchange", kKeyExchanges,
                                                        std::size(kKeyExchanges)};
inline constexpr SAlgorithmFamily kHostKeyFamily = {"host-key", kHostKeys, std::size(kHostKeys)};
inline constexpr SAlgorithmFamily kCompressionFamily = {"compression", kCompressions,
                                                        std::size(kCompressions)};
inline constexpr SAlgorithmFamily kAuthTypeFamily = {"authentication-type", kAuthTypes,
                                                     std::size(kAuthTypes)};

}  // namespace sftpwrapper

#endif
