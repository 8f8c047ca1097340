#include "standalone/sftp/sftppacket.h"

#include <cstring>

namespace sftpwrapper {
namespace {

constexpr std::size_t kLengthSize = 4;

void Store32(std::uint8_t* pTo, std::uint32_t uValue) {
    for (int nShift = 24; nShift >= 0; nShift -= 8)
        *pTo++ = static_cast<std::uint8_t>(uValue >> nShift);
}

}  // namespace

CPacketWriter::CPacketWriter(EPacket type) : m_bytes(kLengthSize + 1) {
    m_bytes.back() = type;
}

CPacketWriter::CPacketWriter(EPacket type, std::uint32_t uId) : CPacketWriter(type) {
    U32(uId);
}

CPacketWriter& CPacketWriter::U32(std::uint32_t uValue) {
    m_bytes.resize(m_bytes.size() + 4);
    Store32(m_bytes.data() + m_bytes.size() - 4, uValue);
    return *this;
}

CPacketWriter& CPacketWriter::U64(std::uint64_t ullValue) {
    U32(static_cast<std::uint32_t>(ullValue >> 32));
    return U32(static_cast<std::uint32_t>(ullValue));
}

CPacketWriter& CPacketWriter::String(std::string_view text) {
    U32(static_cast<std::uint32_t>(text.size()));
    m_bytes.insert(m_bytes.end(), text.begin(), text.end());
    return *this;
}

std::uint8_t* CPacketWriter::Reserve(std::uint32_t uSize) {
    U32(uSize);
    m_bytes.resize(m_bytes.size() + uSize);
    return m_bytes.data() + m_bytes.size() - uSize;
}

void CPacketWriter::Truncate(std::uint32_t uReserved, std::uint32_t uSize) {
    m_bytes.resize(m_bytes.size() - uReserved + uSize);
    Store32(m_bytes.data() + m_bytes.size() - uSize - 4, uSize);
}

const std::vector<std::uint8_t>& CPacketWriter::Finish() {
    Store32(m_bytes.data(), static_cast<std::uint32_t>(m_bytes.size() - kLengthSize));
    return m_bytes;
}

const std::uint8_t* CPacketReader::Take(std::size_t uSize) {
    if (m_bFailed || uSize > m_uLeft) {
        m_bFailed = true;
        m_uLeft = 0;
        return nullptr;
    }
    const std::uint8_t* pTaken = m_pData;
    m_pData += uSize;
    m_uLeft -= uSize;
    return pTaken;
}

std::uint8_t CPacketReader::U8() {
    const std::uint8_t* pByte = Take(1);
    return pByte == nullptr ? std::uint8_t{0} : *pByte;
}

std::uint32_t CPacketReader::U32() {
    const std::uint8_t* pBytes = Take(4);
    if (pBytes == nullptr) return 0;
    std::uint32_t uValue = 0;
    for (int i = 0; i < 4; ++i)
        uValue = uValue << 8 | pBytes[i];
    return uValue;
}

std::uint64_t CPacketReader::U64() {
    const std::uint64_t ullHigh = U32();
    return ullHigh << 32 | U32();
}

std::string_view CPacketReader::String() {
    const std::uint32_t uSize = U32();
    const std::uint8_t* pBytes = Take(uSize);
    if (pBytes == nullptr) return {};
    return {reinterpret_cast<const char*>(pBytes), uSize};
}

SAttributes CPacketReader::Attributes() {
    SAttributes attributes;
    const std::uint32_t uFlags = U32();
    if (uFlags & kAttributeSize) attributes.ullSize = U64();
    if (uFlags & kAttributeOwner) U64();
    if (uFlags & kAttributeMode) attributes.uMode = U32();
    if (uFlags & kAttributeTimes) {
        U32();
        attributes.uModified = U32();
    }
    if (uFlags & kAttributeExtended) {
        const std::uint32_t uPairs = U32();
        for (std::uint32_t i = 0; i < uPairs && !m_bFailed; ++i) {
            String();
            String();
        }
    }
    attributes.bHasSize = (uFlags & kAttributeSize) != 0 && !m_bFailed;
    return attributes;
}

}  // namespace sftpwrapper
