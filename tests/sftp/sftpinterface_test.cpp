// What both sides of the wrapper's boundary must agree on: positions, layouts, the array.

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <string>

#include "include/sftpclient.h"
#include "src/sftp/sftpsession.h"
#include "tests/sftp/fakeserver.h"
#include "tests/sftp/fakewrapper.h"
#include "tests/sftp/rawobject.h"

namespace {

using RVN_FTP_CLIENT::CSftpClient;
using RVN_FTP_CLIENT::SFTP_Session;
using RVN_FTP_CLIENT::StSFTPConnectionInfo;
using TestSftp::CalledPositions;
using TestSftp::CFake;
using TestSftp::CFakeServer;
using TestSftp::CRawObject;
using TestSftp::Positions;

// ---- virtual tables, as the machine sees them

template <class T>
void** TableOf(T* pObject) {
    return *reinterpret_cast<void***>(pObject);
}

struct SDirNone : SFTP_DirVisitor {
    bool entry(const SFTP_FileInfo& /*info*/) override { return true; }
};

struct SSinkNone : SFTP_Sink {
    bool take(const void* /*pData*/, std::size_t /*nSize*/) override { return true; }
};

struct SSourceNone : SFTP_Source {
    bool give(void* /*pBuffer*/, std::size_t /*nRoom*/, std::size_t* /*pSize*/) override {
        return true;
    }
    bool arrived(std::uint64_t /*ullDone*/) override { return true; }
};

struct SPositionRow {
    int nPosition;
    std::function<void(SFTP_Session_Wrp&)> call;
};

TEST(SftpSessionTable, HasItsOperationsAtTheirPositions) {
    const SFTP_String text("text");
    SFTP_String out;
    const SFTP_Vector<int> list(1);
    SFTP_FileInfo info = {};
    SDirNone visitor;
    SSinkNone sink;
    SSourceNone source;
    int nDetail = 0;
    const SPositionRow rows[] = {
        {1, [&](auto& s) { s.setServerInfo(text, 22, text); }},
        {2, [&](auto& s) { s.setAuthTypeList(list); }},
        {3, [&](auto& s) { s.reserved03(); }},
        {4, [&](auto& s) { s.setRSAPrivateKey(text, 1, &nDetail, text); }},
        {5, [&](auto& s) { s.setPassword(text); }},
        {6, [&](auto& s) { s.setCipherList(list); }},
        {7, [&](auto& s) { s.setMacList(list); }},
        {8, [&](auto& s) { s.setCompression(1); }},
        {9, [&](auto& s) { s.setKeyExchangeList(list); }},
        {10, [&](auto& s) { s.setSessionCallback(nullptr); }},
        {11, [&](auto& s) { s.connect(); }},
        {12, [&](auto& s) { s.disconnect(); }},
        {13, [&](auto& s) { s.closeSession(); }},
        {14, [&](auto& s) { s.lastError(); }},
        {15, [&](auto& s) { s.lastErrorText(); }},
        {16, [&](auto& s) { s.readDir(text, visitor); }},
        {17, [&](auto& s) { s.stat(text, info); }},
        {18, [&](auto& s) { s.makeDir(text); }},
        {19, [&](auto& s) { s.removeDir(text); }},
        {20, [&](auto& s) { s.remove(text); }},
        {21, [&](auto& s) { s.rename(text, text); }},
        {22, [&](auto& s) { s.openFile(text, 0, nullptr); }},
        {23, [&](auto& s) { s.readFile(nullptr, 0, nullptr, 0, nullptr); }},
        {24, [&](auto& s) { s.writeFile(nullptr, 0, nullptr, 0); }},
        {25, [&](auto& s) { s.closeFile(nullptr); }},
        {26, [&](auto& s) { s.getFile(text, text, nullptr); }},
        {27, [&](auto& s) { s.putFile(text, text, nullptr); }},
        {28, [&](auto& s) { s.realPath(text, out); }},
        {29, [&](auto& s) { s.setTimeout(1); }},
        {30, [&](auto& s) { s.reserved30(); }},
        {31, [&](auto& s) { s.preferHostKeys(text); }},
        {32, [&](auto& s) { s.readAll(nullptr, 0, sink); }},
        {33, [&](auto& s) { s.writeAll(nullptr, 0, source); }},
        {34, [&](auto& s) { s.setModified(text, 0); }},
        {35, [&](auto& s) { s.setPermission(text, 0); }},
        {36, [&](auto& s) { s.replace(text, text); }},
        {37, [&](auto& s) { s.statLink(text, info); }},
        {38, [&](auto& s) { s.setConnectTimeout(1); }},
        {39, [&](auto& s) { s.reserved39(); }},
        {49, [&](auto& s) { s.reserved49(); }},
        {50, [&](auto& s) { s.setSessionOption(15); }},
        {51, [&](auto& s) { s.reserved51(); }},
        {66, [&](auto& s) { s.reserved66(); }},
        {67, [&](auto& s) { s.setHostKeyList(list); }},
    };
    CRawObject<SFTP_Session_Wrp> session;
    for (const SPositionRow& row : rows) {
        CalledPositions().clear();
        row.call(session.Get());
        EXPECT_EQ(CalledPositions(), Positions{row.nPosition});
    }
}

TEST(SftpSessionTable, IsCalledByTheLibraryAtThePositionsInUse) {
    const CFakeServer server;
    CRawObject<SFTP_Session_Wrp> session;
    CFake::Instance().pSession = &session.Get();
    CalledPositions().clear();
    auto* pInfo = new StSFTPConnectionInfo;
    TQ_UTIL::StFTPAccountInfo account;
    EXPECT_EQ(CSftpClient::getSFTPSession(pInfo, account), CFake::Instance().pSession);
    EXPECT_EQ(CalledPositions(), (Positions{6, 7, 9, 67, 8, 2, 10, 1, 50, 5}));
    CalledPositions().clear();
    CSftpClient::releaseSFTPConnection(pInfo);
    EXPECT_EQ(CalledPositions(), Positions{13});

    account.strAuthType = "pubkey";
    pInfo = new StSFTPConnectionInfo;
    CalledPositions().clear();
    CSftpClient::getSFTPSession(pInfo, account);
    EXPECT_EQ(CalledPositions(), (Positions{6, 7, 9, 67, 8, 2, 10, 1, 50, 4}));
    CSftpClient::releaseSFTPConnection(pInfo);
}

TEST(SftpContextTable, HasItsThirdOperation) {
    CRawObject<SFTP_GlobalCTX> context;
    CalledPositions().clear();
    context.Get().setGlobalOption(15);
    EXPECT_EQ(CalledPositions(), Positions{3});
}

TEST(SftpCallbackTable, HasItsOperationsAtTheirPositions) {
    CRawObject<SFTP_SessionCB> raw;
    auto& callback = raw.Get();
    CalledPositions().clear();
    callback.firstCallback(nullptr, nullptr);
    callback.secondCallback(nullptr, nullptr);
    callback.thirdCallback(nullptr, nullptr);
    callback.verifyHostKey(SFTP_String(), 0, SFTP_String());
    callback.fifthCallback(nullptr, nullptr);
    callback.~SFTP_SessionCB();
    delete &callback;
    EXPECT_EQ(CalledPositions(), (Positions{1, 2, 3, 4, 5, 6, 7}));
}

// As a wrapper calls it that only knows positions.
TEST(SftpCallbackTable, OfTheLibraryAnswersByPosition) {
    TQ_UTIL::StFTPAccountInfo account;
    account.strHostKeyFormat = "OPENSSH";
    account.strHostKey = "key";
    auto* pSession = new SFTP_Session(account);
    using Callback = int (*)(void*, const void*, const void*);
    using Verify = int (*)(void*, const void*, std::size_t, const SFTP_String*);
    void** ppTable = TableOf(pSession);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(reinterpret_cast<Callback>(ppTable[i])(pSession, nullptr, nullptr), i == 2);
    const SFTP_String key("key");
    const SFTP_String other("other");
    const auto verify = reinterpret_cast<Verify>(ppTable[3]);
    EXPECT_EQ(verify(pSession, nullptr, 0, &key), 0);
    EXPECT_EQ(verify(pSession, nullptr, 0, &other), 2);
    reinterpret_cast<void (*)(void*)>(ppTable[6])(pSession);
}

// ---- layouts

template <class TObject, class TField>
std::ptrdiff_t At(const TObject& object, const TField& field) {
    return reinterpret_cast<const char*>(&field) - reinterpret_cast<const char*>(&object);
}

TEST(SftpRecord, HasItsFieldsInOrder) {
    const StSFTPConnectionInfo info;
    constexpr std::ptrdiff_t kPointer = sizeof(void*);
    EXPECT_EQ(At(info, info.pfnFreeSession), 0);
    EXPECT_EQ(At(info, info.pSession), kPointer);
    EXPECT_EQ(At(info, info.pSessionCB), 2 * kPointer);
    EXPECT_EQ(At(info, info.pfnFiniLibrary), 3 * kPointer);
    EXPECT_EQ(At(info, info.pfnGetLastError), 4 * kPointer);
    EXPECT_EQ(At(info, info.pfnGetErrorDesc), 5 * kPointer);
    EXPECT_EQ(At(info, info.pAceDLL), 6 * kPointer);
    EXPECT_EQ(sizeof(info), 7U * sizeof(void*));
}

// The three texts follow the table pointer, in the order in which the account is copied.
TEST(SftpSessionObject, HoldsHostKeySwitchAndFormatInOrder) {
    TQ_UTIL::StFTPAccountInfo account;
    account.strHostKey = "the key";
    account.strCheckHostKey = "the switch";
    account.strHostKeyFormat = "the format";
    const SFTP_Session session(account);
    const auto* pTexts = reinterpret_cast<const std::string*>(
        reinterpret_cast<const char*>(&session) + sizeof(void*));
    EXPECT_EQ(pTexts[0], "the key");
    EXPECT_EQ(pTexts[1], "the switch");
    EXPECT_EQ(pTexts[2], "the format");
    EXPECT_EQ(sizeof(session), sizeof(void*) + 3 * sizeof(std::string));
}

// ---- SFTP_Vector

constexpr std::uint32_t kFailed = 0xFFFFFFFFU;

class SftpVector : public testing::Test {
protected:
    SftpVector() { CFake::Instance().Reset(); }
    ~SftpVector() override { EXPECT_EQ(CFake::Instance().nLiveBlocks, 0); }
    CFake& m_fake = CFake::Instance();
};

TEST_F(SftpVector, HasItsFieldsInOrder) {
    const SFTP_Vector<int> list(0);
    EXPECT_EQ(At(list, list.data), 8);
    EXPECT_EQ(At(list, list.capacity), 16);
    EXPECT_EQ(At(list, list.size), 24);
    EXPECT_EQ(At(list, list.state), 32);
    EXPECT_EQ(sizeof(list.capacity), 8U);
    EXPECT_EQ(sizeof(list.size), 8U);
    EXPECT_EQ(sizeof(list.state), 4U);
    EXPECT_EQ(sizeof(list), 40U);
}

TEST_F(SftpVector, HasATableOfTwo) {
    CRawObject<SFTP_Vector<int>> raw;
    auto& list = raw.Get();
    CalledPositions().clear();
    list.~SFTP_Vector<int>();
    delete &list;
    EXPECT_EQ(CalledPositions(), (Positions{1, 2}));
}

TEST_F(SftpVector, OfNothingAllocatesNothing) {
    const SFTP_Vector<int> list(0);
    EXPECT_EQ(list.data, nullptr);
    EXPECT_EQ(list.capacity, 0U);
    EXPECT_EQ(list.size, 0U);
    EXPECT_EQ(list.state, 0U);
    EXPECT_EQ(m_fake.nAllocations, 0);
}

TEST_F(SftpVector, BeginsEmptyWithZeroedElements) {
    const SFTP_Vector<int> list(3);
    ASSERT_NE(list.data, nullptr);
    EXPECT_EQ(m_fake.uLastSize, 12U);
    EXPECT_EQ(list.capacity, 3U);
    EXPECT_EQ(list.size, 0U);
    EXPECT_EQ(list.state, 0U);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(list.data[i], 0);
}

TEST_F(SftpVector, TellsAFailedConstruction) {
    m_fake.nFailAllocation = 1;
    SFTP_Vector<int> list(3);
    EXPECT_EQ(list.data, nullptr);
    EXPECT_EQ(list.size, 0U);
    EXPECT_EQ(list.state, kFailed);
    EXPECT_EQ(list.append(1), -1);
    EXPECT_EQ(list.size, 0U);
}

TEST_F(SftpVector, KeepsWhatAFailingAllocatorLeft) {
    void* pLeft = nullptr;
    ASSERT_EQ(kavo_sftp_malloc(&pLeft, 12), 0);
    m_fake.pLeftByFailure = pLeft;
    m_fake.nFailAllocation = 1;
    SFTP_Vector<int> list(3);
    EXPECT_EQ(list.data, pLeft);
    EXPECT_EQ(list.state, kFailed);
    EXPECT_EQ(list.append(1), -1);
}

TEST_F(SftpVector, AppendsWithinItsCapacity) {
    SFTP_Vector<int> list(2);
    EXPECT_EQ(list.append(7), 0);
    EXPECT_EQ(list.append(-8), 0);
    EXPECT_EQ(list.size, 2U);
    EXPECT_EQ(list.data[0], 7);
    EXPECT_EQ(list.data[1], -8);
    EXPECT_EQ(m_fake.nAllocations, 1);
}

TEST_F(SftpVector, GrowsToTwiceItsCapacityAndTwo) {
    SFTP_Vector<int> list(0);
    const std::uint64_t capacities[] = {2, 2, 6, 6, 6, 6, 14};
    for (int i = 0; i < 7; ++i) {
        EXPECT_EQ(list.append(i * 3), 0);
        EXPECT_EQ(list.capacity, capacities[i]) << i;
        EXPECT_EQ(list.size, static_cast<std::uint64_t>(i) + 1);
        EXPECT_EQ(m_fake.nLiveBlocks, 1);  // the old block is free
    }
    EXPECT_EQ(m_fake.nAllocations, 3);
    EXPECT_EQ(m_fake.uLastSize, 14 * sizeof(int));
    for (int i = 0; i < 7; ++i)
        EXPECT_EQ(list.data[i], i * 3);
    for (int i = 7; i < 14; ++i)
        EXPECT_EQ(list.data[i], 0) << "fresh element " << i;
}

TEST_F(SftpVector, KeepsItsElementsWhenItCannotGrow) {
    SFTP_Vector<int> list(1);
    EXPECT_EQ(list.append(5), 0);
    m_fake.nFailAllocation = 1;
    EXPECT_EQ(list.append(6), -1);
    EXPECT_EQ(list.state, kFailed);
    EXPECT_EQ(list.size, 1U);
    EXPECT_EQ(list.data[0], 5);
    EXPECT_EQ(list.append(6), -1);  // also when there would be memory again
}

TEST_F(SftpVector, RefusesASizeThatDoesNotFit) {
    const SFTP_Vector<int> list(UINT64_MAX / 2);
    EXPECT_EQ(list.data, nullptr);
    EXPECT_EQ(list.state, kFailed);
}

// ---- SFTP_String

class SftpString : public SftpVector {};

TEST_F(SftpString, HoldsACopy) {
    char text[] = "tea";
    const SFTP_String string(text);
    text[0] = 'p';
    EXPECT_STREQ(string.c_str(), "tea");
    SFTP_String copy(string);
    EXPECT_STREQ(copy.c_str(), "tea");
    EXPECT_NE(copy.c_str(), string.c_str());
    copy = SFTP_String("coffee");
    EXPECT_STREQ(copy.c_str(), "coffee");
    const SFTP_String& same = copy;
    copy = same;
    EXPECT_STREQ(copy.c_str(), "coffee");
}

TEST_F(SftpString, TellsNullFromEmpty) {
    EXPECT_EQ(SFTP_String().c_str(), nullptr);
    EXPECT_EQ(SFTP_String(nullptr).c_str(), nullptr);
    EXPECT_STREQ(SFTP_String("").c_str(), "");
    m_fake.nFailAllocation = 1;
    EXPECT_EQ(SFTP_String("no memory").c_str(), nullptr);
}

TEST_F(SftpString, WipesItsBytesBeforeTheyAreFreed) {
    m_fake.WatchSecret("secret");
    SFTP_String string("a secret text");
    string = SFTP_String("another secret");
    string = SFTP_String();
    EXPECT_EQ(m_fake.SecretsFreedInPlain(), 0);
}

}  // namespace
