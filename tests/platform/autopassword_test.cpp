#include "src/support/autopassword.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "platform/cipher.h"
#include "tests/platform/freedmemory.h"

namespace PlatformTest {
namespace {

constexpr unsigned int kRefused = 0xFFFFFFFFU;

std::string Held(AutoPassword& holder) {
    return {holder.GetPassword(), holder.GetLength()};
}

std::string Zeroes(std::size_t nCount) {
    return std::string(nCount, '\0');
}

// ---- What it holds ----

TEST(AutoPassword, HoldsNothingAtFirst) {
    AutoPassword holder;
    EXPECT_EQ(holder.GetPassword(), nullptr);
    EXPECT_EQ(holder.GetLength(), 0U);
}

TEST(AutoPassword, TakesACopyOfAText) {
    std::string strText = "tea";
    AutoPassword holder;
    EXPECT_EQ(holder.SetPassword(strText.c_str()), 0U);
    strText = "xxx";
    EXPECT_STREQ(holder.GetPassword(), "tea");
    EXPECT_EQ(holder.GetLength(), 3U);
}

TEST(AutoPassword, TakesAnEmptyText) {
    AutoPassword holder;
    EXPECT_EQ(holder.SetPassword(""), 0U);
    ASSERT_NE(holder.GetPassword(), nullptr);
    EXPECT_STREQ(holder.GetPassword(), "");
    EXPECT_EQ(holder.GetLength(), 0U);
}

TEST(AutoPassword, IsEmptyWhenThereIsNoMemoryForTheNextText) {
    const std::string strLong(100, 'x');
    AutoPassword holder;
    EXPECT_EQ(holder.SetPassword("tea"), 0U);
    {
        const CNoMemory none(strLong.size() + 1);
        EXPECT_THROW(holder.SetPassword(strLong.c_str()), std::bad_alloc);
    }
    EXPECT_EQ(holder.GetPassword(), nullptr);
    EXPECT_EQ(holder.GetLength(), 0U);
    EXPECT_EQ(holder.SetPassword(strLong.c_str()), 0U);
    EXPECT_EQ(Held(holder), strLong);
}

TEST(AutoPassword, KeepsZeroBytes) {
    const std::string strBytes("t\0e\0a\0", 6);
    AutoPassword holder;
    EXPECT_EQ(holder.SetPassword(strBytes.data(), 6), 0U);
    EXPECT_EQ(holder.GetLength(), 6U);
    EXPECT_EQ(Held(holder), strBytes);
    EXPECT_EQ(holder.GetPassword()[6], '\0');
}

TEST(AutoPassword, TakesExactlyTheGivenLengthAndTerminatesIt) {
    const char unterminated[] = {'t', 'e', 'a', 'p', 'o', 't'};
    AutoPassword holder;
    EXPECT_EQ(holder.SetPassword(unterminated, 3), 0U);
    EXPECT_STREQ(holder.GetPassword(), "tea");
    EXPECT_EQ(holder.GetLength(), 3U);
}

TEST(AutoPassword, ReplacesWhatItHeld) {
    AutoPassword holder;
    holder.SetPassword("a long password");
    EXPECT_EQ(holder.SetPassword("tea"), 0U);
    EXPECT_STREQ(holder.GetPassword(), "tea");
    EXPECT_EQ(holder.GetLength(), 3U);
}

TEST(AutoPassword, NullIsRefusedAndChangesNothing) {
    const char* const pszNone = nullptr;
    AutoPassword holder;
    EXPECT_EQ(holder.SetPassword(pszNone), kRefused);
    EXPECT_EQ(holder.SetPassword(pszNone, 3), kRefused);
    EXPECT_EQ(holder.GetPassword(), nullptr);

    holder.SetPassword("tea");
    const char* const pBefore = holder.GetPassword();
    const CFreedArray freed(pBefore, 4);
    EXPECT_EQ(holder.SetPassword(pszNone), kRefused);
    EXPECT_EQ(holder.SetPassword(pszNone, 0), kRefused);
    EXPECT_EQ(holder.SetPassword(pszNone, 3), kRefused);
    EXPECT_FALSE(freed.IsFreed());
    EXPECT_EQ(holder.GetPassword(), pBefore);
    EXPECT_EQ(Held(holder), "tea");
}

// ---- Wiping ----

TEST(AutoPassword, IsWipedBeforeASecondPassword) {
    AutoPassword holder;
    holder.SetPassword("first password");
    const CFreedArray freed(holder.GetPassword(), 15);
    holder.SetPassword("second");
    ASSERT_TRUE(freed.IsFreed());
    EXPECT_EQ(freed.Bytes(), Zeroes(15));
}

TEST(AutoPassword, IsWipedBeforeASecondPasswordOfGivenLength) {
    AutoPassword holder;
    holder.SetPassword("fi\0st password", 14);
    const CFreedArray freed(holder.GetPassword(), 15);
    holder.SetPassword("sec\0nd", 6);
    ASSERT_TRUE(freed.IsFreed());
    EXPECT_EQ(freed.Bytes(), Zeroes(15));
}

TEST(AutoPassword, IsWipedByItsDestructor) {
    auto holder = std::make_unique<AutoPassword>();
    holder->SetPassword("zero\0inside and more", 20);
    const CFreedArray freed(holder->GetPassword(), 21);
    holder.reset();
    ASSERT_TRUE(freed.IsFreed());
    EXPECT_EQ(freed.Bytes(), Zeroes(21));
}

TEST(AutoPassword, IsWipedWhenDestroyedThroughItsBase) {
    std::unique_ptr<AutoPassword> holder = std::make_unique<TQ_UTIL::WBAutoPassword>();
    holder->SetPassword("tea for two");
    const CFreedArray freed(holder->GetPassword(), 12);
    holder.reset();
    ASSERT_TRUE(freed.IsFreed());
    EXPECT_EQ(freed.Bytes(), Zeroes(12));
}

// ---- What derived classes and other binaries rely on ----

class CRecordingPassword : public AutoPassword {
public:
    using AutoPassword::SetPassword;
    unsigned int SetPassword(const char* pText, unsigned int uLength) override {
        m_texts.emplace_back(pText, uLength);
        return 42;
    }
    std::vector<std::string> m_texts;
};

TEST(AutoPassword, SettingATextGoesThroughTheOverridableOperation) {
    CRecordingPassword holder;
    AutoPassword& base = holder;
    EXPECT_EQ(base.SetPassword("tea"), 42U);
    EXPECT_EQ(holder.m_texts, std::vector<std::string>{"tea"});
    EXPECT_EQ(holder.GetPassword(), nullptr);
    const char* const pszNone = nullptr;
    EXPECT_EQ(base.SetPassword(pszNone), kRefused);
    EXPECT_EQ(holder.m_texts.size(), 1U);
}

// Position in the virtual table, from 0, as a pointer to a virtual member carries it in the C++
// ABI of Linux: the offset in bytes, with or without its lowest bit set.
template <typename Member>
std::size_t SlotOf(Member pMember) {
    std::uintptr_t uBits = 0;
    std::memcpy(&uBits, &pMember, sizeof(uBits));
    return (uBits & ~std::uintptr_t{1}) / sizeof(void*);
}

TEST(AutoPassword, OperationsKeepTheirPositions) {
    using SetText = unsigned int (AutoPassword::*)(const char*);
    using SetBytes = unsigned int (AutoPassword::*)(const char*, unsigned int);
    EXPECT_EQ(SlotOf(&AutoPassword::GetPassword), 2U);
    EXPECT_EQ(SlotOf(&AutoPassword::GetLength), 3U);
    EXPECT_EQ(SlotOf(static_cast<SetText>(&AutoPassword::SetPassword)), 4U);
    EXPECT_EQ(SlotOf(static_cast<SetBytes>(&AutoPassword::SetPassword)), 5U);
    EXPECT_EQ(SlotOf(&TQ_UTIL::ISovAdapter::Decipher), 7U);
}

TEST(AutoPassword, FieldsKeepTheirPositions) {
    TQ_UTIL::WBAutoPassword holder;
    holder.SetPassword("tea");
    const char* pBuffer = nullptr;
    std::uint32_t uLength = 0;
    const char* const pObject = reinterpret_cast<const char*>(&holder);
    ASSERT_GE(sizeof(holder), sizeof(void*) + sizeof(pBuffer) + sizeof(uLength));
    std::memcpy(&pBuffer, pObject + sizeof(void*), sizeof(pBuffer));
    std::memcpy(&uLength, pObject + sizeof(void*) + sizeof(pBuffer), sizeof(uLength));
    EXPECT_EQ(pBuffer, holder.GetPassword());
    EXPECT_EQ(uLength, 3U);
}

// ---- The secret's way through the platform ----

TEST(FreedSecrets, AreSeen) {
    const CFreedSecrets freed("tea for two, and two for tea");
    auto unwiped = std::make_unique<std::string>("tea for two, and two for tea");
    unwiped.reset();
    EXPECT_EQ(freed.Count(), 1);
}

TEST(CipheredSecret, LeavesNoPlainCopyInFreedMemory) {
    const std::string strPlain = "tea for two, and two for tea";
    const CFreedSecrets freed(strPlain.c_str());
    {
        const TQ_UTIL::CcipheString secret(strPlain);
        const TQ_UTIL::CcipheString copy(secret);
        TQ_UTIL::WBAutoPassword holder;
        ASSERT_EQ(copy.GetOriginalStr(holder), 0);
        ASSERT_STREQ(holder.GetPassword(), strPlain.c_str());
        ASSERT_EQ(TQ_UTIL::CWBSovAdapterFactory().getSovInterface()->Decipher(&secret, &holder), 0);
        ASSERT_STREQ(holder.GetPassword(), strPlain.c_str());
    }
    EXPECT_EQ(freed.Count(), 0);
}

}  // namespace
}  // namespace PlatformTest
