#include "tools/passwordfile.h"

#include <cstring>

#include "tools/failure.h"
#include "tools/privatefile.h"
#include "tools/visible.h"

namespace qelftp {

void ReadPasswordFile(const std::string& strPath, CPlainText& password) {
    const auto fail = [&strPath](const std::string& strReason) {
        throw CUsageError("password file " + VisibleText(strPath) + ": " + strReason);
    };
    const CPrivateFile file(strPath, CPlainText::kMaxSize + std::strlen("\r\n"));
    if (file.Errno() != 0) fail(std::strerror(file.Errno()));
    if (file.OthersCanRead()) {
        fail("others than its owner have rights to it; take them away with chmod 600");
    }
    std::string_view strLine = file.Text();
    if (strLine.empty()) fail("it is empty");
    strLine = strLine.substr(0, strLine.find('\n'));
    if (!strLine.empty() && strLine.back() == '\r') strLine.remove_suffix(1);
    if (!password.Append(strLine.data(), strLine.size())) {
        fail("its first line is too long for a password");
    }
}

}  // namespace qelftp
