#include "tests/load/smallthreads.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <utility>

namespace LoadTest {
namespace {

constexpr std::size_t kStack = 256U * 1024U;
constexpr std::time_t kLongest = 150;  // seconds that Join() waits: no test of this kind takes them

// The threads that run already wait for those that are missing: there is no way on.
void Require(int nError, const char* pszWhat) {
    if (nError == 0) return;
    std::fprintf(stderr, "%s: %s\n", pszWhat, std::strerror(nError));
    std::abort();
}

}  // namespace

CSmallThreads::CSmallThreads(int nThreads, std::function<void(int)> work)
    : m_work(std::move(work)) {
    pthread_attr_t attributes;
    Require(::pthread_attr_init(&attributes), "pthread_attr_init");
    Require(::pthread_attr_setstacksize(&attributes, kStack), "pthread_attr_setstacksize");
    for (int n = 0; n < nThreads; ++n)
        m_starts.push_back({this, n});
    for (SStart& start : m_starts) {
        m_threads.emplace_back();
        Require(::pthread_create(&m_threads.back(), &attributes, Run, &start), "pthread_create");
    }
    ::pthread_attr_destroy(&attributes);
}

// A thread that hangs ends the test program with its abort; the core dump tells where it hung.
void CSmallThreads::Join() {
    timespec limit{};
    ::clock_gettime(CLOCK_REALTIME, &limit);
    limit.tv_sec += kLongest;
    for (std::size_t n = 0; n < m_threads.size(); ++n) {
        const std::string strWhat = "thread " + std::to_string(n) + " does not end";
        Require(::pthread_timedjoin_np(m_threads[n], nullptr, &limit), strWhat.c_str());
    }
    m_threads.clear();
}

void* CSmallThreads::Run(void* pStart) {
    const SStart& start = *static_cast<const SStart*>(pStart);
    start.pAll->m_work(start.nThread);
    return nullptr;
}

}  // namespace LoadTest
