#include "tools/resolver.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>

#include "tools/failure.h"

namespace qelftp {

std::string ResolveHost(const std::string& strHost) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* pFound = nullptr;
    const int nResult = ::getaddrinfo(strHost.c_str(), nullptr, &hints, &pFound);
    if (nResult != 0) {
        const char* pszMeaning =
            nResult == EAI_SYSTEM ? std::strerror(errno) : ::gai_strerror(nResult);
        throw COperationError({"resolve", strHost, pszMeaning, std::nullopt,
                               "check the host name; it must have an IPv4 address"});
    }
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> found(pFound, ::freeaddrinfo);
    sockaddr_in address{};
    std::memcpy(&address, found->ai_addr, sizeof address);
    std::array<char, INET_ADDRSTRLEN> text{};
    ::inet_ntop(AF_INET, &address.sin_addr, text.data(), text.size());
    return text.data();
}

}  // namespace qelftp
