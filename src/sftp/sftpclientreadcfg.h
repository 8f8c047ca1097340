#ifndef QEL_SFTP_SFTPCLIENTREADCFG_H
#define QEL_SFTP_SFTPCLIENTREADCFG_H

#include <atomic>
#include <string>
#include <vector>

namespace RVN_FTP_CLIENT {

// The algorithm preferences of sftpAlgorithm.cfg: five ordered lists of identifiers and one
// compression. What an identifier means is the wrapper library's affair.
//
// Read once per process, when first asked for. A file that is missing or unreadable is logged then
// and leaves the lists empty for good.
class CSftpClientConfManager {
public:
    // The one instance, made by the first caller while others wait; null when the lock that guards
    // this cannot be had. Afterwards no lock is taken.
    static CSftpClientConfManager* Instance();

    // Destroys the instance; the next Instance() reads the file again. Nobody may use it meanwhile.
    static void Release();

    CSftpClientConfManager(const CSftpClientConfManager&) = delete;
    CSftpClientConfManager& operator=(const CSftpClientConfManager&) = delete;

    // In the order of preference.
    const std::vector<int>& getCipherList() const { return m_vecCipher; }
    const std::vector<int>& getMacList() const { return m_vecMac; }
    const std::vector<int>& getKeyExchangeList() const { return m_vecKeyExchange; }
    const std::vector<int>& getHostKeyList() const { return m_vecHostKey; }
    const std::vector<int>& getAuthTypeList() const { return m_vecAuthType; }

    // 0 when the file names none.
    int getCompression() const { return m_nCompression; }

    // True when none of the lists is empty.
    bool isConfigValid() const;

private:
    CSftpClientConfManager() { init(); }
    ~CSftpClientConfManager() = default;

    // Finds and loads the file and fills the fields.
    void init();

    // Appends the identifiers that the key's entries name. Entries without a value are left out.
    void initCfgItem(const std::string& strName, std::vector<int>& list);

    // The last entry of "Compression" that has a value.
    void initCompressionCfgItem();

    // Appends the entry names of a key: "aes;ctr;" names two. Each ends with ";"; what follows the
    // last one is ignored, and blanks belong to the names.
    void getSupportedAlgorithmList(const std::string& strName, std::vector<std::string>& entries);

    std::vector<int> m_vecCipher;
    std::vector<int> m_vecMac;
    std::vector<int> m_vecKeyExchange;
    std::vector<int> m_vecHostKey;
    std::vector<int> m_vecAuthType;
    int m_nCompression = 0;

    static std::atomic<CSftpClientConfManager*> s_pInstance;
};

}  // namespace RVN_FTP_CLIENT

#endif
