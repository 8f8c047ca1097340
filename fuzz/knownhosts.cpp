// Input: the name of a host, a line feed, the presented key, a line feed, a known_hosts file.

#include "tools/knownhosts.h"

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "fuzz/require.h"
#include "fuzz/slowmatch.h"

namespace QelFuzz {
namespace {

using namespace qelftp;

constexpr std::size_t kMaxSlow = 1U << 16;  // steps that the slow matcher is given

std::string Lower(std::string strText) {
    for (char& c : strText)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
    return strText;
}

bool CoversSlowly(const std::string& strHosts, const std::string& strName) {
    bool bYes = false;
    bool bNo = false;
    const std::string strLower = Lower(strHosts);
    for (std::string_view strRest = strLower; !strRest.empty();) {
        std::string_view strPattern = TakeUntil(strRest, ',');
        const bool bNot = !strPattern.empty() && strPattern.front() == '!';
        if (bNot) strPattern.remove_prefix(1);
        if (strPattern.empty() || !MatchesSlowly(strName, strPattern, false)) continue;
        (bNot ? bNo : bYes) = true;
    }
    return bYes && !bNo;
}

struct SLine {
    bool bRevoked = false;
    std::string strHosts;
    SPublicKey key;
    std::size_t nLine = 0;
};

std::vector<SLine> LinesOf(std::string_view strFile) {
    std::vector<SLine> lines;
    for (std::size_t nLine = 1; !strFile.empty(); ++nLine) {
        std::istringstream fields{std::string(TakeUntil(strFile, '\n'))};
        std::vector<std::string> words;
        for (std::string strWord; fields >> strWord;)
            words.push_back(strWord);
        SLine line;
        line.nLine = nLine;
        if (!words.empty() && words[0][0] == '@') {
            if (words[0] != "@revoked") continue;
            line.bRevoked = true;
            words.erase(words.begin());
        }
        if (words.size() < 3 || words[0][0] == '#') continue;
        line.strHosts = words[0];
        line.key = ParsePublicKey(words[1] + " " + words[2]);
        if (!line.key.strType.empty()) lines.push_back(line);
    }
    return lines;
}

// How often a line says a thing of a host and a key.
std::size_t Says(const std::vector<SLine>& lines, bool bRevoked, const std::string& strName,
                 const SPublicKey* pKey) {
    return static_cast<std::size_t>(
        std::count_if(lines.begin(), lines.end(), [&](const SLine& line) {
            return line.bRevoked == bRevoked && (pKey == nullptr || line.key == *pKey) &&
                   CoversHost(line.strHosts, strName);
        }));
}

EHostKey JudgeSlowly(const std::vector<SLine>& lines, const std::string& strHost,
                     unsigned int uPort, const SPublicKey& key) {
    const std::string strName = KnownHostName(strHost, uPort);
    const std::string strBare = Lower(strHost);
    if (Says(lines, true, strName, &key) + Says(lines, true, strBare, &key) > 0)
        return EHostKey::Revoked;
    if (Says(lines, false, strName, &key) + Says(lines, false, strBare, &key) > 0)
        return EHostKey::Known;
    return Says(lines, false, strName, nullptr) > 0 ? EHostKey::Changed : EHostKey::Unknown;
}

void RequireVerdict(std::string_view strFile, const std::string& strHost, unsigned int uPort,
                    const SPublicKey& key) {
    const std::vector<SLine> lines = LinesOf(strFile);
    const CKnownHosts hosts{std::string(strFile)};
    const SHostKeyVerdict verdict = hosts.Judge(strHost, uPort, key);
    RequireEqual(static_cast<int>(JudgeSlowly(lines, strHost, uPort, key)),
                 static_cast<int>(verdict.eHostKey), "verdict on a host's key");
    RequireEqual(verdict.eHostKey == EHostKey::Unknown, verdict.keys.empty(),
                 "a verdict names its lines");
    for (const SKnownKey& known : verdict.keys) {
        const auto named = std::find_if(lines.begin(), lines.end(), [&](const SLine& line) {
            return line.nLine == known.nLine && line.key == known.key;
        });
        Require(named != lines.end(), "a verdict names lines that are there");
        Require((known.key == key) == (verdict.eHostKey != EHostKey::Changed),
                "a verdict names lines that say so");
    }
    const std::vector<std::string> types = hosts.TypesOf(strHost, uPort);
    for (std::size_t n = 0; n < types.size(); ++n)
        Require(std::count(types.begin(), types.end(), types[n]) == 1, "each type once");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t nSize) {
    std::string_view strRest = TextOf(pData, nSize);
    const std::string strHost(TakeUntil(strRest, '\n'));
    const SPublicKey key = ParsePublicKey(std::string(TakeUntil(strRest, '\n')));
    for (const unsigned int uPort : {22U, 2222U})
        RequireVerdict(strRest, strHost, uPort, key);

    std::string_view strFirstLine = TakeUntil(strRest, '\n');
    const std::string strHosts(TakeUntil(strFirstLine, ' '));
    if (strHosts.rfind("|1|", 0) != 0 && strHosts.size() * strHost.size() <= kMaxSlow) {
        RequireEqual(CoversSlowly(strHosts, Lower(strHost)), CoversHost(strHosts, Lower(strHost)),
                     "whether patterns cover a host");
    }
    Require(key.strType.empty() || KeyFingerprint(key).find(" SHA256:") != std::string::npos,
            "a key has a fingerprint");
    return 0;
}

}  // namespace QelFuzz
