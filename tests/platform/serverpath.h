#ifndef QEL_TESTS_PLATFORM_SERVERPATH_H
#define QEL_TESTS_PLATFORM_SERVERPATH_H

#include <gtest/gtest.h>
#include <stdlib.h>

#include <string>

#include "platform/paths.h"

namespace PlatformTest {

struct SServerPathCase {
    const char* pszVariable;  // QEL_SERVER_PATH; null: not set
    int nResult;
    std::string strPath;
};

// Asks by both names.
inline void ExpectServerPath(const SServerPathCase& row) {
    if (row.pszVariable == nullptr)
        unsetenv("QEL_SERVER_PATH");
    else
        setenv("QEL_SERVER_PATH", row.pszVariable, 1);

    std::string strPath = "before";
    EXPECT_EQ(TQ_UTIL::SovGetServerPath_WB(strPath), row.nResult);
    EXPECT_EQ(strPath, row.strPath);
    strPath = "before";
    EXPECT_EQ(tq_zeltsdk_wrap::SovGetServerPath(strPath, "", ""), row.nResult);
    EXPECT_EQ(strPath, row.strPath);
    strPath = "before";
    EXPECT_EQ(tq_zeltsdk_wrap::SovGetServerPath(strPath, "component", "instance"), row.nResult);
    EXPECT_EQ(strPath, row.strPath);
}

}  // namespace PlatformTest

#endif
