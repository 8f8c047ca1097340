#ifndef QEL_TESTS_SFTP_FAKESERVER_H
#define QEL_TESTS_SFTP_FAKESERVER_H

#include <string>

#include "tests/support/tempdir.h"

namespace TestSftp {

// A server directory of the test's own, which the library is told to be the installed one: with
// the algorithm file and a copy of the fake wrapper library. Everything the fake and the
// configuration remember is reset at both ends.
class CFakeServer {
public:
    // strWithout: the entry point that the wrapper library lacks.
    explicit CFakeServer(const std::string& strWithout = "nothing");
    ~CFakeServer();
    CFakeServer(const CFakeServer&) = delete;
    CFakeServer& operator=(const CFakeServer&) = delete;

    std::string Path() const { return m_dir.Path().string(); }
    std::string LibraryPath() const;
    std::string ConfigPath() const;

    // Whether the wrapper library is in the process's memory.
    bool Loaded() const;

    void RemoveLibrary();
    void WriteConfig(const std::string& strText);
    void RemoveConfig();

    // What the library is told, if not Path().
    void AnnouncePath(const std::string& strPath);

private:
    TestSupport::TempDir m_dir;
};

// The two texts that came with the last question for the server path, joined by a comma.
std::string ServerPathArguments();

// ids: cipher 1 2, MAC 3, key exchange 4 5, host key 6, auth type 7 8, compression 9.
extern const char* const kGoodConfig;

}  // namespace TestSftp

#endif
