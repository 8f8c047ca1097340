#ifndef QEL_TESTS_HOSTILE_TOOLRUN_H
#define QEL_TESTS_HOSTILE_TOOLRUN_H

#include <map>
#include <string>

#include "tests/hostile/hostileserver.h"
#include "tests/support/tempdir.h"
#include "tests/tool/childprocess.h"

namespace HostileTest {

// The command line of qelftp with short time-outs, and a password for it.
ToolTest::Arguments Hasty(ToolTest::Arguments arguments);
ToolTest::SSurroundings WithPassword();
ToolTest::SRun RunHasty(const ToolTest::Arguments& arguments);

std::string UrlOf(const CHostileServer& server, const std::string& strPath);

// A target directory and all that is around it: what a server must not reach.
class CSandbox {
public:
    CSandbox();

    std::string Target() const { return m_dir.File("around/target"); }
    std::string InTarget(const std::string& strName) const { return Target() + "/" + strName; }
    std::string Outside(const std::string& strName) const {
        return m_dir.File("around/" + strName);
    }

    // Fails the test when anything outside the target has changed: a name, a type, a size, a time
    // or a byte.
    void ExpectUntouched() const;

private:
    // By path, what there is to tell of it.
    std::map<std::string, std::string> Snapshot() const;

    TestSupport::TempDir m_dir;
    std::map<std::string, std::string> m_before;
};

}  // namespace HostileTest

#endif
