#ifndef QEL_FTP_TRANSFERLIMITS_H
#define QEL_FTP_TRANSFERLIMITS_H

#include <cstddef>

namespace RVN_FTP_CLIENT {

constexpr int kTransferBlock = 1024;  // bytes of one receive or send on the data connection
constexpr int kTransferSilence = 5;   // seconds without data that end a listing or a retrieve

}  // namespace RVN_FTP_CLIENT

#endif
