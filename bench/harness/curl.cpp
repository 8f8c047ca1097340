#include <curl/curl.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "bench/harness/peer.h"

namespace {

std::size_t CountLines(char* pData, std::size_t, std::size_t nSize, void* pCount) {
    *static_cast<std::size_t*>(pCount) +=
        static_cast<std::size_t>(std::count(pData, pData + nSize, '\n'));
    return nSize;
}

// One easy handle, so that the control connection is kept.
class CCurl : public CPeer {
public:
    CCurl(const SServer& server, std::size_t nBlock)
        : m_pHandle(curl_easy_init()),
          m_strServer("ftp://" + server.strAddress + ":" + std::to_string(server.usPort)) {
        if (m_pHandle == nullptr) throw std::runtime_error("no curl handle");
        curl_easy_setopt(m_pHandle, CURLOPT_USERNAME, server.strUser.c_str());
        curl_easy_setopt(m_pHandle, CURLOPT_PASSWORD, server.strPassword.c_str());
        curl_easy_setopt(m_pHandle, CURLOPT_FTP_USE_EPSV, 0L);
        if (nBlock != 0) {
            curl_easy_setopt(m_pHandle, CURLOPT_BUFFERSIZE, static_cast<long>(nBlock));
            curl_easy_setopt(m_pHandle, CURLOPT_UPLOAD_BUFFERSIZE,
                             static_cast<long>(std::max<std::size_t>(nBlock, 16384)));
        }
    }
    ~CCurl() override { curl_easy_cleanup(m_pHandle); }
    CCurl(const CCurl&) = delete;
    CCurl& operator=(const CCurl&) = delete;

    void Login() override {
        curl_easy_setopt(m_pHandle, CURLOPT_NOBODY, 1L);
        Perform("");
        curl_easy_setopt(m_pHandle, CURLOPT_NOBODY, 0L);
    }

    void Close() override {
        curl_easy_cleanup(m_pHandle);
        m_pHandle = nullptr;
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
        std::fclose(pFile);
    }

    void Perform(const std::string& strPath) {
        curl_easy_setopt(m_pHandle, CURLOPT_URL, (m_strServer + "/" + strPath).c_str());
        const CURLcode eResult = curl_easy_perform(m_pHandle);
        if (eResult != CURLE_OK) throw std::runtime_error(curl_easy_strerror(eResult));
    }

    CURL* m_pHandle;
    std::string m_strServer;
};

}  // namespace

std::unique_ptr<CPeer> MakePeer(const SServer& server, std::size_t nBlock) {
    return std::make_unique<CCurl>(server, nBlock);
}
