#include <dlfcn.h>

#include <cstdlib>
#include <cstring>

#include "platform/sftpwrapper.h"
#include "tests/sftp/fakewrapper.h"

namespace TestSftp {

// Never destroyed: the library reports its unloading, which may be at the end of the process.
CFake& CFake::Instance() {
    static CFake& fake = *new CFake;
    return fake;
}

void CFake::Reset() {
    bRecording = true;
    bNullSession = false;
    pSession = nullptr;
    nFailAllocation = 0;
    pLeftByFailure = nullptr;
    nAllocations = 0;
    bFakeLoaderError = false;
    pszLoaderError = nullptr;
    const std::lock_guard<std::mutex> guard(m_lock);
    m_calls.clear();
    m_results.clear();
    m_strSecret.clear();
    m_nInPlain = 0;
}

std::vector<std::string> CFake::Calls() {
    const std::lock_guard<std::mutex> guard(m_lock);
    return m_calls;
}

void CFake::ForgetCalls() {
    const std::lock_guard<std::mutex> guard(m_lock);
    m_calls.clear();
}

void CFake::Record(const std::string& strCall) {
    if (!bRecording) return;
    const std::lock_guard<std::mutex> guard(m_lock);
    m_calls.push_back(strCall);
}

std::size_t CFake::Count(const std::string& strCall) {
    std::size_t nCount = 0;
    for (const std::string& strMade : Calls()) {
        if (strMade.compare(0, strCall.size(), strCall) == 0) ++nCount;
    }
    return nCount;
}

void CFake::SetResult(const std::string& strOperation, int nResult) {
    const std::lock_guard<std::mutex> guard(m_lock);
    m_results[strOperation] = nResult;
}

int CFake::ResultOf(const std::string& strOperation) {
    const std::lock_guard<std::mutex> guard(m_lock);
    const auto result = m_results.find(strOperation);
    return result == m_results.end() ? 0 : result->second;
}

void CFake::WatchSecret(const std::string& strSecret) {
    const std::lock_guard<std::mutex> guard(m_lock);
    m_strSecret = strSecret;
    m_nInPlain = 0;
}

int CFake::SecretsFreedInPlain() {
    const std::lock_guard<std::mutex> guard(m_lock);
    return m_nInPlain;
}

void CFake::LookAtFreed(const void* pBlock, std::size_t nSize) {
    const std::lock_guard<std::mutex> guard(m_lock);
    if (m_strSecret.empty()) return;
    if (memmem(pBlock, nSize, m_strSecret.data(), m_strSecret.size()) != nullptr) ++m_nInPlain;
}

void CFake::FakeLoaderError(const char* pszText) {
    pszLoaderError = pszText;
    bFakeLoaderError = true;
}

namespace {

// Looked up before main(): a successful dlsym() clears the error that dlerror() would tell.
const auto g_pRealDlerror = reinterpret_cast<char* (*)()>(dlsym(RTLD_NEXT, "dlerror"));

// In front of each block; keeps the alignment of malloc.
struct alignas(std::max_align_t) SBlockSize {
    std::size_t nSize;
};

}  // namespace
}  // namespace TestSftp

using TestSftp::CFake;

int FakeCalled(const char* pszOperation, const char* pszArguments) {
    CFake& fake = CFake::Instance();
    const std::string strArguments = pszArguments;
    fake.Record(strArguments.empty() ? pszOperation
                                     : std::string(pszOperation) + " " + strArguments);
    return fake.ResultOf(pszOperation);
}

SFTP_Session_Wrp* FakeSession(SFTP_Session_Wrp* pOwn) {
    CFake& fake = CFake::Instance();
    if (fake.bNullSession) return nullptr;
    SFTP_Session_Wrp* pGiven = fake.pSession;
    return pGiven != nullptr ? pGiven : pOwn;
}

int kavo_sftp_malloc(void** out, std::size_t size) {
    CFake& fake = CFake::Instance();
    fake.uLastSize = size;
    if (fake.nFailAllocation > 0 && --fake.nFailAllocation == 0) {
        *out = fake.pLeftByFailure.exchange(nullptr);
        return -1;
    }
    auto* pSize =
        static_cast<TestSftp::SBlockSize*>(std::malloc(sizeof(TestSftp::SBlockSize) + size));
    if (pSize == nullptr) return -1;
    pSize->nSize = size;
    *out = std::memset(pSize + 1, CFake::kGarbage, size);
    ++fake.nAllocations;
    ++fake.nLiveBlocks;
    return 0;
}

void kavo_sftp_free(void* block) {
    if (block == nullptr) return;
    CFake& fake = CFake::Instance();
    auto* pSize = static_cast<TestSftp::SBlockSize*>(block) - 1;
    fake.LookAtFreed(block, pSize->nSize);
    --fake.nLiveBlocks;
    std::free(pSize);
}

// In place of the C library's, for the program and all libraries it loads.
char* dlerror() noexcept {
    CFake& fake = CFake::Instance();
    // Null while the program is being started.
    if (!fake.bFakeLoaderError)
        return TestSftp::g_pRealDlerror == nullptr ? nullptr : TestSftp::g_pRealDlerror();
    fake.Record("dlerror");
    return const_cast<char*>(fake.pszLoaderError.load());
}
