#include "tests/failing/ftpoperations.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>

#include "include/ftpresult.h"
#include "tests/failing/allocation.h"
#include "tests/session/descriptors.h"
#include "tests/support/payload.h"
#include "tests/support/tempdir.h"

namespace FailingTest {
namespace {

using namespace RVN_FTP_CLIENT;
using namespace TestSupport;

constexpr const char* kListing =
    "total 2\r\n"
    "drwxr-xr-x 2 u g 4096 Mar 3 2019 a directory with a long name\r\n"
    "-rw-r--r-- 1 u g 1234 Jan 05 12:30 another file with a long name\r\n";
constexpr const char* kOldBytes = "what was there before";
constexpr std::size_t kFileSize = 2500;

// Its files would be counted with those of the operations.
[[maybe_unused]] const bool g_bNoLog = ::setenv("QEL_LOG_LEVEL", "off", 1) == 0;

SStep On(const std::string& strCommand, const std::string& strReply) {
    return Sequence({Expect(strCommand), Say(strReply + "\r\n")});
}

SStep LogIn() {
    return Sequence({Say("220 ready\r\n"), On("USER bob", "331 password, please"),
                     On("PASS tea", "230 in"), On("PWD", "257 \"/srv/data\" is current")});
}

SStep LogOut() {
    return Sequence({On("QUIT", "221 bye"), ExpectClose()});
}

SStep Passive() {
    return Sequence({Expect("PASV"), SayPassive()});
}

SStep List() {
    return Sequence({On("CWD /srv/data/dir", "250 there"), Passive(), On("LIST", "150 here"),
                     SendData(kListing), CloseData(), Say("226 listed\r\n"),
                     On("OPTS UTF8 ON", "200 always")});
}

SStep Get() {
    return Sequence({On("CWD /srv/data", "250 there"), Passive(), On("RETR file", "150 here"),
                     SendData(FileBytes()), CloseData(), Say("226 sent\r\n")});
}

SStep Put() {
    return Sequence({On("CWD /srv/data", "250 there"), Passive(), On("STOR file", "150 go ahead"),
                     ReceiveData(), Say("226 stored\r\n")});
}

const SStep kTypeImage = On("TYPE I", "200 image");

bool Is(const SFtpOperation& operation, const char* pszName) {
    return std::strcmp(operation.pszName, pszName) == 0;
}

// The session's operation whose calls are watched.
enum class EPart { LogIn, Operation, Close };

EPart WatchedPart(const SFtpOperation& operation) {
    if (Is(operation, "login")) return EPart::LogIn;
    return Is(operation, "close") ? EPart::Close : EPart::Operation;
}

class CSession {
public:
    CSession(const SFtpOperation& operation, bool bVerify, const SFailure* pFailure, long nAt)
        : m_operation(operation),
          m_bVerify(bVerify),
          m_ePart(WatchedPart(operation)),
          m_pFailure(pFailure),
          m_nAt(nAt) {}

    SOutcome Run() {
        const std::set<int> before = SessionTest::OpenDescriptors();
        Play();
        if (SessionTest::OpenDescriptors() != before)
            m_outcome.Problem("descriptors are left open");
        return m_outcome;
    }

private:
    void Play() {
        const TempDir temp;
        SFtpArguments arguments(temp.Path().string());
        ScriptedServer server({LogIn(), Sequence(m_operation.steps), LogOut()});
        {
            const CBlockList blocks;
            UseClient(server, arguments);
            for (const TkFileInfo* pEntry : arguments.entries)
                delete pEntry;
            std::vector<TkFileInfo*>().swap(arguments.entries);
            const SBlocks left = blocks.Live();
            if (left.nBlocks != 0)
                m_outcome.Problem(std::to_string(left.nBlocks) + " blocks of " +
                                  std::to_string(left.nBytes) + " bytes are not freed");
        }
        const std::string strScript = server.Finish();
        if (m_pFailure == nullptr && !strScript.empty())
            m_outcome.Problem("the dialogue: " + strScript);
        LookAtFiles(temp, server);
    }

    void UseClient(const ScriptedServer& server, SFtpArguments& arguments) {
        CFtpClient client(server.Host(), server.Port(), "bob", TQ_UTIL::CcipheString("tea"));
        client.setParam(1, 1, 1);
        FtpTransferOptions options;
        options.bVerify = m_bVerify;
        client.setTransferOptions(options);
        Part(EPart::LogIn, [&] { return client.Login(); });
        Part(EPart::Operation, [&] { return m_operation.pfnRun(client, arguments); });
        Part(EPart::Close, [&] { return client.Close(); });
        // A close that was cut short leaves its sockets to the next one.
        if (m_ePart == EPart::Close && m_outcome.eEnd != EEnd::Returned) client.Close();
    }

    template <typename T>
    void Part(EPart ePart, T run) {
        if (ePart == m_ePart)
            Watched(run);
        else
            run();
    }

    template <typename T>
    void Watched(T run) {
        const auto start = Clock::now();
        CWatch watch(m_pFailure, m_nAt);
        try {
            m_outcome.uCode = run();
        } catch (const std::bad_alloc&) {
            m_outcome.eEnd = EEnd::BadAlloc;
        } catch (...) {
            m_outcome.eEnd = EEnd::OtherException;
        }
        watch.End();
        m_outcome.nElapsedMs = static_cast<int>(MsSince(start));
        m_outcome.counts = watch.Counts();
    }

    // A result of success is one that can be relied on where ends are verified, and a failed
    // retrieve has then left the target as it was.
    void LookAtFiles(const TempDir& temp, const ScriptedServer& server) {
        if (!m_bVerify) return;
        const bool bDone = m_outcome.eEnd == EEnd::Returned && m_outcome.uCode == FTP_OK;
        if (Is(m_operation, "get")) {
            const std::string strFile = ReadFile(temp.File("local"));
            if (strFile != (bDone ? FileBytes() : kOldBytes))
                m_outcome.Problem("the target is not what the result says");
            if (std::filesystem::exists(temp.File("local.part")))
                m_outcome.Problem("a .part file is left");
        }
        if (Is(m_operation, "put") && bDone &&
            server.Uploads() != std::vector<std::string>{FileBytes()})
            m_outcome.Problem("the server has not got the file");
    }

    const SFtpOperation& m_operation;
    const bool m_bVerify;
    const EPart m_ePart;
    const SFailure* const m_pFailure;
    const long m_nAt;
    SOutcome m_outcome;
};

}  // namespace

SFtpArguments::SFtpArguments(const std::string& strDirectory)
    : strLocal(strDirectory + "/local"), strSecond(strDirectory + "/second") {
    WriteFile(strDirectory + "/source", FileBytes());
    WriteFile(strLocal, kOldBytes);
    const std::string strSource = strDirectory + "/source";
    gets = {{strName, strLocal}, {strName, strSecond}};
    puts = {{strSource, strName}, {strSource, strName}};
}

const std::string& FileBytes() {
    static const std::string strBytes = Payload(kFileSize);
    return strBytes;
}

const std::vector<SFtpOperation> kFtpOperations = {
    {"login", {}, [](CFtpClient&, SFtpArguments&) { return 0U; }},
    {"close", {}, [](CFtpClient&, SFtpArguments&) { return 0U; }},
    {"list",
     {List()},
     [](CFtpClient& client, SFtpArguments& a) { return client.ListFile(a.strDir, a.entries); }},
    {"get",
     {kTypeImage, Get()},
     [](CFtpClient& client, SFtpArguments& a) {
         return client.GetOneFile(a.strName, a.strLocal, false);
     }},
    {"put",
     {kTypeImage, Put()},
     [](CFtpClient& client, SFtpArguments& a) {
         return client.PutOneFileToFile(a.puts[0].strSrcFile, a.strName);
     }},
    {"get_batch",
     {kTypeImage, Get(), Get()},
     [](CFtpClient& client, SFtpArguments& a) { return client.GetFile(a.gets, false); }},
    {"put_batch",
     {kTypeImage, Put(), Put()},
     [](CFtpClient& client, SFtpArguments& a) { return client.PutFile(a.puts); }},
    {"mkdir",
     {On("CWD /", "250 there"), On("CWD srv/", "250 there"), On("CWD data/", "250 there"),
      On("CWD dir/", "550 no"), On("MKD dir", "257 made"), On("CWD dir/", "250 there")},
     [](CFtpClient& client, SFtpArguments& a) { return client.MakeDir(a.strDir); }},
    {"rmdir",
     {List(), On("DELE /srv/data/dir/a directory with a long name", "550 no"),
      On("DELE /srv/data/dir/another file with a long name", "250 gone"), On("CWD /", "250 there"),
      On("RMD /srv/data/dir", "250 gone")},
     [](CFtpClient& client, SFtpArguments& a) { return client.RemoveDir(a.strDir); }},
    {"rm",
     {On("DELE /srv/data/file", "250 gone")},
     [](CFtpClient& client, SFtpArguments& a) { return client.RemoveFile(a.strName); }},
    {"chdir",
     {On("CWD /srv/data/dir", "250 there")},
     [](CFtpClient& client, SFtpArguments& a) { return client.ChangeDir(a.strDir); }},
    {"exists",
     {List()},
     [](CFtpClient& client, SFtpArguments& a) {
         return client.checkOneFileExist(a.strDir, "a directory with a long name");
     }},
};

SOutcome RunFtp(const SFtpOperation& operation, bool bVerify, const SFailure* pFailure, long nAt) {
    SOutcome outcome = CSession(operation, bVerify, pFailure, nAt).Run();
    if (pFailure == nullptr) return outcome;
    const SOutcome next = CSession(operation, bVerify, nullptr, 0).Run();
    if (next.eEnd != EEnd::Returned || next.uCode != FTP_OK)
        outcome.Problem("the next session fails with " + std::to_string(next.uCode));
    if (next.szProblem[0] != '\0')
        outcome.Problem(std::string("in the next session: ") + next.szProblem);
    return outcome;
}

}  // namespace FailingTest
