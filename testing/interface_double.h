// Network interfaces for unit tests: answers the interface queries that go through ioctl.
#ifndef ORVA_INTERFACE_DOUBLE_H
#define ORVA_INTERFACE_DOUBLE_H

#include <arpa/inet.h>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <map>
#include <net/if.h>
#include <netinet/in.h>
#include <string>
#include <sys/ioctl.h>
#include <vector>

#include "libc_double.h"

namespace orva_test {

// What the interfaces answer, host byte order, and which queries were made ("0x8915 bond0").
struct Interfaces {
    std::map<std::string, std::uint32_t> addresses, masks;
    std::vector<std::string> queries;
    unsigned silentQueries = 0; // the next n queries fail, whatever the maps say

    // Answers ioctl and makes pauses instant until the next test.
    void install() {
        libc().ioctl = [this](int fd, unsigned long request, void *argument) {
            return answer(fd, request, argument);
        };
        libc().select = [](int, fd_set *, fd_set *, fd_set *, struct timeval *) { return 0; };
    }

private:
    int answer(int fd, unsigned long request, void *argument) {
        auto *query = static_cast<ifreq *>(argument);
        const char *kind = request == SIOCGIFADDR ? "0x8915 " : request == SIOCGIFNETMASK ? "0x891b " : "other ";
        const bool plain = fd >= 0 && fd < 0x10000 && query->ifr_addr.sa_family == AF_INET;
        queries.push_back(kind + std::string(plain ? "" : "(bad descriptor or family) ") + query->ifr_name);
        const auto &answers = request == SIOCGIFADDR ? addresses : masks;
        const auto found = answers.find(query->ifr_name);
        if (silentQueries > 0 || found == answers.end()) {
            silentQueries -= silentQueries > 0 ? 1 : 0;
            errno = ENODEV;
            return -1;
        }
        sockaddr_in reply{};
        reply.sin_family = AF_INET;
        reply.sin_addr.s_addr = htonl(found->second);
        std::memcpy(&query->ifr_addr, &reply, sizeof reply);
        return 0;
    }
};

} // namespace orva_test

#endif
