// Many threads at once. What these tests find depends on the build: run them under
// ThreadSanitizer, too.

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "platform/cipher.h"
#include "platform/encoding.h"
#include "platform/files.h"
#include "platform/logging.h"
#include "platform/resources.h"
#include "tests/platform/childprocess.h"
#include "tests/platform/logchild.h"
#include "tests/platform/scratchdirectory.h"
#include "tests/platform/testlocale.h"

namespace PlatformTest {
namespace {

constexpr int kThreads = 8;

// Runs work(0) to work(kThreads - 1), all of them at the same time.
void InThreads(const std::function<void(int)>& work) {
    std::atomic<int> nWaiting{kThreads};
    std::vector<std::thread> threads;
    for (int nThread = 0; nThread < kThreads; ++nThread)
        threads.emplace_back([&, nThread] {
            --nWaiting;
            while (nWaiting > 0)
                std::this_thread::yield();
            work(nThread);
        });
    for (std::thread& thread : threads)
        thread.join();
}

// Also the first use of the key, by all threads.
TEST(Threads, EncipherEachTheirOwn) {
    std::atomic<int> nWrong{0};
    InThreads([&](int nThread) {
        for (int i = 0; i < 200; ++i) {
            const std::string strPlain = std::to_string(nThread) + " secret " + std::to_string(i);
            const TQ_UTIL::CcipheString secret(strPlain);
            const TQ_UTIL::CcipheString copy(secret);
            TQ_UTIL::WBAutoPassword holder;
            TQ_UTIL::CWBSovAdapterFactory factory;
            if (factory.getSovInterface()->Decipher(&copy, &holder) != 0 ||
                holder.GetPassword() != strPlain)
                ++nWrong;
        }
    });
    EXPECT_EQ(nWrong, 0);
}

TEST(Threads, ReadAndReplaceResources) {
    const CScratchDirectory directory;
    WriteFile(directory.Path("even"), "key=even, and longer than a string keeps inside\n");
    WriteFile(directory.Path("odd"), "key=odd, and longer than a string keeps inside\n");
    ASSERT_NE(ZeltAddResFileWithAbsolute(directory.Path("even")), 0);
    const std::set<std::string> allowed = {"even, and longer than a string keeps inside",
                                           "odd, and longer than a string keeps inside"};
    std::atomic<int> nWrong{0};
    InThreads([&](int nThread) {
        for (int i = 0; i < 200; ++i) {
            const char* const pszText = ZeltGetResString("key");
            const std::string strFile = directory.Path(nThread % 2 == 0 ? "even" : "odd");
            if (ZeltAddResFileWithAbsolute(strFile) == 0) ++nWrong;
            if (allowed.count(pszText) == 0) ++nWrong;
        }
    });
    EXPECT_EQ(nWrong, 0);
}

TEST(Threads, ConvertTexts) {
    ASSERT_TRUE(UseLocale("zh_CN.GB18030"));
    std::atomic<int> nWrong{0};
    InThreads([&](int nThread) {
        const std::string strDigit = std::to_string(nThread);
        for (int i = 0; i < 500; ++i) {
            if (ZeltGlobalUtils::UTF8TOLOC((strDigit + "\xE4\xB8\xAD").c_str()) !=
                strDigit + "\xD6\xD0")
                ++nWrong;
            if (ZeltGlobalUtils::LOCTOUTF8((strDigit + "\xCE\xC4").c_str()) !=
                strDigit + "\xE6\x96\x87")
                ++nWrong;
            const std::string strInvalid = strDigit + "\xFF";
            if (ZeltGlobalUtils::LOCTOUTF8(strInvalid.c_str()) != strInvalid) ++nWrong;
        }
    });
    EXPECT_EQ(nWrong, 0);
}

TEST(Threads, FilterTexts) {
    std::atomic<int> nWrong{0};
    InThreads([&](int nThread) {
        const std::string strDigit = std::to_string(nThread);
        for (int i = 0; i < 500; ++i)
            if (TQ_UTIL::CWBLogFilter::getInstance()->filter(strDigit + "\nPASS tea\r\n") !=
                strDigit + "\\nPASS ****")
                ++nWrong;
    });
    EXPECT_EQ(nWrong, 0);
}

// Lines of one thread in its order, none torn or lost.
void ExpectEveryLine(const std::string& strLog) {
    std::vector<int> nextLine(kLogThreads, 0);
    int nTraces = 0;
    std::istringstream text(strLog);
    for (std::string strLine; std::getline(text, strLine);) {
        int nThread = -1;
        int nLine = -1;
        int nWhere = -1;
        const std::size_t nText = strLine.find(" info thread ");
        if (nText == std::string::npos) {
            const bool bTrace = strLine.find(" trace enter (logchild threads:") < 60 ||
                                strLine.find(" trace leave (logchild threads:") < 60;
            ASSERT_TRUE(bTrace && strLine.back() == ')') << strLine;
            ++nTraces;
            continue;
        }
        ASSERT_EQ(
            std::sscanf(strLine.c_str() + nText, " info thread %d line %d (logchild threads:%d)",
                        &nThread, &nLine, &nWhere),
            3)
            << strLine;
        ASSERT_TRUE(nThread >= 0 && nThread < kLogThreads && strLine.back() == ')') << strLine;
        ASSERT_EQ(nLine, nextLine[static_cast<std::size_t>(nThread)]++) << strLine;
        ASSERT_EQ(nWhere, nLine) << strLine;
    }
    EXPECT_EQ(nextLine, std::vector<int>(kLogThreads, kLogLines));
    EXPECT_EQ(nTraces, 2 * kLogThreads * kLogLines);
}

TEST(Threads, LogToStandardError) {
    const SChildResult result = RunChild(
        QEL_TEST_LOGCHILD, "threads", {{"QEL_LOG_FILE", std::nullopt}, {"QEL_LOG_LEVEL", "trace"}});
    EXPECT_EQ(result.nExit, 0);
    ExpectEveryLine(result.strError);
}

TEST(Threads, LogToAFile) {
    const CScratchDirectory directory;
    const std::string strFile = directory.Path("file.log");
    const SChildResult result = RunChild(QEL_TEST_LOGCHILD, "threads",
                                         {{"QEL_LOG_FILE", strFile}, {"QEL_LOG_LEVEL", "trace"}});
    EXPECT_EQ(result.nExit, 0) << result.strError;
    EXPECT_EQ(result.strError, "");
    ExpectEveryLine(ReadFile(strFile));
}

}  // namespace
}  // namespace PlatformTest
