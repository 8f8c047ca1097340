#ifndef QEL_FTP_TRANSFERLIMITS_H
#define QEL_FTP_TRANSFERLIMITS_H

namespace RVN_FTP_CLIENT {

constexpr unsigned int kFirstBlock = 1024;  // bytes, for who wants no more than that
constexpr int kTransferSilence = 5;         // seconds without data that end a transfer

}  // namespace RVN_FTP_CLIENT

#endif
