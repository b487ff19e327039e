// URLs back to the server, and text escaped for HTML.

#include <arx/webutils.h>

#include <ctype.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>

#include <vorn/cgi.h>
#include <vorn/log.h>

#include "webutils/log_source.h"

using arx::webutils::kWebUtilsLogSource;

namespace {

bool IsDigits(const std::string& text)
{
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
}

bool IsPort(const std::string& text)
{
    return IsDigits(text) && text.size() <= 5 && strtol(text.c_str(), nullptr, 10) >= 1 &&
           strtol(text.c_str(), nullptr, 10) <= 65535;
}

// Splits an authority ("host", "host:port", "[v6]", "[v6]:port") into host
// and the text of its port ("" when none).  false when a bracket is not
// closed or something but ":" follows it.
bool SplitAuthority(const std::string& authority, std::string& host, std::string& port)
{
    if (!authority.empty() && authority[0] == '[') {
        const size_t close = authority.find(']');
        if (close == std::string::npos || (close + 1 < authority.size() && authority[close + 1] != ':'))
            return false;
        host = authority.substr(0, close + 1);
        port = close + 1 < authority.size() ? authority.substr(close + 2) : "";
        return true;
    }
    const size_t colon = authority.rfind(':');
    host = authority.substr(0, colon);
    port = colon == std::string::npos ? "" : authority.substr(colon + 1);
    return true;
}

// Whether HTTP_HOST names a host: a name or IPv4 address, or a bracketed
// IPv6 address, each with an optional port.  Anything else would put the
// client's text into a URL the program hands back.
bool IsHostHeader(const std::string& value)
{
    std::string host, port;
    if (value.empty() || !SplitAuthority(value, host, port) || (!port.empty() && !IsDigits(port)) ||
        (port.empty() && value.back() == ':'))
        return false;
    if (host.size() > 2 && host[0] == '[')
        return host.find_first_not_of("0123456789abcdefABCDEF:.", 1) == host.size() - 1;
    // A name or address begins with a letter or digit (".", "-x" are none).
    return !host.empty() && isalnum(static_cast<unsigned char>(host[0])) &&
           host.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789.-_") ==
               std::string::npos;
}

void Append(std::string& out, char c, bool spaceAsNbsp)
{
    switch (c) {
    case '&': out += "&amp;"; break;
    case '<': out += "&lt;"; break;
    case '>': out += "&gt;"; break;
    case ' ': out += spaceAsNbsp ? "&nbsp;" : " "; break;
    default: out.push_back(c);
    }
}

}  // namespace

namespace WebUtils {

bool ParseURL(const std::string& url, std::string& protocol, std::string& host, std::string& port)
{
    protocol.clear();
    host.clear();
    port.clear();
    std::string scheme, defaultPort, rest;
    if (url.compare(0, 7, "http://") == 0) {
        scheme = "http";
        defaultPort = "80";
        rest = url.substr(7);
    } else if (url.compare(0, 8, "https://") == 0) {
        scheme = "https";
        defaultPort = "443";
        rest = url.substr(8);
    } else {
        return false;
    }
    const std::string authority = rest.substr(0, rest.find_first_of("/?#"));
    std::string foundHost, foundPort;
    // User information would make the text before "@" look like the host.
    if (authority.find('@') != std::string::npos || !SplitAuthority(authority, foundHost, foundPort) ||
        (!foundPort.empty() && !IsPort(foundPort)))
        return false;
    protocol = scheme;
    host = foundHost;
    port = foundPort.empty() ? defaultPort : foundPort;
    return true;
}

bool GetURLByProtocol(std::string& url, bool https, const char* suffix)
{
    const char* header = getenv("HTTP_HOST");
    if (header == nullptr) {
        VLIBCLog(LOG_ERR, "%s (%d) Can't find HTTP_HOST in env", kWebUtilsLogSource, __LINE__);
        return false;
    }
    std::string host = header;
    if (!IsHostHeader(host)) {
        VLIBCLog(LOG_ERR, "%s (%d) HTTP_HOST is not a host name", kWebUtilsLogSource, __LINE__);
        return false;
    }
    const size_t bracket = host.find(']');
    const size_t portStart = bracket != std::string::npos ? bracket + 1 : host.find(':');
    if (portStart != std::string::npos)
        host.erase(portStart);
    if (!host.empty() && host.back() == '.')
        host.pop_back();  // a fully qualified name's final dot
    url = std::string(https ? "https://" : "http://") + host + ":" + (suffix != nullptr ? suffix : "");
    return true;
}

std::string EncodeURL(const char* text)
{
    if (text == nullptr)
        return "";
    const size_t length = strlen(text);
    if (length > INT_MAX / 3)
        return "";
    try {
        std::string buffer(3 * length + 1, '\0');
        if (VornCgiURLEncode(text, buffer.data(), static_cast<int>(3 * length)) < 0)
            return "";
        buffer.resize(strlen(buffer.c_str()));
        return buffer;
    } catch (const std::exception&) {
        return "";  // no memory for the buffer
    }
}

std::string EncodeHtml(const std::string& text, bool spaceAsNbsp)
{
    std::string out;
    out.reserve(text.size());
    for (char c : text)
        Append(out, c, spaceAsNbsp);
    return out;
}

std::string EncodeHtmlAndQuotesEx(const std::string& text, bool spaceAsNbsp, bool singleQuote)
{
    std::string out;
    out.reserve(text.size());
    for (char c : EncodeHtml(text, spaceAsNbsp)) {
        if (c == '"')
            out += "&quot;";
        else if (c == '\'' && singleQuote)
            out += "&#39;";
        else
            out.push_back(c);
    }
    return out;
}

std::string EncodeHtmlAndQuotes(const std::string& text)
{
    return EncodeHtmlAndQuotesEx(text, true, true);
}

}  // namespace WebUtils
