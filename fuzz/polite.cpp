#include "fuzz/polite.h"

namespace QelFuzz {
namespace {

struct SAnswer {
    const char* pszVerb;
    const char* pszReply;
};

constexpr SAnswer kAnswers[] = {
    {"USER", "331 password\r\n"},
    {"PASS", "230 in\r\n"},
    {"PWD", "257 \"/home\"\r\n"},
    {"SYST", "215 UNIX\r\n"},
    {"TYPE", "200 ok\r\n"},
    {"OPTS", "200 ok\r\n"},
    {"CWD", "250 ok\r\n"},
    {"MKD", "257 made\r\n"},
    {"RMD", "250 gone\r\n"},
    {"DELE", "250 gone\r\n"},
    {"PASV", "227 here (127,0,0,1,200,1)\r\n"},
    {"LIST",
     "150 here\r\n\x03"
     "226 done\r\n"},
    {"RETR",
     "150 here\r\n\x03"
     "226 done\r\n"},
    {"STOR",
     "150 here\r\n\x03"
     "226 done\r\n"},
    {"ABOR", "226 aborted\r\n"},
    {"QUIT", "221 bye\r\n"},
};

}  // namespace

std::string PoliteReply(std::string_view strCommand) {
    const std::string_view strVerb = strCommand.substr(0, strCommand.find_first_of(" \r"));
    for (const SAnswer& answer : kAnswers)
        if (strVerb == answer.pszVerb) return answer.pszReply;
    return {};
}

std::string PoliteData() {
    return "drwxr-xr-x 2 u g 4096 Mar 3 2019 d\r\n-rw-r--r-- 1 u g 5 Mar 3 2019 a b\r\n\x02";
}

}  // namespace QelFuzz
