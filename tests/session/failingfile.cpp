#include "tests/session/failingfile.h"

#include <dlfcn.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "platform/files.h"

namespace SessionTest {
namespace {

thread_local CFailingFile* t_pFile = nullptr;

}  // namespace

CFailingFile::CFailingFile(EFailure eFailure, std::string strBytes)
    : m_eFailure(eFailure), m_strBytes(std::move(strBytes)) {
    t_pFile = this;
}

CFailingFile::~CFailingFile() {
    t_pFile = nullptr;
}

long CFailingFile::Give(char* pBuffer, std::size_t nSize) {
    const std::size_t nGiven = std::min(nSize, m_strBytes.size() - m_nDone);
    if (nGiven == 0) {
        errno = EIO;
        return -1;
    }
    std::memcpy(pBuffer, m_strBytes.data() + m_nDone, nGiven);
    m_nDone += nGiven;
    return static_cast<long>(nGiven);
}

long CFailingFile::Take(std::size_t nSize) {
    if (m_eFailure == EFailure::Close) return static_cast<long>(nSize);
    const std::size_t nTaken = std::min(nSize, m_strBytes.size() - m_nDone);
    m_nDone += nTaken;
    if (nTaken == 0) errno = ENOSPC;
    return static_cast<long>(nTaken);
}

int CFailingFile::Close() const {
    if (m_eFailure != EFailure::Close) return 0;
    errno = EIO;
    return -1;
}

}  // namespace SessionTest

namespace ZELT_OS {

FILE* fopen(const char* utf8Path, const char* mode, const char* encoding) {
    using namespace SessionTest;
    using Function = FILE* (*)(const char*, const char*, const char*);
    if (t_pFile == nullptr) {
        static const auto next =
            reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "_ZN7ZELT_OS5fopenEPKcS1_S1_"));
        return next(utf8Path, mode, encoding);
    }
    t_pFile->CountOpening();
    cookie_io_functions_t functions{};
    functions.read = [](void* pFile, char* pBuffer, size_t nSize) -> ssize_t {
        return static_cast<CFailingFile*>(pFile)->Give(pBuffer, nSize);
    };
    functions.write = [](void* pFile, const char*, size_t nSize) -> ssize_t {
        return static_cast<CFailingFile*>(pFile)->Take(nSize);
    };
    functions.close = [](void* pFile) { return static_cast<CFailingFile*>(pFile)->Close(); };
    return ::fopencookie(t_pFile, mode, functions);
}

}  // namespace ZELT_OS
