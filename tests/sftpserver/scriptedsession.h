#ifndef QEL_TESTS_SFTPSERVER_SCRIPTEDSESSION_H
#define QEL_TESTS_SFTPSERVER_SCRIPTEDSESSION_H

#include <functional>

#include "tests/sftpserver/hostsession.h"
#include "tests/sftpserver/recordingserver.h"
#include "tests/sftpserver/sftppeer.h"

namespace TestSupport {

// A recording server that plays an SFTP script behind its log-in.
inline SServerScript PlaysSftp(const std::function<void(SftpPeer& peer)>& play) {
    SServerScript script;
    script.subsystem = [play](int nSocket) {
        SftpPeer peer(nSocket);
        peer.Greet();
        play(peer);
    };
    return script;
}

// An account that such a server accepts.
inline TQ_UTIL::StFTPAccountInfo AccountOf(const RecordingServer& server) {
    TQ_UTIL::StFTPAccountInfo account;
    account.strHost = "127.0.0.1";
    account.nPort = server.Port();
    account.strUserName = "bob";
    account.cipherPassword = TQ_UTIL::CcipheString("tea");
    account.strHostKeyFormat = "OPENSSH";
    account.strHostKey = server.HostKey();
    return account;
}

}  // namespace TestSupport

#endif
