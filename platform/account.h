#ifndef QEL_PLATFORM_ACCOUNT_H
#define QEL_PLATFORM_ACCOUNT_H

#include <string>

#include "platform/cipher.h"

namespace TQ_UTIL {

// A remote account as the host stores it; the SFTP client only reads it. Field order is part of
// the interface: the record crosses library boundaries.
struct StFTPAccountInfo {
    std::string strHost;            // server name or address
    std::string strUserName;        //
    CcipheString cipherPassword;    // used unless strAuthType is "pubkey"
    std::string strAuthType;        // "pubkey": private key; anything else, empty too: password
    CcipheString cipherPassphrase;  // of the private key
    std::string strPrivateKeyFile;  // path of the private key file
    unsigned int nPort = 0;         // server port
    std::string strCheckHostKey;    // "false": any host key is accepted; anything else: checked
    std::string strHostKeyFormat;   // only "OPENSSH" can ever be accepted
    std::string strHostKey;         // the expected key, as one line of that format
};

}  // namespace TQ_UTIL

#endif
