#include "cgi/session/client_address.h"

#include <arpa/inet.h>
#include <stdlib.h>
#include <string.h>

namespace vorn {

std::string NormalizeAddress(const char* text)
{
    if (text == nullptr || strlen(text) >= INET6_ADDRSTRLEN)
        return "";
    char canonical[INET6_ADDRSTRLEN];
    in_addr v4;
    if (inet_pton(AF_INET, text, &v4) == 1)
        return inet_ntop(AF_INET, &v4, canonical, sizeof canonical) != nullptr ? canonical : "";
    in6_addr v6;
    if (inet_pton(AF_INET6, text, &v6) != 1)
        return "";
    if (IN6_IS_ADDR_V4MAPPED(&v6)) {
        memcpy(&v4, &v6.s6_addr[12], sizeof v4);
        return inet_ntop(AF_INET, &v4, canonical, sizeof canonical) != nullptr ? canonical : "";
    }
    return inet_ntop(AF_INET6, &v6, canonical, sizeof canonical) != nullptr ? canonical : "";
}

std::string ClientAddress()
{
    return NormalizeAddress(getenv("REMOTE_ADDR"));
}

}  // namespace vorn
