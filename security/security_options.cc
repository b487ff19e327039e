// SecurityOptions: the Content-Security-Policy and X-Frame-Options values.
// Every failure gives an empty value (no header), never an error response.

#include <arx/security_options.h>

#include <arpa/inet.h>
#include <stdio.h>
#include <stdlib.h>

#include <arx/csp_rule.h>
#include <arx/json_file.h>
#include <arx/string_parser.h>
#include <arx/vorn_conf.h>
#include <vorn/log.h>
#include <vorn/root.h>

#include "base/file_read.h"
#include "security/csp_names.h"
#include "security/log_source.h"
#include "security/plain_rule.h"
#include "security/referrer.h"
#include "webutils/json_text.h"

namespace VORN {
namespace ARX {

namespace {

using arx::security::kSecurityOptionsLogSource;

constexpr char kHostPlaceholder[] = "{HOSTNAME}";
constexpr char kSameOrigin[] = "SAMEORIGIN";

std::string Environment(const char* name)
{
    const char* value = getenv(name);
    return value != nullptr ? value : "";
}

// Characters of a host name, an IP address literal or its port.  Anything
// else in HTTP_HOST would become part of the policy: such a host counts as
// empty.
bool IsHostText(const std::string& host)
{
    for (const char c : host) {
        const bool alnum = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
        if (!alnum && c != '-' && c != '.' && c != '_' && c != ':' && c != '[' && c != ']' && c != '%')
            return false;
    }
    return true;
}

// The request's host without its port: a bare IPv6 literal stays whole, a
// bracketed one keeps its brackets.
std::string RequestHost()
{
    std::string host = Environment("HTTP_HOST");
    if (!IsHostText(host))
        return "";
    struct in6_addr address;
    if (inet_pton(AF_INET6, host.c_str(), &address) == 1 || host.find(':') == std::string::npos)
        return host;
    const size_t bracket = host.find(']');
    if (host[0] == '[' && bracket != std::string::npos)
        return host.substr(0, bracket + 1);
    return host.substr(0, host.rfind(':'));
}

// One directive: "name source source;", or "" when it has no sources.
void AppendDirective(const char* name, const char* nameEnd, const Json::Value& sources, std::string& header)
{
    if (!sources.isArray() || sources.empty())
        return;
    header.append(name, nameEnd);
    for (const Json::Value& source : sources) {
        const char* begin = nullptr;
        const char* end = nullptr;
        if (source.getString(&begin, &end)) {
            header.push_back(' ');
            header.append(begin, end);
        }
    }
    header.push_back(';');
}

std::string HeaderText(const Json::Value& rule)
{
    std::string header;
    for (auto it = rule.begin(); it != rule.end(); ++it) {
        const char* nameEnd = nullptr;
        const char* name = it.memberName(&nameEnd);
        AppendDirective(name, nameEnd, *it, header);
        // Every directive, even one without sources, is followed by a space.
        header.push_back(' ');
    }
    return header;
}

// A rule file read and understood: the policy text of its object, or no
// text when it holds another JSON value.
struct RulePolicy {
    bool isObject = false;
    std::string text;
};

// false when the file cannot be read or holds no JSON.
bool ReadRulePolicy(const std::string& path, RulePolicy& policy)
{
    std::string content;
    if (!base::ReadWholeFile(path.c_str(), content))
        return false;
    if (arx::security::RenderPlainRule(content, policy.text)) {
        policy.isObject = true;
        return true;
    }
    Json::Value rule;
    if (!arx::webutils::JsonFromText(rule, content))
        return false;
    policy.isObject = rule.isObject();
    policy.text = policy.isObject ? HeaderText(rule) : "";
    return true;
}

// The rule of the page: its standalone file when it has one, else the
// system-wide rule.  false (logged) when no rule can be read.
bool LoadRule(const std::string& jsid, RulePolicy& policy)
{
    const std::string rulePath = VORNRootPathString(arx::security::kRuleFile);
    bool loaded = ReadRulePolicy(rulePath, policy);
    if (!loaded) {
        if (!CspRule::GenerateCSPTarget()) {
            VLIBCLog(LOG_ERR, "%s:%d Failed to GenerateCSPTarget from [%s]", kSecurityOptionsLogSource, __LINE__,
                     VORNRootPathString(arx::security::kDefaultRule).c_str());
            return false;
        }
        loaded = ReadRulePolicy(rulePath, policy);
    }
    // A page name is a file name: one with a '/' never leaves the directory.
    if (!jsid.empty() && jsid.find('/') == std::string::npos) {
        char pagePath[4096];
        snprintf(pagePath, sizeof pagePath, "%s/%s", VORNRootPathString(arx::security::kStandaloneDir).c_str(),
                 jsid.c_str());
        RulePolicy pagePolicy;
        if (ReadRulePolicy(pagePath, pagePolicy)) {
            policy = std::move(pagePolicy);
            return true;
        }
    }
    if (!loaded) {
        VLIBCLog(LOG_ERR, "%s:%d Failed to load CSP rule [%s]", kSecurityOptionsLogSource, __LINE__, rulePath.c_str());
        VLIBCLog(LOG_ERR, "%s:%d Failed to load CSP rule", kSecurityOptionsLogSource, __LINE__);
    }
    return loaded;
}

std::string CspHeader(const std::string& jsid, VornConf& conf)
{
    if (!conf.InfoCheckValue("csp_header_option", "yes", true))
        return "";
    RulePolicy policy;
    if (!LoadRule(jsid, policy))
        return "";
    if (!policy.isObject) {
        VLIBCLog(LOG_ERR, "%s:%d CSP rule config is not an object", kSecurityOptionsLogSource, __LINE__);
        return "";
    }
    if (policy.text.find(kHostPlaceholder) != std::string::npos)
        return VORN::PAD::StringParser::ReplaceString(policy.text, kHostPlaceholder, RequestHost());
    return policy.text;
}

bool OnAllowList(const arx::security::FramingOrigin& referrer, const std::string& allowList)
{
    size_t start = 0;
    for (;;) {
        const size_t comma = allowList.find(',', start);
        const std::string entry = allowList.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        if (arx::security::Matches(referrer, arx::security::ParseFramingOrigin(entry)))
            return true;
        if (comma == std::string::npos)
            return false;
        start = comma + 1;
    }
}

std::string FrameOption(VornConf& conf)
{
    if (!conf.InfoCheckValue("check_frame_options", "yes", true))
        return "";
    const arx::security::FramingOrigin referrer = arx::security::ParseFramingOrigin(Environment("HTTP_REFERER"));
    if (referrer.host.empty())
        return kSameOrigin;
    return OnAllowList(referrer, conf.Info("frame_options_built_in_allow_url", "")) ? "" : kSameOrigin;
}

}  // namespace

SecurityOptions::SecurityOptions(const char* jsid) : jsid_(jsid != nullptr ? jsid : "")
{
}

std::string SecurityOptions::GetCSPHeader()
{
    try {
        VornConf conf;
        return CspHeader(jsid_, conf);
    } catch (...) {
        return "";
    }
}

std::string SecurityOptions::GetXFrameOption()
{
    try {
        VornConf conf;
        return FrameOption(conf);
    } catch (...) {
        return "";
    }
}

Json::Value SecurityOptions::GetSecurityHeaders()
{
    try {
        VornConf conf;
        Json::Value headers;
        const std::string csp = CspHeader(jsid_, conf);
        if (!csp.empty())
            headers["Content-Security-Policy"] = csp;
        const std::string frameOption = FrameOption(conf);
        if (!frameOption.empty())
            headers["X-Frame-Options"] = frameOption;
        return headers;
    } catch (...) {
        return Json::Value();
    }
}

}  // namespace ARX
}  // namespace VORN
