#include <Poco/Exception.h>
#include <Poco/Net/FTPClientSession.h>
#include <Poco/StreamCopier.h>

#include <fstream>
#include <stdexcept>

#include "bench/harness/peer.h"

namespace {

class CPoco : public CPeer {
public:
    CPoco(SServer server, const SManner& manner)
        : m_server(std::move(server)), m_nBlock(manner.nBlock == 0 ? 8192 : manner.nBlock) {}

    void Login() override {
        m_session.open(m_server.strAddress, m_server.usPort, m_server.strUser,
                       m_server.strPassword);
        m_session.setFileType(Poco::Net::FTPClientSession::TYPE_BINARY);
    }
    void Close() override { m_session.close(); }

    std::size_t List(const std::string& strDir) override {
        std::size_t nLines = 0;
        std::string strLine;
        std::istream& lines = m_session.beginList(strDir, true);
        while (std::getline(lines, strLine))
            ++nLines;
        m_session.endList();
        return nLines;
    }

    void Get(const Batch& batch) override {
        for (const auto& [strRemote, strLocal] : batch) {
            std::ofstream file(strLocal, std::ios::binary);
            Poco::StreamCopier::copyStream(m_session.beginDownload(strRemote), file, m_nBlock);
            m_session.endDownload();
            if (!file.flush()) throw std::runtime_error("cannot write " + strLocal);
        }
    }

    void Put(const Batch& batch) override {
        for (const auto& [strRemote, strLocal] : batch) {
            std::ifstream file(strLocal, std::ios::binary);
            if (!file) throw std::runtime_error("cannot open " + strLocal);
            Poco::StreamCopier::copyStream(file, m_session.beginUpload(strRemote), m_nBlock);
            m_session.endUpload();
        }
    }

private:
    SServer m_server;
    std::size_t m_nBlock;
    Poco::Net::FTPClientSession m_session;
};

}  // namespace

std::unique_ptr<CPeer> MakePeer(const SServer& server, const SManner& manner) {
    return std::make_unique<CPoco>(server, manner);
}
