#ifndef QEL_TESTS_SESSION_DESCRIPTORS_H
#define QEL_TESTS_SESSION_DESCRIPTORS_H

#include <set>

namespace SessionTest {

// The descriptors that this process has open.
std::set<int> OpenDescriptors();

// The one that is connected to a port of 127.0.0.1 and is not the server's side, or -1.
int DescriptorConnectedTo(unsigned short usPort);

}  // namespace SessionTest

#endif
