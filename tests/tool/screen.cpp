#include "tests/tool/screen.h"

#include <wchar.h>

#include <algorithm>
#include <cwchar>

namespace ToolTest {

void Screen::Feed(const std::string& strBytes) {
    for (std::size_t nAt = 0; nAt < strBytes.size();) {
        const char c = strBytes[nAt];
        if (c == '\r') {
            m_nColumn = 0;
            ++nAt;
        } else if (c == '\n') {
            LineFeed();
            ++nAt;
        } else if (c == '\x1b') {
            nAt = Escape(strBytes, nAt);
        } else {
            std::mbstate_t state{};
            wchar_t character = 0;
            const std::size_t nBytes =
                std::mbrtowc(&character, strBytes.data() + nAt, strBytes.size() - nAt, &state);
            const bool bCharacter = nBytes != 0 && nBytes <= strBytes.size() - nAt;
            const int nWidth = bCharacter ? ::wcwidth(character) : -1;
            const std::string strCharacter = strBytes.substr(nAt, bCharacter ? nBytes : 1);
            if (nWidth < 0) {
                m_strForeign += strCharacter;
            } else {
                Put(strCharacter, static_cast<std::size_t>(nWidth));
            }
            nAt += strCharacter.size();
        }
    }
}

void Screen::Put(const std::string& strCharacter, std::size_t nWidth) {
    if (m_nColumn + nWidth > m_nColumns) {
        m_nColumn = 0;
        LineFeed();
    }
    Row& row = m_rows[m_nRow];
    if (nWidth == 0) {  // a mark on the character before
        if (m_nColumn > 0) row[m_nColumn - 1] += strCharacter;
        return;
    }
    if (row.size() < m_nColumn + nWidth) row.resize(m_nColumn + nWidth, " ");
    row[m_nColumn] = strCharacter;
    if (nWidth == 2) row[m_nColumn + 1] = "";
    m_nColumn += nWidth;
}

// As the system's terminal driver makes it of LF: at the start of the next line.
void Screen::LineFeed() {
    m_nColumn = 0;
    if (++m_nRow == m_rows.size()) m_rows.emplace_back();
}

std::size_t Screen::Escape(const std::string& strBytes, std::size_t nAt) {
    const std::size_t nFinal = strBytes.find_first_not_of("0123456789;", nAt + 2);
    if (strBytes.compare(nAt, 2, "\x1b[") != 0 || nFinal == std::string::npos) {
        m_strForeign += strBytes.substr(nAt, 2);
        return std::min(nAt + 2, strBytes.size());
    }
    const std::string strNumber = strBytes.substr(nAt + 2, nFinal - nAt - 2);
    Control(strBytes[nFinal], strNumber.empty() ? 0 : std::stoul(strNumber),
            strBytes.substr(nAt, nFinal + 1 - nAt));
    return nFinal + 1;
}

void Screen::Control(char cFinal, std::size_t nNumber, const std::string& strSequence) {
    switch (cFinal) {
        case 'A':
            m_nRow = std::max(Top(), m_nRow - std::min(m_nRow, std::max<std::size_t>(nNumber, 1)));
            return;
        case 'J':
            m_rows.resize(m_nRow + 1);
            [[fallthrough]];
        case 'K':
            if (nNumber != 0) break;
            m_rows[m_nRow].resize(std::min(m_rows[m_nRow].size(), m_nColumn));
            return;
        case 'm':
            m_bColour = true;
            return;
        default:
            break;
    }
    m_strForeign += strSequence;
}

void Screen::Resize(std::size_t nColumns) {
    m_nColumns = nColumns;
    std::vector<Row> broken;
    std::size_t nCursor = 0;
    for (std::size_t n = 0; n < m_rows.size(); ++n) {
        if (n == m_nRow) nCursor = broken.size();
        Row rest = m_rows[n];
        while (rest.size() > nColumns) {
            const auto cut = rest.begin() + static_cast<std::ptrdiff_t>(nColumns);
            broken.emplace_back(rest.begin(), cut);
            rest.erase(rest.begin(), cut);
        }
        broken.push_back(rest);
    }
    m_rows = broken;
    m_nRow = nCursor;
}

std::vector<std::string> Screen::Lines() const {
    std::vector<std::string> lines;
    for (const Row& row : m_rows) {
        std::string strLine;
        for (const std::string& strCell : row)
            strLine += strCell;
        strLine.erase(strLine.find_last_not_of(' ') + 1);
        lines.push_back(strLine);
    }
    while (!lines.empty() && lines.back().empty())
        lines.pop_back();
    return lines;
}

}  // namespace ToolTest
