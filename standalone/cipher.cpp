#include "platform/cipher.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <climits>
#include <cstddef>
#include <memory>

#include "standalone/cipherkey.h"

// AES-256-GCM. An enciphered text is nonce + tag + as many bytes as the plain text has. The nonce
// is random; by NIST SP 800-38D, section 8.3, one key is good for 2^32 of them, far more than one
// process enciphers.

namespace TQ_UTIL {
namespace {

constexpr std::size_t kNonceSize = 12;
constexpr std::size_t kTagSize = 16;
constexpr std::size_t kHeadSize = kNonceSize + kTagSize;
constexpr std::size_t kMaxPlain = INT_MAX - kHeadSize;
constexpr int kFailed = -1;

struct SFreeContext {
    void operator()(EVP_CIPHER_CTX* pContext) const { EVP_CIPHER_CTX_free(pContext); }
};
using Context = std::unique_ptr<EVP_CIPHER_CTX, SFreeContext>;

// A plain text on its way to the holder, gone from memory afterwards.
class CPlainBuffer {
public:
    explicit CPlainBuffer(std::size_t nSize)
        : m_nSize(nSize), m_bytes(std::make_unique<char[]>(nSize + 1)) {}
    ~CPlainBuffer() { OPENSSL_cleanse(m_bytes.get(), m_nSize); }

    CPlainBuffer(const CPlainBuffer&) = delete;
    CPlainBuffer& operator=(const CPlainBuffer&) = delete;

    char* Data() { return m_bytes.get(); }

private:
    std::size_t m_nSize;
    std::unique_ptr<char[]> m_bytes;
};

unsigned char* Bytes(char* pText) {
    return reinterpret_cast<unsigned char*>(pText);
}
const unsigned char* Bytes(const char* pText) {
    return reinterpret_cast<const unsigned char*>(pText);
}

// Empty when it cannot be done, which no enciphered text is: the failure shows when someone
// deciphers, and never passes for the empty secret.
std::string Encipher(const std::string& strPlain) {
    const unsigned char* const pKey = qel_standalone::ProcessCipherKey();
    const Context context(EVP_CIPHER_CTX_new());
    if (pKey == nullptr || context == nullptr || strPlain.size() > kMaxPlain) return {};

    std::string strEnciphered(kHeadSize + strPlain.size(), '\0');
    unsigned char* const pNonce = Bytes(strEnciphered.data());
    unsigned char* const pTag = pNonce + kNonceSize;
    unsigned char* const pText = pNonce + kHeadSize;
    const int nPlain = static_cast<int>(strPlain.size());
    int nWritten = 0;
    const bool bDone =
        RAND_bytes(pNonce, static_cast<int>(kNonceSize)) == 1 &&
        EVP_EncryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, pKey, pNonce) == 1 &&
        (nPlain == 0 ||
         EVP_EncryptUpdate(context.get(), pText, &nWritten, Bytes(strPlain.data()), nPlain) == 1) &&
        EVP_EncryptFinal_ex(context.get(), pText + nWritten, &nWritten) == 1 &&
        EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_GET_TAG, static_cast<int>(kTagSize),
                            pTag) == 1;
    return bDone ? strEnciphered : std::string();
}

// Writes the plain text, kHeadSize bytes shorter than strEnciphered, to pPlain. False unless it is
// exactly what this process enciphered; pPlain is then not to be used.
bool Decipher(const std::string& strEnciphered, char* pPlain) {
    const unsigned char* const pKey = qel_standalone::ProcessCipherKey();
    const Context context(EVP_CIPHER_CTX_new());
    if (pKey == nullptr || context == nullptr) return false;

    const unsigned char* const pNonce = Bytes(strEnciphered.data());
    void* const pTag = const_cast<unsigned char*>(pNonce) + kNonceSize;  // only read
    const unsigned char* const pText = pNonce + kHeadSize;
    const int nText = static_cast<int>(strEnciphered.size() - kHeadSize);
    int nWritten = 0;
    return EVP_DecryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, pKey, pNonce) == 1 &&
           EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_TAG, static_cast<int>(kTagSize),
                               pTag) == 1 &&
           (nText == 0 ||
            EVP_DecryptUpdate(context.get(), Bytes(pPlain), &nWritten, pText, nText) == 1) &&
           EVP_DecryptFinal_ex(context.get(), Bytes(pPlain) + nWritten, &nWritten) == 1;
}

class CSovAdapter final : public ISovAdapter {
public:
    int Reserved01() override { return kFailed; }
    int Reserved02() override { return kFailed; }
    int Reserved03() override { return kFailed; }
    int Reserved04() override { return kFailed; }
    int Reserved05() override { return kFailed; }
    int Reserved06() override { return kFailed; }
    int Reserved07() override { return kFailed; }

    int Decipher(const CcipheString* secret, WBAutoPassword* plain) override {
        if (secret == nullptr || plain == nullptr) return kFailed;
        return secret->GetOriginalStr(*plain);
    }
};

}  // namespace

CcipheString::CcipheString() : CcipheString(std::string()) {}

CcipheString::CcipheString(const std::string& plain) : m_strEnciphered(Encipher(plain)) {}

int CcipheString::GetOriginalStr(WBAutoPassword& plain) const {
    if (m_strEnciphered.size() < kHeadSize) return kFailed;
    const std::size_t nPlain = m_strEnciphered.size() - kHeadSize;
    if (nPlain > kMaxPlain) return kFailed;
    CPlainBuffer buffer(nPlain);
    if (!Decipher(m_strEnciphered, buffer.Data())) return kFailed;
    return plain.SetPassword(buffer.Data(), static_cast<unsigned int>(nPlain)) == 0 ? 0 : kFailed;
}

ISovAdapter* CWBSovAdapterFactory::getSovInterface() {
    static CSovAdapter adapter;  // nothing to destroy: usable while the process exits
    return &adapter;
}

}  // namespace TQ_UTIL
