#ifndef QEL_TESTS_MATRIX_OPERATION_H
#define QEL_TESTS_MATRIX_OPERATION_H

#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/matrix/server.h"

namespace MatrixTest {

// One operation on one server: directories of its own on both sides, and what was said.
class CCell {
public:
    CCell(const SColumn& column, const CServer& server, const std::string& strName, bool bVerify);
    ~CCell();
    CCell(const CCell&) = delete;
    CCell& operator=(const CCell&) = delete;

    const SColumn& Column() const { return m_column; }
    const CServer& Server() const { return m_server; }
    bool Verifies() const { return m_bVerify; }

    // "/c17" and what is below it, as paths from the login directory.
    std::string Remote(const std::string& strName = "") const;
    // The same on this machine's file system.
    std::filesystem::path Served(const std::string& strName = "") const;
    // On the client's side: of its files, and of what else it needs.
    std::string Local(const std::string& strName = "") const;
    std::string Home(const std::string& strName = "") const;

    // Make files and directories with those above them, on the server's side as the server's own.
    void Serve(const std::string& strName, const std::string& strBytes) const;
    void ServeDirectory(const std::string& strName) const;
    void Keep(const std::string& strName, const std::string& strBytes) const;

    // "whole" when the file has these bytes; else "missing", "no file", "3 of 5 bytes" or
    // "5 bytes, which differ".
    std::string IsServed(const std::string& strName, const std::string& strBytes) const;
    std::string IsLocal(const std::string& strName, const std::string& strBytes) const;

    // "a, b/, b/c": everything below, sorted; "nothing" when there is nothing.
    std::string ServedNames(const std::string& strName = "") const;
    std::string LocalNames(const std::string& strName = "") const;

    // A text in which its own names and the port are as in every other cell.
    std::string Neutral(std::string strText) const;

    void Note(const std::string& strLine) { m_strDialogue += strLine + "\n"; }
    const std::string& Dialogue() const { return m_strDialogue; }

private:
    const SColumn& m_column;
    const CServer& m_server;
    std::string m_strName;
    bool m_bVerify;
    std::filesystem::path m_client;
    std::string m_strDialogue;
};

// A text from what happens in this order: the operands of + are evaluated in any.
class CText {
public:
    CText& operator<<(const std::string& strText) {
        m_strText += strText;
        return *this;
    }
    operator std::string() const { return m_strText; }

private:
    std::string m_strText;
};

// Whether an operation runs once, or a second time with FtpTransferOptions::bVerify.
enum class EModes { Once, Both };

// A row of the table.
struct SOperation {
    const char* pszGroup;
    const char* pszTitle;
    EModes eModes;
    std::string (*run)(CCell& cell);  // gives what happened
    const char* pszExpected;          // what it gives where the server does nothing special
    const char* pszVerified;          // the same with bVerify; null: the same
};

const std::vector<SOperation>& FtpOperations();       // of CFtpClient
const std::vector<SOperation>& SftpOperations();      // of sessions of CSftpClient
const std::vector<SOperation>& ToolOperations();      // of qelftp, on either protocol
const std::vector<SOperation>& ToolFtpOperations();   // what it says of failures on ftp://
const std::vector<SOperation>& ToolSftpOperations();  // and on sftp://

// Contents and names that are easily done wrong.
const std::string& Bytes();     // all values of a byte, CR LF, LF CR, 0xFF 0xFF
const std::string& Mebibyte();  // 1 MiB
constexpr const char* kBlank = "with two blanks.bin";
constexpr const char* kUtf8 = "größe 漢字.bin";

// Files of a nested tree.
const std::vector<std::string>& TreeFiles();
std::string TreeBytes(const std::string& strFile);

// 17 May 2023, 13:05 UTC: so long ago that Unix listings give the day only, and after noon, which
// DOS listings must tell.
constexpr std::time_t kThatDay = 1684328700;
void SetTimes(const std::filesystem::path& top, std::time_t time);

// "success", or "no such file or directory (0x3bb0000e)".
std::string ResultText(unsigned int uResult);

}  // namespace MatrixTest

#endif
