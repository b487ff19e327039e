#include "cgi-bin/request_checks.h"

#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <string>

#include <json/json.h>

namespace {

// "host[:port]" of an absolute http or https URL, lower case, the scheme's
// default port left out; "" for anything else ("null" included).
std::string AuthorityOf(const char* url)
{
    std::string scheme;
    if (strncasecmp(url, "http://", 7) == 0)
        scheme = "http";
    else if (strncasecmp(url, "https://", 8) == 0)
        scheme = "https";
    else
        return "";
    std::string authority(url + scheme.size() + 3);
    authority = authority.substr(0, authority.find_first_of("/?#"));
    if (authority.empty() || authority.find('@') != std::string::npos)
        return "";
    for (char& c : authority)
        c = static_cast<char>(tolower(static_cast<unsigned char>(c)));
    const std::string defaultPort = scheme == "http" ? ":80" : ":443";
    if (authority.size() > defaultPort.size() &&
        authority.compare(authority.size() - defaultPort.size(), defaultPort.size(), defaultPort) == 0)
        authority.resize(authority.size() - defaultPort.size());
    return authority;
}

std::string RequestAuthority()
{
    const char* host = getenv("HTTP_HOST");
    if (host == nullptr)
        return "";
    const char* https = getenv("HTTPS");
    const bool secure = https != nullptr && strcasecmp(https, "on") == 0;
    return AuthorityOf(((secure ? "https://" : "http://") + std::string(host)).c_str());
}

}  // namespace

bool AnsweredUnlessPost(WebMan& web)
{
    const char* method = getenv("REQUEST_METHOD");
    if (method != nullptr && strcmp(method, "POST") == 0)
        return false;
    Json::Value reply(Json::objectValue);
    reply["success"] = false;
    reply["error"] = "method";
    web.AddHeader("Status", "405 Method Not Allowed");
    web.AddHeader("Allow", "POST");
    web.AddHeader("Cache-control", "no-store");
    web.WriteHeader("application/json; charset=\"UTF-8\"");
    web.WriteBody(reply);
    return true;
}

bool IsCrossSiteRequest()
{
    const char* origin = getenv("HTTP_ORIGIN");
    const char* referer = getenv("HTTP_REFERER");
    const char* named = origin != nullptr && *origin != '\0' ? origin : referer;
    if (named == nullptr || *named == '\0')
        return false;
    const std::string authority = AuthorityOf(named);
    return authority.empty() || authority != RequestAuthority();
}
