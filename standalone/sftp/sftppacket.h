#ifndef QEL_STANDALONE_SFTP_SFTPPACKET_H
#define QEL_STANDALONE_SFTP_SFTPPACKET_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Packets of the SSH File Transfer Protocol, version 3 (draft-ietf-secsh-filexfer-02): a 32-bit
// length, a type, an identifier, fields in network byte order.

namespace sftpwrapper {

enum EPacket : std::uint8_t {
    kInit = 1,
    kVersion = 2,
    kOpen = 3,
    kClose = 4,
    kRead = 5,
    kWrite = 6,
    kLstat = 7,
    kFstat = 8,
    kSetstat = 9,
    kFsetstat = 10,
    kOpenDir = 11,
    kReadDir = 12,
    kRemove = 13,
    kMkdir = 14,
    kRmdir = 15,
    kRealPath = 16,
    kStat = 17,
    kRename = 18,
    kStatus = 101,
    kHandle = 102,
    kData = 103,
    kName = 104,
    kAttributes = 105,
    kExtended = 200,
    kExtendedReply = 201
};

// Which attributes follow (section 5).
enum EAttributeFlag : std::uint32_t {
    kAttributeSize = 0x00000001,
    kAttributeOwner = 0x00000002,
    kAttributeMode = 0x00000004,
    kAttributeTimes = 0x00000008,
    kAttributeExtended = 0x80000000
};

enum EStatus : std::uint32_t {
    kStatusOk = 0,
    kStatusEof = 1,
    kStatusNoSuchFile = 2,
    kStatusPermissionDenied = 3,
    kStatusFailure = 4,
    kStatusNoSuchPath = 10,    // version 5 and later, but seen
    kStatusAlreadyExists = 11  // version 5 and later, but seen
};

// Builds one packet.
class CPacketWriter {
public:
    explicit CPacketWriter(EPacket type);
    CPacketWriter(EPacket type, std::uint32_t uId);

    CPacketWriter& U32(std::uint32_t uValue);
    CPacketWriter& U64(std::uint64_t ullValue);
    CPacketWriter& String(std::string_view text);

    // A string of uSize bytes; the caller fills them before the next call.
    std::uint8_t* Reserve(std::uint32_t uSize);

    // Shortens the string of the last Reserve() to uSize bytes.
    void Truncate(std::uint32_t uReserved, std::uint32_t uSize);

    // The whole packet with its length; valid until the object is changed.
    const std::vector<std::uint8_t>& Finish();

private:
    std::vector<std::uint8_t> m_bytes;
};

// Attributes that the server sent; what it did not send is 0.
struct SAttributes {
    bool bHasSize = false;
    std::uint64_t ullSize = 0;
    std::uint32_t uMode = 0;  // type and permissions as of Unix
    std::uint32_t uModified = 0;
};

// Reads fields one after the other and never past the end. After the first field that is not there
// every further one is zero or empty and Failed() is true: callers test once, at the end.
class CPacketReader {
public:
    CPacketReader() = default;
    CPacketReader(const std::uint8_t* pData, std::size_t uSize) : m_pData(pData), m_uLeft(uSize) {}

    std::uint8_t U8();
    std::uint32_t U32();
    std::uint64_t U64();
    std::string_view String();  // borrowed from the packet
    SAttributes Attributes();

    bool Failed() const { return m_bFailed; }
    bool AtEnd() const { return m_uLeft == 0; }

private:
    const std::uint8_t* Take(std::size_t uSize);

    const std::uint8_t* m_pData = nullptr;
    std::size_t m_uLeft = 0;
    bool m_bFailed = false;
};

}  // namespace sftpwrapper

#endif
