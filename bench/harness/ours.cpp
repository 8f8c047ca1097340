#include <stdexcept>

#include "bench/harness/peer.h"
#include "include/ftpclient.h"
#include "include/ftpresult.h"

namespace {

using namespace RVN_FTP_CLIENT;

void Check(unsigned int uResult) {
    if (uResult != FTP_OK) throw std::runtime_error(FtpResultText(uResult));
}

class COurs : public CPeer {
public:
    COurs(const SServer& server, const SManner& manner)
        : m_client(server.strAddress, server.usPort, server.strUser,
                   TQ_UTIL::CcipheString(server.strPassword)) {
        if (manner.nBlock == 0) return;  // the classic session: 1,024 bytes
        FtpTransferOptions options;
        options.uBlockSize = static_cast<unsigned int>(manner.nBlock);
        m_client.setTransferOptions(options);
    }

    void Login() override { Check(m_client.Login()); }
    void Close() override { Check(m_client.Close()); }

    std::size_t List(const std::string& strDir) override {
        std::vector<TkFileInfo*> entries;
        Check(m_client.ListFile(strDir, entries));
        for (const TkFileInfo* pEntry : entries)
            delete pEntry;
        return entries.size();
    }

    void Get(const Batch& batch) override {
        std::vector<Ftp_File_Pair> pairs;
        for (const auto& [strRemote, strLocal] : batch)
            pairs.push_back({strRemote, strLocal});
        Check(m_client.GetFile(pairs, false));
    }

    void Put(const Batch& batch) override {
        std::vector<Ftp_File_Pair> pairs;
        for (const auto& [strRemote, strLocal] : batch)
            pairs.push_back({strLocal, strRemote});
        Check(m_client.PutFile(pairs));
    }

private:
    CFtpClient m_client;
};

}  // namespace

std::unique_ptr<CPeer> MakePeer(const SServer& server, const SManner& manner) {
    return std::make_unique<COurs>(server, manner);
}
