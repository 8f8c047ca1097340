#include <curl/curl.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "bench/harness/peer.h"

namespace {

constexpr std::size_t kSmallestUploadBuffer = 16384;  // less is not taken

constexpr int kLongestWait = 1;  // ms

// Before any thread: it is not to be called by several at once.
const CURLcode g_eInitialised = curl_global_init(CURL_GLOBAL_DEFAULT);

std::size_t CountLines(char* pData, std::size_t, std::size_t nSize, void* pCount) {
    *static_cast<std::size_t*>(pCount) +=
        static_cast<std::size_t>(std::count(pData, pData + nSize, '\n'));
    return nSize;
}

// One multi handle, which keeps the control connection.
class CCurl : public CPeer {
public:
    CCurl(const SServer& server, const SManner& manner)
        : m_pHandle(curl_easy_init()),
          m_pMulti(curl_multi_init()),
          m_strServer("ftp://" + server.strAddress + ":" + std::to_string(server.usPort)) {
        if (g_eInitialised != CURLE_OK || m_pHandle == nullptr)
            throw std::runtime_error("no curl handle");
        curl_easy_setopt(m_pHandle, CURLOPT_USERNAME, server.strUser.c_str());
        curl_easy_setopt(m_pHandle, CURLOPT_PASSWORD, server.strPassword.c_str());
        curl_easy_setopt(m_pHandle, CURLOPT_FTP_USE_EPSV, 0L);
        if (manner.nBlock == 0) return;
        const std::size_t nUpload = std::max(manner.nBlock, kSmallestUploadBuffer);
        curl_easy_setopt(m_pHandle, CURLOPT_BUFFERSIZE, static_cast<long>(manner.nBlock));
        curl_easy_setopt(m_pHandle, CURLOPT_UPLOAD_BUFFERSIZE, static_cast<long>(nUpload));
    }
    ~CCurl() override { Close(); }
    CCurl(const CCurl&) = delete;
    CCurl& operator=(const CCurl&) = delete;

    void Login() override {
        curl_easy_setopt(m_pHandle, CURLOPT_NOBODY, 1L);
        Perform("");
        curl_easy_setopt(m_pHandle, CURLOPT_NOBODY, 0L);
        const char* pszDirectory = nullptr;  // what the server said at log-in
        curl_easy_getinfo(m_pHandle, CURLINFO_FTP_ENTRY_PATH, &pszDirectory);
        if (pszDirectory == nullptr) throw std::runtime_error("not logged in");
    }

    void Close() override {
        curl_easy_cleanup(m_pHandle);
        curl_multi_cleanup(m_pMulti);  // which has the connection
        m_pHandle = nullptr;
        m_pMulti = nullptr;
    }

    std::size_t List(const std::string& strDir) override {
        std::size_t nLines = 0;
        curl_easy_setopt(m_pHandle, CURLOPT_HTTPGET, 1L);
        curl_easy_setopt(m_pHandle, CURLOPT_WRITEFUNCTION, CountLines);
        curl_easy_setopt(m_pHandle, CURLOPT_WRITEDATA, &nLines);
        Perform(strDir + "/");
        return nLines;
    }

    void Get(const Batch& batch) override {
        curl_easy_setopt(m_pHandle, CURLOPT_WRITEFUNCTION, nullptr);
        for (const auto& [strRemote, strLocal] : batch)
            Move(strRemote, strLocal, "wb", CURLOPT_WRITEDATA);
    }

    void Put(const Batch& batch) override {
        curl_easy_setopt(m_pHandle, CURLOPT_UPLOAD, 1L);
        for (const auto& [strRemote, strLocal] : batch)
            Move(strRemote, strLocal, "rb", CURLOPT_READDATA);
    }

private:
    void Move(const std::string& strRemote, const std::string& strLocal, const char* pszMode,
              CURLoption eFile) {
        std::FILE* const pFile = std::fopen(strLocal.c_str(), pszMode);
        if (pFile == nullptr) throw std::runtime_error("cannot open " + strLocal);
        std::setvbuf(pFile, nullptr, _IOFBF, 256 * 1024);
        curl_easy_setopt(m_pHandle, eFile, pFile);
        try {
            Perform(strRemote);
        } catch (...) {
            std::fclose(pFile);
            throw;
        }
        if (std::fclose(pFile) != 0) throw std::runtime_error("cannot write " + strLocal);
    }

    // As curl_easy_perform does it, but for the longest wait: that of 7.88 waits for a whole second
    // when the reply to PASV came a moment too early for it.
    void Perform(const std::string& strPath) {
        curl_easy_setopt(m_pHandle, CURLOPT_URL, (m_strServer + "/" + strPath).c_str());
        if (curl_multi_add_handle(m_pMulti, m_pHandle) != CURLM_OK)
            throw std::runtime_error("curl_multi_add_handle");
        int nRunning = 1;
        CURLMcode eState = curl_multi_perform(m_pMulti, &nRunning);
        while (eState == CURLM_OK && nRunning > 0) {
            eState = curl_multi_poll(m_pMulti, nullptr, 0, kLongestWait, nullptr);
            if (eState == CURLM_OK) eState = curl_multi_perform(m_pMulti, &nRunning);
        }
        int nLeft = 0;
        const CURLMsg* const pMessage = curl_multi_info_read(m_pMulti, &nLeft);
        const CURLcode eResult =
            eState == CURLM_OK && pMessage != nullptr ? pMessage->data.result : CURLE_FAILED_INIT;
        curl_multi_remove_handle(m_pMulti, m_pHandle);
        if (eResult != CURLE_OK) throw std::runtime_error(curl_easy_strerror(eResult));
    }

    CURL* m_pHandle;
    CURLM* m_pMulti;
    std::string m_strServer;
};

}  // namespace

std::unique_ptr<CPeer> MakePeer(const SServer& server, const SManner& manner) {
    return std::make_unique<CCurl>(server, manner);
}
