#include "tests/failing/allowed.h"

#include <cerrno>
#include <vector>

#include "include/ftpresult.h"

namespace FailingTest {
namespace {

using namespace RVN_FTP_CLIENT;
using Codes = std::set<unsigned int>;

enum class EOptions { Default, Verify, Both };

// The first row that fits counts.
struct SRow {
    ECall eCall;
    std::set<std::string> operations;  // none: all
    EOptions eOptions;
    Codes codes;
};

const std::set<std::string> kTransfers = {"list", "get", "put", "get_batch", "put_batch", "rmdir"};
const std::set<std::string> kGets = {"get", "get_batch"};
const std::set<std::string> kPuts = {"put", "put_batch"};

// A command that was not sent, or was sent out of turn after another one was not; the scripted
// server then ends the session.
const Codes kNotSent = {FTP_SEND_FAILED, FTP_NO_REPLY, FTP_REPLY_421};

const std::vector<SRow> kRows = {
    // A failed attempt to connect is followed by another one.
    {ECall::Socket, {"login"}, EOptions::Both, {FTP_OK}},
    {ECall::Connect, {"login"}, EOptions::Both, {FTP_OK}},
    // The connection is made, given up and made again, but the scripted server serves one only.
    {ECall::Poll,
     {"login"},
     EOptions::Both,
     {FTP_OK, FTP_CONNECT_FAILED, FTP_SEND_FAILED, FTP_NO_REPLY, FTP_REPLY_421}},
    // Of a data connection there is one.
    {ECall::Socket, kTransfers, EOptions::Both, {FTP_CONNECT_FAILED}},
    {ECall::Connect, kTransfers, EOptions::Both, {FTP_CONNECT_FAILED}},
    // Whatever keeps the listing from coming, the file was not found.
    {ECall::Socket, {"exists"}, EOptions::Both, {FTP_NO_SUCH_FILE}},
    {ECall::Connect, {"exists"}, EOptions::Both, {FTP_NO_SUCH_FILE}},
    {ECall::Poll, {"exists"}, EOptions::Both, {FTP_OK, FTP_NO_SUCH_FILE}},
    {ECall::Receive, {"exists"}, EOptions::Both, {FTP_OK, FTP_NO_SUCH_FILE}},
    {ECall::Send, {"exists"}, EOptions::Both, {FTP_OK, FTP_NO_SUCH_FILE}},

    // A reply is waited for again. The end of a data connection counts as that of the file unless
    // ends are verified; a listing cut short may leave a directory not empty.
    {ECall::Poll, kTransfers, EOptions::Default, {FTP_OK, FTP_CONNECT_FAILED}},
    {ECall::Poll, kTransfers, EOptions::Verify, {FTP_OK, FTP_CONNECT_FAILED, FTP_DATA_BROKEN}},
    {ECall::Poll, {}, EOptions::Both, {FTP_OK}},
    {ECall::Receive, {"rmdir"}, EOptions::Default, {FTP_OK, FTP_NO_REPLY, FTP_REPLY_421}},
    {ECall::Receive, kTransfers, EOptions::Verify, {FTP_OK, FTP_DATA_BROKEN}},
    {ECall::Receive, {}, EOptions::Both, {FTP_OK}},

    // What follows a store that broke off unnoticed is as if it had not. OPTS and PWD may be lost.
    {ECall::Send, {"login", "list"}, EOptions::Both, {FTP_OK, FTP_SEND_FAILED}},
    {ECall::Send, {"close"}, EOptions::Both, {FTP_CLOSE_FAILED}},
    {ECall::Send, kPuts, EOptions::Default, {FTP_OK, FTP_SEND_FAILED}},
    {ECall::Send, kPuts, EOptions::Verify, {FTP_SEND_FAILED, FTP_DATA_BROKEN}},
    {ECall::Send, {"mkdir", "rmdir"}, EOptions::Both, kNotSent},
    {ECall::Send, {}, EOptions::Both, {FTP_SEND_FAILED}},

    {ECall::Open, kGets, EOptions::Both, {FTP_LOCAL_CREATE_FAILED}},
    {ECall::Open, kPuts, EOptions::Both, {FTP_LOCAL_OPEN_FAILED}},
    {ECall::Read, kPuts, EOptions::Default, {FTP_OK}},
    {ECall::Read, kPuts, EOptions::Verify, {FTP_LOCAL_IO_FAILED}},
    {ECall::Write, kGets, EOptions::Default, {FTP_OK}},
    {ECall::Write, kGets, EOptions::Verify, {FTP_LOCAL_IO_FAILED}},
    {ECall::Close, kGets, EOptions::Default, {FTP_OK}},
    {ECall::Close, kGets, EOptions::Verify, {FTP_LOCAL_IO_FAILED}},
    {ECall::Close, kPuts, EOptions::Both, {FTP_OK}},  // it was only read
    {ECall::Rename, kGets, EOptions::Verify, {FTP_LOCAL_IO_FAILED}},

    // Beside std::bad_alloc: allocations of the C library, of OpenSSL and of logging, which have
    // codes of their own or cost a log line. A password that cannot be deciphered is sent as the
    // empty one.
    {ECall::Allocate, {"login"}, EOptions::Both, {FTP_OK, FTP_NO_REPLY, FTP_REPLY_421}},
    {ECall::Allocate, {"exists"}, EOptions::Both, {FTP_OK, FTP_NO_SUCH_FILE}},
    {ECall::Allocate, kGets, EOptions::Both, {FTP_OK, FTP_CONNECT_FAILED, FTP_LOCAL_CREATE_FAILED}},
    {ECall::Allocate, kPuts, EOptions::Both, {FTP_OK, FTP_CONNECT_FAILED, FTP_LOCAL_OPEN_FAILED}},
    {ECall::Allocate, kTransfers, EOptions::Both, {FTP_OK, FTP_CONNECT_FAILED}},
    {ECall::Allocate, {}, EOptions::Both, {FTP_OK}},
};

bool Fits(const SRow& row, ECall eCall, const std::string& strOperation, bool bVerify) {
    if (row.eCall != eCall) return false;
    if (!row.operations.empty() && row.operations.count(strOperation) == 0) return false;
    return row.eOptions == EOptions::Both || (row.eOptions == EOptions::Verify) == bVerify;
}

}  // namespace

// A signal is no failure.
SAllowed AllowedEnds(const std::string& strOperation, bool bVerify, const SFailure& failure) {
    if (failure.nErrno == EINTR) return {{FTP_OK}};
    for (const SRow& row : kRows)
        if (Fits(row, failure.eCall, strOperation, bVerify))
            return {row.codes, failure.eCall == ECall::Allocate};
    return {};
}

}  // namespace FailingTest
