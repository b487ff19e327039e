// Request cookies and the cookies a response sets.

#include <stdlib.h>
#include <strings.h>

#include <string>
#include <string_view>

#include <vorn/cgi.h>
#include <vorn/err.h>

#include "cgi/cgi_private.h"
#include "cgi/request/header_rules.h"
#include "lib/core/no_throw.h"

namespace {

std::string_view TrimCookieBlanks(std::string_view text)
{
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.remove_suffix(1);
    return text;
}

int ParseCookies(std::string_view header, vorn::ParamList& cookies)
{
    int kept = 0;
    while (!header.empty()) {
        const size_t semicolon = header.find(';');
        const std::string_view pair = TrimCookieBlanks(header.substr(0, semicolon));
        header.remove_prefix(semicolon == std::string_view::npos ? header.size() : semicolon + 1);
        const size_t equals = pair.find('=');
        if (equals == std::string_view::npos)
            continue;
        const std::string_view name = TrimCookieBlanks(pair.substr(0, equals));
        if (name.empty())
            continue;
        if (cookies.Add(std::string(name), std::string(TrimCookieBlanks(pair.substr(equals + 1)))))
            ++kept;
    }
    return kept;
}

// Over TLS, to us or to a proxy in front of us.  A client that claims
// https over plain HTTP only gets a cookie its browser will not send back.
bool IsHttps()
{
    const char* https = getenv("HTTPS");
    const char* forwarded = getenv("HTTP_X_FORWARDED_PROTO");
    return (https != nullptr && strcasecmp(https, "on") == 0) ||
           (forwarded != nullptr && strcasecmp(forwarded, "https") == 0);
}

std::string CookieHeader(const char* name, const char* value, long maxAge, const char* path, const char* domain)
{
    std::string header;
    header.append(name).append("=").append(value);
    header.append("; Path=").append(path != nullptr && *path != '\0' ? path : "/");
    if (domain != nullptr && *domain != '\0')
        header.append("; Domain=").append(domain);
    if (maxAge > 0)
        header.append("; Max-Age=").append(std::to_string(maxAge));
    else if (maxAge < 0)
        header.append("; Max-Age=0");
    header.append("; HttpOnly; SameSite=Lax");
    if (IsHttps())
        header.append("; Secure");
    return header;
}

}  // namespace

extern "C" int VornCgiLoadInCookies(VornCgi* cgi)
{
    VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        priv->request.cookies.Clear();
        const char* header = getenv("HTTP_COOKIE");
        return header != nullptr ? ParseCookies(header, priv->request.cookies) : 0;
    });
}

extern "C" const char* VornCgiGetInCookies(VornCgi* cgi, const char* name, const char* defaultValue)
{
    const VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr || name == nullptr)
        return defaultValue;
    const char* value = vorn::NoThrow<const char*>(nullptr, [&] { return priv->request.cookies.Find(name); });
    return value != nullptr ? value : defaultValue;
}

extern "C" int VornCgiSetCookies(VornCgi* cgi, const char* name, const char* value, long maxAge, const char* path,
                                 const char* domain, int /*flags*/)
{
    if (vorn::PrivateOf(cgi) == nullptr || name == nullptr || value == nullptr || !vorn::IsHttpToken(name) ||
        !vorn::IsCookieValue(value) || (path != nullptr && !vorn::IsCookieAttributeValue(path)) ||
        (domain != nullptr && !vorn::IsCookieAttributeValue(domain))) {
        VLIBCErrSet(VLIB_ERR_HEADER_REFUSED);
        return 0;
    }
    return vorn::NoThrow(0, [&] {
        const std::string header = CookieHeader(name, value, maxAge, path, domain);
        return VornCgiSetHTTPHeader(cgi, "Set-Cookie", header.c_str()) != 0 ? 1 : 0;
    });
}
