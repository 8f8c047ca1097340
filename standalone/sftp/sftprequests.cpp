#include "standalone/sftp/sftprequests.h"

#include <sys/stat.h>

#include <utility>
#include <vector>

namespace sftpwrapper {
namespace {

struct SStatusRule {
    std::uint32_t uStatus;
    int nCode;
    const char* pszText;
};

constexpr SStatusRule kStatusRules[] = {
    {kStatusNoSuchFile, SFTP_ERR_NO_SUCH_PATH, "no such file or directory"},
    {kStatusNoSuchPath, SFTP_ERR_NO_SUCH_PATH, "no such file or directory"},
    {kStatusPermissionDenied, SFTP_ERR_PERMISSION, "permission denied"},
    {kStatusAlreadyExists, SFTP_ERR_EXISTS, "it exists already"},
};

struct SOpenFlag {
    int nOpen;
    std::uint32_t uFlag;  // draft-ietf-secsh-filexfer-02, section 6.3
};

constexpr SOpenFlag kOpenFlags[] = {
    {SFTP_OPEN_READ, 0x01},     {SFTP_OPEN_WRITE, 0x02},     {SFTP_OPEN_CREATE, 0x08},
    {SFTP_OPEN_TRUNCATE, 0x10}, {SFTP_OPEN_EXCLUSIVE, 0x20},
};

constexpr std::uint32_t kNoAttributes = 0;

unsigned char TypeOf(std::uint32_t uMode) {
    if (S_ISREG(uMode)) return SFTP_TYPE_FILE;
    if (S_ISDIR(uMode)) return SFTP_TYPE_DIRECTORY;
    if (S_ISLNK(uMode)) return SFTP_TYPE_LINK;
    return SFTP_TYPE_OTHER;
}

}  // namespace

SFTP_FileInfo FileInfoOf(const SAttributes& attributes) {
    SFTP_FileInfo info = {};
    info.ullSize = attributes.ullSize;
    info.llModified = attributes.uModified;
    info.uPermission = attributes.uMode & 07777;
    info.ucType = TypeOf(attributes.uMode);
    return info;
}

int TakeStatus(CPacketReader& fields, const std::string& strWhat, CLastError& error) {
    const std::uint32_t uStatus = fields.U32();
    const std::string strMessage(fields.String());  // absent in replies of very old servers
    if (uStatus == kStatusOk) return SFTP_OK;
    for (const SStatusRule& rule : kStatusRules)
        if (rule.uStatus == uStatus) return error.Set(rule.nCode, strWhat + ": " + rule.pszText);
    return error.Set(SFTP_ERR_REMOTE, strWhat + ": the server says \"" + strMessage +
                                          "\" (status " + std::to_string(uStatus) + ")");
}

int CSftpRequests::ExchangeForStatus(CPacketWriter& request, std::uint32_t uId,
                                     const std::string& strWhat) {
    SReply reply;
    const int nResult = m_channel.Exchange(request, uId, reply);
    if (nResult != SFTP_OK) return nResult;
    if (reply.type != kStatus) return m_channel.ProtocolError("not a status");
    return TakeStatus(reply.fields, strWhat, m_error);
}

int CSftpRequests::PathRequest(EPacket type, const char* pszWhat, const std::string& strPath) {
    const std::uint32_t uId = m_channel.NextId();
    CPacketWriter request(type, uId);
    request.String(strPath);
    return ExchangeForStatus(request, uId, pszWhat + strPath);
}

int CSftpRequests::RemoveDir(const std::string& strPath) {
    return PathRequest(kRmdir, "remove directory ", strPath);
}

int CSftpRequests::Remove(const std::string& strPath) {
    return PathRequest(kRemove, "remove ", strPath);
}

int CSftpRequests::MakeDir(const std::string& strPath) {
    const std::uint32_t uId = m_channel.NextId();
    CPacketWriter request(kMkdir, uId);
    request.String(strPath).U32(kNoAttributes);
    const std::string strWhat = "make directory " + strPath;
    const int nResult = ExchangeForStatus(request, uId, strWhat);
    return nResult == SFTP_ERR_REMOTE ? FailedBecauseItExists(strWhat, strPath) : nResult;
}

int CSftpRequests::Rename(const std::string& strFrom, const std::string& strTo) {
    const std::uint32_t uId = m_channel.NextId();
    CPacketWriter request(kRename, uId);
    request.String(strFrom).String(strTo);
    const std::string strWhat = "rename " + strFrom + " to " + strTo;
    const int nResult = ExchangeForStatus(request, uId, strWhat);
    return nResult == SFTP_ERR_REMOTE ? FailedBecauseItExists(strWhat, strTo) : nResult;
}

int CSftpRequests::Replace(const std::string& strFrom, const std::string& strTo) {
    if (!m_channel.HasPosixRename()) {
        const int nResult = Rename(strFrom, strTo);
        if (nResult != SFTP_ERR_EXISTS) return nResult;
        const int nRemoved = Remove(strTo);
        return nRemoved == SFTP_OK ? Rename(strFrom, strTo) : nRemoved;
    }
    const std::uint32_t uId = m_channel.NextId();
    CPacketWriter request(kExtended, uId);
    request.String("posix-rename@openssh.com").String(strFrom).String(strTo);
    return ExchangeForStatus(request, uId, "rename " + strFrom + " to " + strTo);
}

int CSftpRequests::SetModified(const std::string& strPath, std::uint32_t uModified) {
    const std::uint32_t uId = m_channel.NextId();
    CPacketWriter request(kSetstat, uId);
    request.String(strPath).U32(kAttributeTimes).U32(uModified).U32(uModified);
    return ExchangeForStatus(request, uId, "set the time of " + strPath);
}

int CSftpRequests::SetMode(const std::string& strPath, std::uint32_t uMode) {
    const std::uint32_t uId = m_channel.NextId();
    CPacketWriter request(kSetstat, uId);
    request.String(strPath).U32(kAttributeMode).U32(uMode);
    return ExchangeForStatus(request, uId, "set the permissions of " + strPath);
}

int CSftpRequests::Cut(const std::string& strHandle, std::uint64_t ullSize) {
    const std::uint32_t uId = m_channel.NextId();
    CPacketWriter request(kFsetstat, uId);
    request.String(strHandle).U32(kAttributeSize).U64(ullSize);
    return ExchangeForStatus(request, uId, "set the length of an open file");
}

// Version 3 has no status for "exists": servers say "failure", as for everything else. Keeps that
// failure unless the path is there.
int CSftpRequests::FailedBecauseItExists(const std::string& strWhat, const std::string& strPath) {
    const CLastError failure = m_error;
    SAttributes attributes;
    const int nResult = Stat(strPath, attributes);
    if (nResult == SFTP_OK) return m_error.Set(SFTP_ERR_EXISTS, strWhat + ": it exists already");
    if (nResult == SFTP_ERR_LOST || nResult == SFTP_ERR_TIMEOUT) return nResult;
    m_error = failure;
    return m_error.Code();
}

int CSftpRequests::StatReply(CPacketWriter& request, std::uint32_t uId, const std::string& strWhat,
                             SAttributes& attributes) {
    SReply reply;
    const int nResult = m_channel.Exchange(request, uId, reply);
    if (nResult != SFTP_OK) return nResult;
    if (reply.type == kStatus) {
        const int nStatus = TakeStatus(reply.fields, strWhat, m_error);
        return nStatus == SFTP_OK ? m_channel.ProtocolError("no attributes") : nStatus;
    }
    attributes = reply.fields.Attributes();
    if (reply.type != kAttributes || reply.fields.Failed())
        return m_channel.ProtocolError("no attributes");
    return SFTP_OK;
}

int CSftpRequests::Stat(const std::string& strPath, SAttributes& attributes) {
    return StatPath(kStat, strPath, attributes);
}

int CSftpRequests::StatLink(const std::string& strPath, SAttributes& attributes) {
    return StatPath(kLstat, strPath, attributes);
}

int CSftpRequests::StatPath(EPacket type, const std::string& strPath, SAttributes& attributes) {
    const std::uint32_t uId = m_channel.NextId();
    CPacketWriter request(type, uId);
    request.String(strPath);
    return StatReply(request, uId, "stat " + strPath, attributes);
}

int CSftpRequests::FileStat(const std::string& strHandle, SAttributes& attributes) {
    const std::uint32_t uId = m_channel.NextId();
    CPacketWriter request(kFstat, uId);
    request.String(strHandle);
    return StatReply(request, uId, "stat of an open file", attributes);
}

int CSftpRequests::RealPath(const std::string& strPath, std::string& strAbsolute) {
    const std::uint32_t uId = m_channel.NextId();
    CPacketWriter request(kRealPath, uId);
    request.String(strPath);
    SReply reply;
    const int nResult = m_channel.Exchange(request, uId, reply);
    if (nResult != SFTP_OK) return nResult;
    if (reply.type == kStatus) {
        const int nStatus = TakeStatus(reply.fields, "real path of " + strPath, m_error);
        return nStatus == SFTP_OK ? m_channel.ProtocolError("no name") : nStatus;
    }
    const std::uint32_t uCount = reply.fields.U32();
    strAbsolute = reply.fields.String();
    if (reply.type != kName || uCount != 1 || reply.fields.Failed())
        return m_channel.ProtocolError("no name");
    return SFTP_OK;
}

int CSftpRequests::OpenHandle(CPacketWriter& request, std::uint32_t uId, const std::string& strWhat,
                              std::string& strHandle) {
    SReply reply;
    const int nResult = m_channel.Exchange(request, uId, reply);
    if (nResult != SFTP_OK) return nResult;
    if (reply.type == kStatus) {
        const int nStatus = TakeStatus(reply.fields, strWhat, m_error);
        return nStatus == SFTP_OK ? m_channel.ProtocolError("no handle") : nStatus;
    }
    strHandle = reply.fields.String();
    if (reply.type != kHandle || reply.fields.Failed()) return m_channel.ProtocolError("no handle");
    return SFTP_OK;
}

int CSftpRequests::Open(const std::string& strPath, int nOpen, std::string& strHandle) {
    std::uint32_t uFlags = 0;
    for (const SOpenFlag& flag : kOpenFlags)
        if ((nOpen & flag.nOpen) != 0) uFlags |= flag.uFlag;
    const std::uint32_t uId = m_channel.NextId();
    CPacketWriter request(kOpen, uId);
    request.String(strPath).U32(uFlags).U32(kNoAttributes);
    const std::string strWhat = "open " + strPath;
    const int nResult = OpenHandle(request, uId, strWhat, strHandle);
    if (nResult == SFTP_ERR_REMOTE && (nOpen & SFTP_OPEN_EXCLUSIVE) != 0)
        return FailedBecauseItExists(strWhat, strPath);
    return nResult;
}

int CSftpRequests::Close(const std::string& strHandle) {
    const std::uint32_t uId = m_channel.NextId();
    CPacketWriter request(kClose, uId);
    request.String(strHandle);
    return ExchangeForStatus(request, uId, "close");
}

int CSftpRequests::ReadDir(const std::string& strPath, SFTP_DirVisitor& visitor) {
    const std::uint32_t uId = m_channel.NextId();
    CPacketWriter request(kOpenDir, uId);
    request.String(strPath);
    std::string strHandle;
    int nResult = OpenHandle(request, uId, "list " + strPath, strHandle);
    if (nResult != SFTP_OK) return nResult;
    bool bEnd = false;
    while (nResult == SFTP_OK && !bEnd)
        nResult = ReadDirBatch(strHandle, strPath, visitor, bEnd);
    if (nResult == SFTP_OK) return Close(strHandle);
    const CLastError failure = m_error;  // not hidden by one of closing
    Close(strHandle);
    m_error = failure;
    return nResult;
}

int CSftpRequests::ReadDirBatch(const std::string& strHandle, const std::string& strPath,
                                SFTP_DirVisitor& visitor, bool& bEnd) {
    const std::uint32_t uId = m_channel.NextId();
    CPacketWriter request(kReadDir, uId);
    request.String(strHandle);
    SReply reply;
    const int nResult = m_channel.Exchange(request, uId, reply);
    if (nResult != SFTP_OK) return nResult;
    if (reply.type == kName) return ShowEntries(reply.fields, visitor);
    if (reply.type != kStatus) return m_channel.ProtocolError("no names");
    CPacketReader fields = reply.fields;
    bEnd = fields.U32() == kStatusEof;
    if (bEnd) return SFTP_OK;
    const int nStatus = TakeStatus(reply.fields, "list " + strPath, m_error);
    return nStatus == SFTP_OK ? m_channel.ProtocolError("no names") : nStatus;
}

// Takes the whole batch before it shows anything: the visitor may use the session.
int CSftpRequests::ShowEntries(CPacketReader& fields, SFTP_DirVisitor& visitor) {
    const std::uint32_t uCount = fields.U32();
    if (uCount == 0) return m_channel.ProtocolError("no names");  // would be asked for ever
    std::vector<std::pair<std::string, SFTP_FileInfo>> entries;
    for (std::uint32_t i = 0; i < uCount; ++i) {
        std::string strName(fields.String());
        fields.String();  // the line that "ls -l" would show: not for programs
        const SFTP_FileInfo info = FileInfoOf(fields.Attributes());
        if (fields.Failed()) return m_channel.ProtocolError("short names");
        if (strName.find('/') != std::string::npos || strName.find('\0') != std::string::npos)
            return m_channel.ProtocolError("a name that would lead out of its directory");
        if (strName != "." && strName != "..") entries.emplace_back(std::move(strName), info);
    }
    for (auto& [strName, info] : entries) {
        info.pszName = strName.c_str();
        if (!visitor.entry(info)) return m_error.Set(SFTP_ERR_CANCELLED, "cancelled");
    }
    return SFTP_OK;
}

}  // namespace sftpwrapper
