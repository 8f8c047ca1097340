#include "tests/sftpserver/sftppeer.h"

#include <sys/socket.h>

namespace TestSupport {

using namespace sftpwrapper;

namespace {

CPacketReader ReaderOf(const std::string& strBytes) {
    return {reinterpret_cast<const std::uint8_t*>(strBytes.data()), strBytes.size()};
}

}  // namespace

bool SftpPeer::ReadBytes(std::string& strBytes, std::size_t uSize) {
    strBytes.assign(uSize, '\0');
    std::size_t uRead = 0;
    while (uRead < uSize) {
        const ssize_t nRead = ::recv(m_nSocket, strBytes.data() + uRead, uSize - uRead, 0);
        if (nRead <= 0) return false;
        uRead += static_cast<std::size_t>(nRead);
    }
    return true;
}

SRequest SftpPeer::Take() {
    SRequest request;
    std::string strHead;
    std::string strBody;
    request.bEnd = !ReadBytes(strHead, 4) || !ReadBytes(strBody, ReaderOf(strHead).U32());
    if (request.bEnd) return request;
    CPacketReader fields = ReaderOf(strBody);
    request.type = static_cast<EPacket>(fields.U8());
    request.uId = fields.U32();
    if (request.type == kInit) return request;
    request.strFirst = fields.String();
    if (request.type == kRead || request.type == kWrite) request.ullOffset = fields.U64();
    if (request.type == kRead) request.uSize = fields.U32();
    if (request.type == kWrite || request.type == kRename) request.strData = fields.String();
    if (request.type == kFsetstat && fields.U32() == kAttributeSize)
        request.ullOffset = fields.U64();
    return request;
}

void SftpPeer::Greet() {
    Take();
    CPacketWriter version(kVersion);
    version.U32(3);
    Give(version);
}

void SftpPeer::Give(CPacketWriter& packet) {
    const auto& bytes = packet.Finish();
    GiveRaw(std::string(bytes.begin(), bytes.end()));
}

void SftpPeer::GiveRaw(const std::string& strBytes) {
    std::size_t uSent = 0;
    while (uSent < strBytes.size()) {
        const ssize_t nSent =
            ::send(m_nSocket, strBytes.data() + uSent, strBytes.size() - uSent, MSG_NOSIGNAL);
        if (nSent <= 0) return;
        uSent += static_cast<std::size_t>(nSent);
    }
}

void SftpPeer::GiveStatus(std::uint32_t uId, std::uint32_t uStatus, const std::string& strText) {
    CPacketWriter packet(kStatus, uId);
    packet.U32(uStatus).String(strText).String("");
    Give(packet);
}

void SftpPeer::GiveHandle(std::uint32_t uId) {
    CPacketWriter packet(kHandle, uId);
    packet.String("handle");
    Give(packet);
}

void SftpPeer::GiveData(std::uint32_t uId, const std::string& strData) {
    CPacketWriter packet(kData, uId);
    packet.String(strData);
    Give(packet);
}

void SftpPeer::GiveSize(std::uint32_t uId, std::uint64_t ullSize) {
    CPacketWriter packet(kAttributes, uId);
    packet.U32(0x00000001).U64(ullSize);
    Give(packet);
}

bool SftpPeer::AnswerUsual(const SRequest& request, std::uint64_t ullSize) {
    if (request.bEnd || request.type == kRead || request.type == kWrite) return false;
    if (request.type == kOpen)
        GiveHandle(request.uId);
    else if (request.type == kStat || request.type == kFstat)
        GiveSize(request.uId, ullSize);
    else
        GiveStatus(request.uId, kStatusOk);
    return true;
}

}  // namespace TestSupport
