#include "tools/credentials.h"

#include "platform/encoding.h"
#include "tools/netrc.h"

namespace qelftp {

std::string AccountName(const SUrl& url) {
    if (url.bUserNamed) return url.strUser;
    SNetrcAccount account;
    CPlainText unused;
    if (!FindInUsersNetrc(url.strHost, "", account, unused)) return url.strUser;
    return ZeltGlobalUtils::LOCTOUTF8(account.strLogin.c_str());
}

}  // namespace qelftp
