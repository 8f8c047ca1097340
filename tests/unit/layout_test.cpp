// What is fixed for programs that were built against another version of the library: the order of
// fields and of virtual operations.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <string>
#include <type_traits>

#include "include/ftpclient.h"
#include "src/ftp/ftpclientImpl.h"
#include "src/ftp/ftpclientcom.h"
#include "src/ftp/ftpcommand.h"

namespace RVN_FTP_CLIENT {
namespace {

void ExpectAscending(std::initializer_list<std::size_t> offsets) {
    std::size_t nIndex = 0;
    std::size_t nPrevious = 0;
    for (const std::size_t nOffset : offsets) {
        if (nIndex == 0) {
            EXPECT_EQ(nOffset, 0U) << "the first field";
        } else {
            EXPECT_GT(nOffset, nPrevious) << "field " << nIndex;
        }
        nPrevious = nOffset;
        ++nIndex;
    }
}

// offsetof for classes that it does not accept.
template <typename TObject, typename TMember>
std::size_t OffsetIn(const TObject& object, const TMember& member) {
    return static_cast<std::size_t>(reinterpret_cast<const char*>(&member) -
                                    reinterpret_cast<const char*>(&object));
}

TEST(Layout, FtpConnInfo) {
    ExpectAscending({offsetof(FTPConnInfo, strHostIP), offsetof(FTPConnInfo, usPort),
                     offsetof(FTPConnInfo, strUser), offsetof(FTPConnInfo, strPassword)});
    static_assert(std::is_same_v<decltype(FTPConnInfo::strHostIP), std::string>);
    static_assert(std::is_same_v<decltype(FTPConnInfo::usPort), unsigned short>);
    static_assert(std::is_same_v<decltype(FTPConnInfo::strUser), std::string>);
    static_assert(std::is_same_v<decltype(FTPConnInfo::strPassword), TQ_UTIL::CcipheString>);
    EXPECT_EQ(sizeof(FTPConnInfo),
              offsetof(FTPConnInfo, strPassword) + sizeof(TQ_UTIL::CcipheString));
}

TEST(Layout, FtpFilePair) {
    ExpectAscending({offsetof(Ftp_File_Pair, strSrcFile), offsetof(Ftp_File_Pair, strDstFile)});
    EXPECT_EQ(sizeof(Ftp_File_Pair), 2 * sizeof(std::string));
}

TEST(Layout, TkFileInfo) {
    ExpectAscending({offsetof(TkFileInfo, strFileName), offsetof(TkFileInfo, strModifyTime),
                     offsetof(TkFileInfo, strFileSize), offsetof(TkFileInfo, ucFileType)});
    static_assert(std::is_same_v<decltype(TkFileInfo::ucFileType), unsigned char>);
    EXPECT_EQ(offsetof(TkFileInfo, ucFileType), 3 * sizeof(std::string));
}

TEST(Layout, FtpSockParam) {
    ExpectAscending({offsetof(FtpSockParam, strHost), offsetof(FtpSockParam, nPort),
                     offsetof(FtpSockParam, bPasv)});
    static_assert(sizeof(FtpSockParam::nPort) == 4 &&
                  std::is_unsigned_v<decltype(FtpSockParam::nPort)>);
    static_assert(sizeof(FtpSockParam::bPasv) == 4 &&
                  std::is_signed_v<decltype(FtpSockParam::bPasv)>);
}

TEST(Layout, Transport) {
    const CFtpClientCom com;
    ExpectAscending({OffsetIn(com, com.m_CtrlConnector), OffsetIn(com, com.m_CtrlSock),
                     OffsetIn(com, com.m_DataSock), OffsetIn(com, com.m_ListenSock),
                     OffsetIn(com, com.m_DataConnector), OffsetIn(com, com.m_strHost),
                     OffsetIn(com, com.m_nPort), OffsetIn(com, com.m_bPasv)});
    static_assert(!std::is_polymorphic_v<CFtpClientCom>);
    static_assert(sizeof(CFtpClientCom::m_nPort) == 4 && sizeof(CFtpClientCom::m_bPasv) == 4);
    EXPECT_EQ(com.m_strHost, "");
    EXPECT_EQ(com.m_nPort, 0U);
    EXPECT_EQ(com.m_bPasv, 1);
}

TEST(Layout, Command) {
    const CFtpComand command;
    const CFtpClientCom& com = command;
    ExpectAscending(
        {OffsetIn(command, com), OffsetIn(command, command.m_strServer),
         OffsetIn(command, command.m_nServerPort), OffsetIn(command, command.m_strUser),
         OffsetIn(command, command.m_Password), OffsetIn(command, command.m_nConnTimeout),
         OffsetIn(command, command.m_nRetryTimes), OffsetIn(command, command.m_nRetryTimeout)});
    EXPECT_GE(OffsetIn(command, command.m_strServer), OffsetIn(com, com.m_bPasv) + sizeof(int));
    static_assert(!std::is_polymorphic_v<CFtpComand>);
    for (const std::size_t nSize : {sizeof command.m_nServerPort, sizeof command.m_nConnTimeout,
                                    sizeof command.m_nRetryTimes, sizeof command.m_nRetryTimeout})
        EXPECT_EQ(nSize, 2U);
}

TEST(Layout, Facade) {
    static_assert(std::is_polymorphic_v<CFtpClient>);
    static_assert(!std::is_polymorphic_v<CFtpClientImpl>);
    EXPECT_EQ(sizeof(CFtpClient), 2 * sizeof(void*)) << "the virtual table and m_pImpl";
    EXPECT_EQ(sizeof(CFtpClientImpl), sizeof(void*) + sizeof(std::string));
}

// A pointer to a virtual member function holds one plus the offset in the virtual table (Itanium
// C++ ABI, section 2.3). Slots count from 0 here; the destructor takes 0 and 1.
template <typename TOperation>
std::size_t SlotOf(TOperation operation) {
    static_assert(sizeof operation == 2 * sizeof(std::ptrdiff_t));
    std::ptrdiff_t parts[2] = {};
    std::memcpy(parts, &operation, sizeof parts);
    EXPECT_EQ(parts[0] % 2, 1) << "not virtual";
    EXPECT_EQ(parts[1], 0) << "the object is adjusted";
    return static_cast<std::size_t>(parts[0] - 1) / sizeof(void*);
}

TEST(Layout, VirtualOperationsOfTheFacade) {
    using Text = const std::string&;
    using Pairs = std::vector<Ftp_File_Pair>&;
    unsigned int (CFtpClient::*pExistsByName)(Text, Text) = &CFtpClient::checkOneFileExist;
    unsigned int (CFtpClient::*pExistsByPath)(Text) = &CFtpClient::checkOneFileExist;
    unsigned int (CFtpClient::*pGetOne)(Text, Text, bool) = &CFtpClient::GetOneFile;
    unsigned int (CFtpClient::*pGet)(Pairs, bool) = &CFtpClient::GetFile;
    unsigned int (CFtpClient::*pPut)(Pairs) = &CFtpClient::PutFile;
    void (CFtpClient::*pSetParam)(unsigned short, unsigned short, unsigned short) =
        &CFtpClient::setParam;

    EXPECT_EQ(SlotOf(pSetParam), 2U);
    EXPECT_EQ(SlotOf(&CFtpClient::Login), 3U);
    EXPECT_EQ(SlotOf(&CFtpClient::Close), 4U);
    EXPECT_EQ(SlotOf(&CFtpClient::ChangeDir), 5U);
    EXPECT_EQ(SlotOf(&CFtpClient::ListFile), 6U);
    EXPECT_EQ(SlotOf(pExistsByName), 7U);
    EXPECT_EQ(SlotOf(pExistsByPath), 8U);
    EXPECT_EQ(SlotOf(pGetOne), 9U);
    EXPECT_EQ(SlotOf(&CFtpClient::PutOneFileToFile), 10U);
    EXPECT_EQ(SlotOf(&CFtpClient::PutOneFileToPath), 11U);
    EXPECT_EQ(SlotOf(pGet), 12U);
    EXPECT_EQ(SlotOf(pPut), 13U);
    EXPECT_EQ(SlotOf(&CFtpClient::RemoveFile), 14U);
    EXPECT_EQ(SlotOf(&CFtpClient::MakeDir), 15U);
    EXPECT_EQ(SlotOf(&CFtpClient::RemoveDir), 16U);
    EXPECT_EQ(SlotOf(&CFtpClient::getFTPConnInfo), 17U);
}

}  // namespace
}  // namespace RVN_FTP_CLIENT
