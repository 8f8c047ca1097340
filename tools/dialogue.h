#ifndef QEL_TOOLS_DIALOGUE_H
#define QEL_TOOLS_DIALOGUE_H

#include <cstddef>
#include <functional>
#include <string>

namespace qelftp {

enum class EDirection { Sent, Received };

// One line of the control connection, without its line end, with secrets masked; the server's text
// may hold any other bytes.
using FDialogueLine = std::function<void(EDirection eDirection, const std::string& strLine)>;

// Bytes of a data connection as they come or go.
using FDataBlock =
    std::function<void(EDirection eDirection, const char* pBytes, std::size_t nSize)>;

// While it exists, every line that this thread sends to and receives from the given port of a
// server is shown to the function, in this thread, and bytes of other ports to the other function,
// if there is one. One at a time in a thread. The functions must not throw.
//
// A line is shown when it is complete; what stays without an end when the server closes the
// connection, when the watch goes, or beyond kMaxLine bytes.
class CDialogueWatch {
public:
    static constexpr std::size_t kMaxLine = 4096;

    CDialogueWatch(unsigned short usPort, FDialogueLine showLine, FDataBlock showData = {});
    ~CDialogueWatch();
    CDialogueWatch(const CDialogueWatch&) = delete;
    CDialogueWatch& operator=(const CDialogueWatch&) = delete;

    static CDialogueWatch* OfThisThread();

    // Told by the program's send(), recv() and read(): nSize bytes passed, 0 when the peer has
    // closed.
    void NoteTraffic(int nSocket, EDirection eDirection, const char* pBytes, std::size_t nSize);

private:
    // One direction of the control connection, cut into lines.
    class CLines {
    public:
        CLines(EDirection eDirection, const FDialogueLine& showLine)
            : m_eDirection(eDirection), m_showLine(showLine) {}

        void Feed(const char* pBytes, std::size_t nSize);
        void ShowRest();

    private:
        void ShowLine();

        EDirection m_eDirection;
        const FDialogueLine& m_showLine;
        std::string m_strLine;
        bool m_bSecret = false;  // what follows in this line is not kept at all
    };

    unsigned short m_usPort;
    FDialogueLine m_showLine;
    FDataBlock m_showData;
    CLines m_sent;
    CLines m_received;
};

// "> " or "< " and the line, as VisibleText makes it, on standard error.
void ShowDialogueLine(EDirection eDirection, const std::string& strLine);

}  // namespace qelftp

#endif
