#include "tools/ftpcheck.h"

#include <fmt/format.h>

#include <memory>

#include "include/ftpclient.h"
#include "include/ftpresult.h"
#include "tools/checkfacts.h"
#include "tools/dialogue.h"
#include "tools/dialoguerecord.h"

namespace qelftp {
namespace {

using namespace RVN_FTP_CLIENT;

std::string Meaning(unsigned int uCode) {
    return fmt::format("{} (0x{:08x})", FtpResultText(uCode), uCode);
}

// "login refused (0x3bb00007): 530 no", or without what the server did not say.
std::string MeaningOf(unsigned int uCode, const SExchange* pExchange) {
    const bool bAnswered = pExchange != nullptr && !pExchange->replies.empty();
    return Meaning(uCode) + (bAnswered ? ": " + pExchange->LastLine() : "");
}

double MillisBetween(CheckClock::time_point from, CheckClock::time_point to) {
    return std::chrono::duration<double, std::milli>(to - from).count();
}

const char* StyleName(EListingStyle eStyle) {
    switch (eStyle) {
        case EListingStyle::Empty:
            return "empty";
        case EListingStyle::Unix:
            return "Unix style";
        case EListingStyle::Dos:
            return "DOS style";
        case EListingStyle::Mixed:
            return "lines of several styles";
        case EListingStyle::Unknown:
            return "a style that the library does not know";
    }
    return "";
}

class CFtpCheck {
public:
    CFtpCheck(const SConnection& connection, bool bVerbose)
        : m_strAddress(connection.strAddress),
          m_client(connection.strAddress, connection.usPort, connection.strUser,
                   connection.password),
          m_watch(
              connection.usPort,
              [this, bVerbose](EDirection eDirection, const std::string& strLine) {
                  m_record.Add(eDirection, strLine);
                  if (bVerbose) ShowDialogueLine(eDirection, strLine);
              },
              [this](EDirection eDirection, const char* pBytes, std::size_t nSize) {
                  if (eDirection == EDirection::Received) m_strListing.append(pBytes, nSize);
              }) {
        const SConnectOptions& options = connection.options;
        m_client.setParam(options.usTimeout, options.usRetries, options.usRetryTimeout);
    }

    CheckSteps Run() {
        const unsigned int uLogin = m_client.Login();
        AddGreeting(uLogin);
        if (AllGood(m_steps)) AddLogin(uLogin);
        if (!AllGood(m_steps)) {
            Leave();
            return m_steps;
        }
        AddRoot();
        AddListing(List());
        AddClose(m_client.Close());
        return m_steps;
    }

private:
    void Add(const char* pszName, EFinding eFinding, std::optional<double> dMillis,
             const std::string& strText) {
        m_steps.push_back({pszName, eFinding, dMillis, strText});
    }

    void AddGreeting(unsigned int uLogin) {
        const SExchange& greeting = m_record.Greeting();
        const bool bSilent = greeting.replies.empty();
        if (bSilent && uLogin == FTP_CONNECT_FAILED) {
            Add("connection", EFinding::Bad, {}, Meaning(uLogin));
            return;
        }
        std::optional<double> dMillis;
        if (!bSilent) dMillis = greeting.Millis();
        const bool bWentOn = m_record.Find("USER") != nullptr;
        if (!bWentOn) {
            Add("greeting", EFinding::Bad, dMillis, MeaningOf(uLogin, &greeting));
        } else {
            const bool bGood = greeting.Code().rfind('2', 0) == 0;
            Add("greeting", bGood ? EFinding::Good : EFinding::Note, dMillis,
                bSilent ? "none" : greeting.LastLine());
        }
    }

    void AddLogin(unsigned int uLogin) {
        const SExchange* const pUser = m_record.Find("USER");
        const SExchange* const pPass = m_record.Find("PASS");
        const SExchange* const pLast = pPass != nullptr ? pPass : pUser;
        std::optional<double> dMillis;
        if (pUser != nullptr) dMillis = MillisBetween(pUser->sent, pLast->answered);
        if (uLogin == FTP_OK && pLast != nullptr) {
            Add("login", EFinding::Good, dMillis, pLast->LastLine());
        } else {
            Add("login", EFinding::Bad, dMillis, MeaningOf(uLogin, pLast));
        }
    }

    void AddRoot() {
        const SExchange* const pPwd = m_record.Find("PWD");
        if (pPwd == nullptr) return;
        const std::optional<std::string> directory =
            pPwd->Code() == "257" ? QuotedDirectory(pPwd->LastLine()) : std::nullopt;
        if (directory && !directory->empty()) {
            Add("root directory", EFinding::Good, pPwd->Millis(), *directory);
        } else {
            Add("root directory", EFinding::Note, pPwd->Millis(),
                "not told, so paths go to the server as the program gives them: " +
                    pPwd->LastLine());
        }
    }

    // What the library makes of "/". When it does not like the announced address, that is told, and
    // the rest is looked at with the option that puts up with it.
    unsigned int List() {
        const unsigned int uResult = ListOnce();
        AddAnnounced();
        if (uResult != FTP_BAD_PASV_REPLY || !m_bOtherAddress) return uResult;
        FtpTransferOptions options;
        options.bAnyDataAddress = true;
        m_client.setTransferOptions(options);
        return ListOnce();
    }

    unsigned int ListOnce() {
        m_strListing.clear();
        m_nEntries = 0;
        std::vector<TkFileInfo*> entries;
        const unsigned int uResult = m_client.ListFile("/", entries);
        for (const TkFileInfo* pEntry : entries) {
            ++m_nEntries;
            delete pEntry;
        }
        return uResult;
    }

    void AddAnnounced() {
        const SExchange* const pPasv = m_record.Find("PASV");
        if (pPasv == nullptr || pPasv->Code() != "227") return;  // the listing's failure tells
        const std::optional<SAnnounced> announced = AnnouncedAddress(pPasv->LastLine());
        m_bOtherAddress = announced && announced->strAddress != m_strAddress;
        if (!announced) {
            Add("passive address", EFinding::Bad, pPasv->Millis(),
                "no address in: " + pPasv->LastLine());
        } else if (m_bOtherAddress) {
            Add("passive address", EFinding::Bad, pPasv->Millis(),
                fmt::format("{} instead of {}: a program has to set "
                            "FtpTransferOptions::bAnyDataAddress",
                            announced->strAddress, m_strAddress));
        } else {
            Add("passive address", EFinding::Good, pPasv->Millis(),
                announced->strAddress + ", the one it was reached at");
        }
    }

    void AddListing(unsigned int uResult) {
        const SExchange* const pPasv = m_record.Find("PASV");
        const SExchange* const pList = m_record.Find("LIST");
        if (pList == nullptr && pPasv != nullptr && uResult == FTP_CONNECT_FAILED) {
            Add("data connection", EFinding::Bad, MillisBetween(pPasv->answered, CheckClock::now()),
                Meaning(uResult) + ": check firewalls between, and the server's passive ports");
            return;
        }
        if (pList == nullptr) {
            if (AllGood(m_steps)) {
                const SExchange* const pCwd = m_record.Find("CWD");
                Add("listing", EFinding::Bad, {},
                    MeaningOf(uResult, pPasv != nullptr ? pPasv : pCwd));
            }
            return;
        }
        Add("data connection", EFinding::Good, MillisBetween(pPasv->answered, pList->sent),
            "passive");
        if (uResult != FTP_OK) {
            Add("listing", EFinding::Bad, pList->Millis(), MeaningOf(uResult, pList));
            return;
        }
        AddStyle(*pList);
        AddUtf8();
    }

    void AddStyle(const SExchange& list) {
        const SListingSurvey survey = SurveyListing(m_strListing);
        const bool bNothingUnderstood = survey.nLines != 0 && m_nEntries == 0;
        const bool bAll = m_nEntries == survey.nLines;
        const EFinding eFinding = bNothingUnderstood ? EFinding::Bad
                                  : bAll             ? EFinding::Good
                                                     : EFinding::Note;
        std::string strText = StyleName(survey.eStyle);
        if (survey.nLines != 0)
            strText += fmt::format("; {} of {} lines are entries", m_nEntries, survey.nLines);
        Add("listing", eFinding, list.Millis(), strText);
    }

    void AddUtf8() {
        const SExchange* const pOpts = m_record.Find("OPTS");
        if (pOpts == nullptr) return;
        if (pOpts->Code().rfind('2', 0) == 0) {
            Add("UTF-8", EFinding::Good, pOpts->Millis(), pOpts->LastLine());
        } else {
            Add("UTF-8", EFinding::Note, pOpts->Millis(),
                "not switched on, so names in listings are left as they come: " +
                    pOpts->LastLine());
        }
    }

    void AddClose(unsigned int uResult) {
        const SExchange* const pQuit = m_record.Find("QUIT");
        const bool bGood = uResult == FTP_OK;
        std::optional<double> dMillis;
        if (pQuit != nullptr) dMillis = pQuit->Millis();
        Add("close", bGood ? EFinding::Good : EFinding::Note, dMillis,
            bGood && pQuit != nullptr ? pQuit->LastLine() : MeaningOf(uResult, pQuit));
    }

    // After a failed login, without long waits for a server that may be silent.
    void Leave() {
        m_client.setParam(1, 0, 0);
        m_client.Close();
    }

    std::string m_strAddress;
    CFtpClient m_client;
    CDialogueRecord m_record;
    std::string m_strListing;
    std::size_t m_nEntries = 0;
    bool m_bOtherAddress = false;
    CheckSteps m_steps;
    CDialogueWatch m_watch;  // last, since it shows to the others as it goes
};

}  // namespace

CheckSteps CheckFtpServer(const SConnection& connection, bool bVerbose) {
    return CFtpCheck(connection, bVerbose).Run();
}

}  // namespace qelftp
