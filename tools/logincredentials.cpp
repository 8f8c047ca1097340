#include "tools/logincredentials.h"

#include "tools/credentials.h"
#include "tools/password.h"
#include "tools/schemes.h"
#include "tools/sshkeyfile.h"

namespace qelftp {

void ObtainCredentials(const SUrl& url, SConnection& connection,
                       const std::string& strPasswordFile) {
    connection.strUser = AccountName(url);
    const std::string& strKeyFile = connection.ssh.strIdentity;
    if (!FindScheme(url.strScheme)->bKeys || strKeyFile.empty()) {
        connection.password = ObtainPassword(connection.strUser, url.strHost, strPasswordFile);
        return;
    }
    connection.passphrase = ObtainPassphrase(strKeyFile, NeedsPassphrase(strKeyFile));
    const auto password = KnownPassword(connection.strUser, url.strHost, strPasswordFile);
    connection.bHasPassword = password.has_value();
    if (password) connection.password = *password;
}

}  // namespace qelftp
