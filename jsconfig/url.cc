// URLs back to the appliance, and the version of a package's config.

#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <strings.h>

#include <arx/js_config_parser.h>
#include <vorn/webserver.h>

#include "jsconfig/js_config_parser_private.h"
#include "jsconfig/json_member.h"

namespace VORN {
namespace PAD {

namespace {

bool HttpsOn()
{
    // Servers that describe plain HTTP as well say "off".
    const char* https = getenv("HTTPS");
    return https != nullptr && *https != '\0' && strcasecmp(https, "off") != 0;
}

bool IsHostCharacter(char c)
{
    return isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '.' || c == '_';
}

// HTTP_HOST as host and port: "name", "name:port", "[v6]" or "[v6]:port".
// false for anything else: the text is the client's, and ends up in URLs.
bool SplitHost(const std::string& header, std::string& host, std::string& port)
{
    size_t hostEnd;
    if (!header.empty() && header[0] == '[') {
        hostEnd = header.find(']');
        if (hostEnd == std::string::npos)
            return false;
        for (size_t i = 1; i < hostEnd; ++i) {
            if (!isxdigit(static_cast<unsigned char>(header[i])) && header[i] != ':' && header[i] != '.')
                return false;
        }
        ++hostEnd;
    } else {
        hostEnd = header.find(':');
        if (hostEnd == std::string::npos)
            hostEnd = header.size();
        for (size_t i = 0; i < hostEnd; ++i) {
            if (!IsHostCharacter(header[i]))
                return false;
        }
    }
    host = header.substr(0, hostEnd);
    if (host.empty())
        return false;
    if (hostEnd == header.size())
        return true;
    if (header[hostEnd] != ':')
        return false;
    port = header.substr(hostEnd + 1);
    for (const char c : port) {
        if (!isdigit(static_cast<unsigned char>(c)))
            return false;
    }
    return port.size() <= 5;
}

}  // namespace

std::string JSConfigParserPrivate::GetURL(const char* protocol, const char* host, const char* port, const char* path)
{
    const char* header = getenv("HTTP_HOST");
    std::string headerHost;
    std::string headerPort;
    if (header == nullptr || !SplitHost(header, headerHost, headerPort))
        return "";
    const std::string scheme =
        protocol != nullptr && (strcasecmp(protocol, "http") == 0 || strcasecmp(protocol, "https") == 0) ? protocol
        : HttpsOn()                                                                                      ? "https"
                                                                                                         : "http";
    std::string portText;
    if (port != nullptr) {
        portText = port;
    } else if (!headerPort.empty()) {
        portText = headerPort;
    } else {
        const vornw3::Engine engine;
        char number[16];
        snprintf(number, sizeof number, "%d",
                 HttpsOn() ? engine.GetARX().GetHttpsPort() : engine.GetARX().GetHttpPort());
        portText = number;
    }
    return scheme + "://" + (host != nullptr ? std::string(host) : headerHost) + ":" + portText +
           (path != nullptr ? path : "");
}

std::string GetPackageVersion(Json::Value& config)
{
    if (!config.isObject())
        return "";
    for (const std::string& file : config.getMemberNames()) {
        const Json::Value& entries = config[file];
        if (!entries.isObject())
            continue;
        for (const std::string& id : entries.getMemberNames()) {
            const Json::Value& version = arx::jsconfig::Member(entries[id], "version");
            if (version.isString() || version.isNumeric())
                return version.asString();
        }
    }
    return "";
}

}  // namespace PAD
}  // namespace VORN
