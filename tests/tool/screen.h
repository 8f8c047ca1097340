#ifndef QEL_TESTS_TOOL_SCREEN_H
#define QEL_TESTS_TOOL_SCREEN_H

#include <string>
#include <vector>

namespace ToolTest {

// What a terminal shows of the bytes it gets, in the locale's encoding. Knows what the program's
// display may use: CR, LF, and of ECMA-48 "cursor up", "erase in line" and "erase in page" from
// the cursor on, and colours. Whatever else drives a terminal is kept in Foreign().
class Screen {
public:
    explicit Screen(std::size_t nColumns, std::size_t nRows = 24)
        : m_nColumns(nColumns), m_nRows(nRows), m_rows(1) {}

    void Feed(const std::string& strBytes);

    // Breaks lines that do not fit any more, as most terminals do.
    void Resize(std::size_t nColumns);

    // All lines from the first one written, those that scrolled away, too, without blanks at their
    // ends and without empty lines at the end.
    std::vector<std::string> Lines() const;

    const std::string& Foreign() const { return m_strForeign; }
    bool HadColour() const { return m_bColour; }

private:
    using Row = std::vector<std::string>;  // the character at each column; "" behind a wide one

    void Put(const std::string& strCharacter, std::size_t nWidth);
    void LineFeed();
    std::size_t Escape(const std::string& strBytes, std::size_t nAt);
    void Control(char cFinal, std::size_t nNumber, const std::string& strSequence);
    std::size_t Top() const { return m_rows.size() > m_nRows ? m_rows.size() - m_nRows : 0; }

    std::size_t m_nColumns;
    std::size_t m_nRows;
    std::vector<Row> m_rows;
    std::size_t m_nRow = 0;
    std::size_t m_nColumn = 0;
    std::string m_strForeign;
    bool m_bColour = false;
};

}  // namespace ToolTest

#endif
