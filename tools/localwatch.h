#ifndef QEL_TOOLS_LOCALWATCH_H
#define QEL_TOOLS_LOCALWATCH_H

#include <cstddef>
#include <vector>

namespace qelftp {

// Watches the local files of one batch while the library moves it. A batch's result code says
// neither which file it stopped at nor that a local read or write failed; but the library opens one
// local file for each file it moves, through the platform's ZELT_OS::fopen, and this program
// replaces that function.
//
// Holds for the thread that made it, which makes at most one at a time, and must outlive the
// streams opened meanwhile.
class CLocalFileWatch {
public:
    struct SBroken {
        std::size_t nFile;  // position among the opened files, from 0
        int nErrno;         // of the first failed read, write or close
    };

    CLocalFileWatch();
    ~CLocalFileWatch();
    CLocalFileWatch(const CLocalFileWatch&) = delete;
    CLocalFileWatch& operator=(const CLocalFileWatch&) = delete;

    static CLocalFileWatch* OfThisThread();

    std::size_t Opened() const { return m_nOpened; }  // successfully, so far
    int OpenErrno() const { return m_nOpenErrno; }    // of the last failed opening; 0 if none
    const std::vector<SBroken>& Broken() const { return m_broken; }

    // Told by the replaced function and its streams.
    std::size_t NoteOpened() { return m_nOpened++; }
    void NoteNotOpened(int nErrno) { m_nOpenErrno = nErrno; }
    void NoteBroken(std::size_t nFile, int nErrno);

private:
    std::size_t m_nOpened = 0;
    int m_nOpenErrno = 0;
    std::vector<SBroken> m_broken;
};

}  // namespace qelftp

#endif
