#ifndef QEL_TESTS_MATRIX_DEVIATION_H
#define QEL_TESTS_MATRIX_DEVIATION_H

#include <string>
#include <vector>

namespace MatrixTest {

// Why some servers give something else than the others: a footnote of the document.
struct SNote {
    const char* pszId;
    const char* pszText;
};

// What an operation gives on a server instead of what the operation's row says. Several lines are
// several possibilities, where it depends on how fast the server is.
struct SDeviation {
    const char* pszColumn;
    const char* pszOperation;  // its title
    const char* pszClassic;    // null: as the row says
    const char* pszVerified;   // with bVerify; null: as the row says
    const char* pszNote;

    const char* Given(bool bVerified) const;
};

const std::vector<SNote>& Notes();
const std::vector<SDeviation>& Deviations();

// Null when there is none.
const SDeviation* FindDeviation(const std::string& strColumn, const std::string& strOperation);

}  // namespace MatrixTest

#endif
