// The client's address: REMOTE_ADDR only, never a forwarding header.
#ifndef VORN_PLATFORM_CLIENT_ADDRESS_H
#define VORN_PLATFORM_CLIENT_ADDRESS_H

#include <string>

namespace vorn {

// The canonical text of an IPv4 or IPv6 address; an IPv4-mapped IPv6
// address gives its IPv4 form.  "" for anything that is not an address.
std::string NormalizeAddress(const char* text);

// NormalizeAddress(REMOTE_ADDR).
std::string ClientAddress();

}  // namespace vorn

#endif
