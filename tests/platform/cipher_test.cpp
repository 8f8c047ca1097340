#include "platform/cipher.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

using TQ_UTIL::CcipheString;
using TQ_UTIL::CWBSovAdapterFactory;
using TQ_UTIL::ISovAdapter;
using TQ_UTIL::WBAutoPassword;

// The enciphered bytes: the class is one string, and the test may see and damage it.
std::string& Storage(CcipheString& secret) {
    static_assert(sizeof(CcipheString) == sizeof(std::string));
    return reinterpret_cast<std::string&>(secret);
}

std::string Held(WBAutoPassword& holder) {
    return holder.GetPassword() == nullptr ? "<null>"
                                           : std::string(holder.GetPassword(), holder.GetLength());
}

std::string AllBytes() {
    std::string strAll;
    for (int i = 0; i < 256; ++i)
        strAll += static_cast<char>(i);
    return strAll;
}

std::vector<std::string> Secrets() {
    std::string strLong;
    for (int i = 0; i < 1 << 20; ++i)
        strLong += static_cast<char>(i * 7 + i / 251);
    return {"",
            "a",
            "tea",
            "correct horse battery staple",
            std::string("\0", 1),
            AllBytes(),
            std::move(strLong),
            std::string("zero\0inside\0", 12)};
}

TEST(CipheredSecret, ComesBackWhole) {
    for (const std::string& strPlain : Secrets()) {
        WBAutoPassword holder;
        EXPECT_EQ(CcipheString(strPlain).GetOriginalStr(holder), 0);
        ASSERT_NE(holder.GetPassword(), nullptr);
        EXPECT_EQ(holder.GetLength(), strPlain.size());
        EXPECT_TRUE(Held(holder) == strPlain) << strPlain.size() << " bytes";
        EXPECT_EQ(holder.GetPassword()[strPlain.size()], '\0');
    }
}

TEST(CipheredSecret, IsEmptyByDefault) {
    WBAutoPassword holder;
    holder.SetPassword("before");
    EXPECT_EQ(CcipheString().GetOriginalStr(holder), 0);
    EXPECT_EQ(Held(holder), "");
    EXPECT_EQ(holder.GetLength(), 0U);
}

TEST(CipheredSecret, ReplacesWhatTheHolderHeld) {
    WBAutoPassword holder;
    holder.SetPassword("something longer than the secret");
    EXPECT_EQ(CcipheString("tea").GetOriginalStr(holder), 0);
    EXPECT_STREQ(holder.GetPassword(), "tea");
    EXPECT_EQ(holder.GetLength(), 3U);
}

TEST(CipheredSecret, NeverStandsInItsStorage) {
    // Short enough for a string to keep inside itself, and longer.
    for (const std::string strPlain :
         {"tea4two", "a passphrase that is kept on the heap for sure"}) {
        CcipheString secret(strPlain);
        const std::string strObject(reinterpret_cast<const char*>(&secret), sizeof(secret));
        EXPECT_EQ(strObject.find(strPlain), std::string::npos);
        EXPECT_EQ(Storage(secret).find(strPlain), std::string::npos);
        // Not a part of it either: three bytes agree by chance once in millions of runs.
        for (std::size_t i = 0; i + 3 <= strPlain.size(); ++i)
            EXPECT_EQ(Storage(secret).find(strPlain.substr(i, 3)), std::string::npos);
    }
}

TEST(CipheredSecret, LooksDifferentEachTime) {
    CcipheString first("tea");
    CcipheString second("tea");
    EXPECT_NE(Storage(first), Storage(second));
    // Not only by a nonce before the same text: the part at the end is the enciphered text.
    const std::string strSame(64, 'x');
    CcipheString third(strSame);
    CcipheString fourth(strSame);
    EXPECT_NE(Storage(third).substr(Storage(third).size() - 64),
              Storage(fourth).substr(Storage(fourth).size() - 64));
}

TEST(CipheredSecret, CopiesAreIndependent) {
    auto original = std::make_unique<CcipheString>("tea");
    CcipheString copy(*original);
    CcipheString assigned;
    assigned = *original;
    Storage(*original).back() ^= 1;
    WBAutoPassword holder;
    EXPECT_NE(original->GetOriginalStr(holder), 0);
    EXPECT_EQ(copy.GetOriginalStr(holder), 0);
    EXPECT_EQ(Held(holder), "tea");
    original.reset();
    copy = CcipheString("coffee");
    EXPECT_EQ(assigned.GetOriginalStr(holder), 0);
    EXPECT_EQ(Held(holder), "tea");
    EXPECT_EQ(copy.GetOriginalStr(holder), 0);
    EXPECT_EQ(Held(holder), "coffee");
}

void ExpectRefused(const CcipheString& damaged) {
    WBAutoPassword holder;
    holder.SetPassword("before");
    const char* const pBefore = holder.GetPassword();
    EXPECT_NE(damaged.GetOriginalStr(holder), 0);
    EXPECT_EQ(Held(holder), "before");
    EXPECT_EQ(holder.GetPassword(), pBefore);
}

TEST(CipheredSecret, IsRefusedWhenAnyBitWasChanged) {
    for (const char* pszPlain : {"", "tea"}) {
        const CcipheString secret(pszPlain);
        CcipheString damaged(secret);
        for (std::size_t nBit = 0; nBit < Storage(damaged).size() * 8; ++nBit) {
            SCOPED_TRACE(testing::Message() << "bit " << nBit << " of '" << pszPlain << "'");
            damaged = secret;
            Storage(damaged)[nBit / 8] ^= static_cast<char>(1 << nBit % 8);
            ExpectRefused(damaged);
        }
    }
}

TEST(CipheredSecret, IsRefusedWhenCutOrExtended) {
    const CcipheString secret("tea");
    CcipheString damaged(secret);
    for (std::size_t nLeft = 0; nLeft < Storage(damaged).size(); ++nLeft) {
        SCOPED_TRACE(nLeft);
        damaged = secret;
        Storage(damaged).resize(nLeft);
        ExpectRefused(damaged);
    }
    damaged = secret;
    Storage(damaged) += '\0';
    ExpectRefused(damaged);
}

class CRefusingHolder : public WBAutoPassword {
public:
    using WBAutoPassword::SetPassword;
    unsigned int SetPassword(const char*, unsigned int) override { return 7; }
};

TEST(CipheredSecret, FailsWhenTheHolderRefuses) {
    CRefusingHolder holder;
    EXPECT_NE(CcipheString("tea").GetOriginalStr(holder), 0);
}

TEST(SovAdapter, IsTheSameForEveryone) {
    ISovAdapter* const pAdapter = CWBSovAdapterFactory().getSovInterface();
    ASSERT_NE(pAdapter, nullptr);
    EXPECT_EQ(CWBSovAdapterFactory().getSovInterface(), pAdapter);
}

TEST(SovAdapter, Deciphers) {
    for (const std::string& strPlain : Secrets()) {
        const CcipheString secret(strPlain);
        WBAutoPassword holder;
        EXPECT_EQ(CWBSovAdapterFactory().getSovInterface()->Decipher(&secret, &holder), 0);
        EXPECT_EQ(holder.GetLength(), strPlain.size());
        EXPECT_TRUE(Held(holder) == strPlain) << strPlain.size() << " bytes";
    }
}

TEST(SovAdapter, LeavesTheHolderAloneOnFailure) {
    CcipheString damaged("tea");
    Storage(damaged).front() ^= 1;
    WBAutoPassword holder;
    holder.SetPassword("before");
    EXPECT_NE(CWBSovAdapterFactory().getSovInterface()->Decipher(&damaged, &holder), 0);
    EXPECT_EQ(Held(holder), "before");
}

TEST(SovAdapter, FailsOnNull) {
    ISovAdapter* const pAdapter = CWBSovAdapterFactory().getSovInterface();
    const CcipheString secret("tea");
    WBAutoPassword holder;
    EXPECT_NE(pAdapter->Decipher(nullptr, &holder), 0);
    EXPECT_NE(pAdapter->Decipher(&secret, nullptr), 0);
}

TEST(SovAdapter, DoesNothingElse) {
    ISovAdapter* const pAdapter = CWBSovAdapterFactory().getSovInterface();
    EXPECT_EQ(pAdapter->Reserved01(), -1);
    EXPECT_EQ(pAdapter->Reserved02(), -1);
    EXPECT_EQ(pAdapter->Reserved03(), -1);
    EXPECT_EQ(pAdapter->Reserved04(), -1);
    EXPECT_EQ(pAdapter->Reserved05(), -1);
    EXPECT_EQ(pAdapter->Reserved06(), -1);
    EXPECT_EQ(pAdapter->Reserved07(), -1);
}

}  // namespace
