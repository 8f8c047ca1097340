#ifndef QEL_TESTS_SFTP_FAKEWRAPPER_H
#define QEL_TESTS_SFTP_FAKEWRAPPER_H

#include <atomic>
#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <vector>

// The two halves of the fake wrapper library. fakewrapper.cpp is the library: it is opened at run
// time like any wrapper and reports every call to the test program, which says what to answer.
// Variants of it lack one entry point each. fakecontrol.cpp is the program's half; it also takes
// the place of the wrapper's allocator and of dlerror().

class SFTP_Session_Wrp;

// What the library calls; found among the program's dynamic symbols.
extern "C" {
// Records "operation arguments" and returns what the operation shall return.
int FakeCalled(const char* pszOperation, const char* pszArguments);
// The session that SFTP_getNewSession gives out; pOwn is the library's own.
SFTP_Session_Wrp* FakeSession(SFTP_Session_Wrp* pOwn);
}

namespace TestSftp {

// The process's one fake. Any thread.
class CFake {
public:
    static CFake& Instance();

    // Back to: everything succeeds, nothing recorded, the real dlerror().
    void Reset();

    std::vector<std::string> Calls();
    void ForgetCalls();
    void Record(const std::string& strCall);
    // Calls that begin with this.
    std::size_t Count(const std::string& strCall);

    void SetResult(const std::string& strOperation, int nResult);
    int ResultOf(const std::string& strOperation);

    std::atomic<bool> bRecording{true};
    std::atomic<bool> bNullSession{false};
    std::atomic<SFTP_Session_Wrp*> pSession{nullptr};  // given out instead of the library's own

    // The allocator. Blocks are filled with kGarbage; what was in them is looked at when freed.
    static constexpr unsigned char kGarbage = 0xA5;
    std::atomic<int> nFailAllocation{0};  // counts down; the allocation that makes it 0 fails
    std::atomic<void*> pLeftByFailure{nullptr};  // what a failing allocation leaves behind
    std::atomic<int> nAllocations{0};            // successful ones
    std::atomic<int> nLiveBlocks{0};
    std::atomic<std::size_t> uLastSize{0};  // bytes of the last request
    // A text that must not be in a block when it is freed; how often it was.
    void WatchSecret(const std::string& strSecret);
    int SecretsFreedInPlain();
    void LookAtFreed(const void* pBlock, std::size_t nSize);

    // dlerror(): the real one, or this text (null: no error).
    void FakeLoaderError(const char* pszText);
    std::atomic<bool> bFakeLoaderError{false};
    std::atomic<const char*> pszLoaderError{nullptr};

private:
    std::mutex m_lock;
    std::vector<std::string> m_calls;
    std::map<std::string, int> m_results;
    std::string m_strSecret;
    int m_nInPlain = 0;
};

}  // namespace TestSftp

#endif
