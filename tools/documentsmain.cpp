// Writes what is said about the program elsewhere than in its help, so that it cannot lag behind:
// qelftp_documents MAN_PAGE BASH_COMPLETION ZSH_COMPLETION

#include <cstdio>
#include <fstream>
#include <string>

#include "tools/completion.h"
#include "tools/manual.h"

namespace {

bool Write(const char* pszPath, const std::string& strText) {
    std::ofstream file(pszPath, std::ios::binary);
    file << strText;
    file.close();
    if (!file.fail()) return true;
    (void)std::fprintf(stderr, "qelftp_documents: %s cannot be written\n", pszPath);
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        (void)std::fputs("usage: qelftp_documents MAN_PAGE BASH_COMPLETION ZSH_COMPLETION\n",
                         stderr);
        return 2;
    }
    const bool bWritten = Write(argv[1], qelftp::ManualPage()) &&
                          Write(argv[2], qelftp::BashCompletion()) &&
                          Write(argv[3], qelftp::ZshCompletion());
    return bWritten ? 0 : 1;
}
