#ifndef QEL_TESTS_SUPPORT_ONEBYTE_H
#define QEL_TESTS_SUPPORT_ONEBYTE_H

#include <ostream>
#include <vector>

// Stands between the library and recv(), read() and poll(): test programs that link test_support
// define these three, and pass every call on. Only receives that ask for 520 bytes are looked at:
// these are the control connection's.
//
//     OneByte one(true);             // from here on each of them gives at most one byte
//     OneByte::Receives();           // how many there were since the last ClearCounts()
//     OneByte::WaitsMs();            // the time-outs of this thread's waits for one readable
//     socket

namespace TestSupport {

// How replies arrive: as the server's pieces, or each byte by itself.
enum class EArrival { Whole, OneByte };

inline std::ostream& operator<<(std::ostream& stream, EArrival eArrival) {
    return stream << (eArrival == EArrival::Whole ? "Whole" : "OneByte");
}

class OneByte {
public:
    explicit OneByte(bool bOn) { Switch(bOn); }
    ~OneByte() { Switch(false); }
    OneByte(const OneByte&) = delete;
    OneByte& operator=(const OneByte&) = delete;

    static void Switch(bool bOn);

    // Receives of the control connection that came as far as the system call; a wait that ran into
    // its time-out does not.
    static int Receives();
    // The time-outs, in milliseconds, of every poll() for input on a single descriptor that the
    // calling thread made: one for each receive that the library starts.
    static std::vector<int> WaitsMs();
    static void ClearCounts();
};

}  // namespace TestSupport

#endif
