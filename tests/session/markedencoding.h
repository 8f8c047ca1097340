#ifndef QEL_TESTS_SESSION_MARKEDENCODING_H
#define QEL_TESTS_SESSION_MARKEDENCODING_H

namespace SessionTest {

// Takes the place of the host's encoding conversions in a test program. They change nothing until
// an object of this lives: then to-local adds "<local>" in front and to-UTF-8 adds "utf8-" to the
// last part of a path, so that a test sees which of them a text has passed through.
class MarkedEncoding {
public:
    MarkedEncoding();
    ~MarkedEncoding();
    MarkedEncoding(const MarkedEncoding&) = delete;
    MarkedEncoding& operator=(const MarkedEncoding&) = delete;
};

}  // namespace SessionTest

#endif
