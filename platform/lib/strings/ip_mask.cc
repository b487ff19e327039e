// IPv4 network masks in dotted-decimal form.

#include <vorn/net.h>

#include <arpa/inet.h>
#include <stdint.h>

extern "C" int BlVLIBIsIpMask(const char* text)
{
    struct in_addr address;
    // inet_pton takes exactly four decimal parts, unlike inet_aton.
    if (text == nullptr || inet_pton(AF_INET, text, &address) != 1)
        return 0;
    const uint32_t bits = ntohl(address.s_addr);
    // Ones then zeros: the complement plus one is a power of two (or zero).
    const uint32_t hostPart = ~bits;
    return (hostPart & (hostPart + 1)) == 0 ? 1 : 0;
}
