// URLs and hosts from clients: ParseURL and GetURLByProtocol never crash,
// and what they accept names a host that cannot carry a path, a query, a
// fragment or user information; the HTML escapes leave nothing that could
// open a tag or leave an attribute.

#include <stdint.h>
#include <stdlib.h>

#include <string>

#include <arx/webutils.h>

namespace {

// A host that cannot carry a path, a query, a fragment or user
// information; a built one is made of a host name's characters alone.
bool PlainHost(const std::string& host, bool built)
{
    static const char kHostCharacters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-_[]:";
    if (built && (host.empty() || host.find_first_not_of(kHostCharacters) != std::string::npos))
        return false;
    return host.find_first_of("/?#@") == std::string::npos && (host.empty() || host[0] != '[' || host.back() == ']');
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size);
    std::string protocol, host, port;
    if (WebUtils::ParseURL(input, protocol, host, port)) {
        const long number = strtol(port.c_str(), nullptr, 10);
        if ((protocol != "http" && protocol != "https") || !PlainHost(host, false) || number < 1 || number > 65535 ||
            port.find_first_not_of("0123456789") != std::string::npos)
            abort();
    } else if (!protocol.empty() || !host.empty() || !port.empty()) {
        abort();
    }

    setenv("HTTP_HOST", input.c_str(), 1);
    std::string url;
    if (WebUtils::GetURLByProtocol(url, true, "5001/")) {
        const std::string built = url.substr(8, url.size() - 8 - 6);
        if (url.compare(0, 8, "https://") != 0 || url.compare(url.size() - 6, 6, ":5001/") != 0 || !PlainHost(built, true))
            abort();
    }

    const std::string escaped = WebUtils::EncodeHtmlAndQuotes(input);
    if (escaped.find_first_of("<>\"' ") != std::string::npos)
        abort();
    for (size_t amp = escaped.find('&'); amp != std::string::npos; amp = escaped.find('&', amp + 1)) {
        const size_t end = escaped.find(';', amp);
        const std::string entity = end == std::string::npos ? "" : escaped.substr(amp, end - amp + 1);
        if (entity != "&amp;" && entity != "&lt;" && entity != "&gt;" && entity != "&quot;" && entity != "&#39;" &&
            entity != "&nbsp;")
            abort();
    }
    return 0;
}
