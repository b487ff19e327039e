// Validation of rule configs.  Every refusal logs one line naming the first
// fault found, so that whoever installed the config can mend it.

#include "security/csp_validate.h"

#include <ctype.h>
#include <errno.h>

#include <json/writer.h>
#include <vorn/log.h>

#include "security/csp_names.h"
#include "security/log_source.h"
#include "security/url_matcher.h"

namespace arx::security {

namespace {

// A refused structure: the line names the condition that failed.  errno is
// set so that the line's "%m" says what kind of failure this is.
bool Failed(int line, const char* condition)
{
    errno = EINVAL;
    VLIBCLog(LOG_ERR, "%s:%d Failed [%s], err=%m", kCspRuleLogSource, line, condition);
    return false;
}

// The text of a source for a log line: a string as it is, anything else as
// compact JSON.
std::string SourceText(const Json::Value& source)
{
    if (source.isString())
        return source.asString();
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, source);
}

// A source of a standalone page is not held to the URL pattern (pages may
// need keywords such as 'unsafe-eval'), but it must stay one source of one
// directive: no blanks or control characters, no ';' or ',' that would
// start another directive or policy.
bool IsSingleSource(const Json::Value& source)
{
    if (!source.isString())
        return false;
    const std::string text = source.asString();
    if (text.empty() || text.size() > kLongestSource)
        return false;
    for (const unsigned char c : text) {
        if (c <= ' ' || c == 0x7f || c == ';' || c == ',')
            return false;
    }
    return true;
}

// A directive map: directive name -> array of sources.  checkUrls: the
// sources must be host sources (the system-wide rule); otherwise single
// sources (a standalone page's rule).
bool IsValidDirectiveMap(const Json::Value& jsRule, bool checkUrls)
{
    if (!jsRule.isObject())
        return Failed(__LINE__, "!jsRule.isObject()");
    for (auto it = jsRule.begin(); it != jsRule.end(); ++it) {
        const std::string name = it.name();
        if (KnownDirectives().count(name) == 0) {
            VLIBCLog(LOG_ERR, "%s:%d error key %s", kCspRuleLogSource, __LINE__, name.c_str());
            return false;
        }
        const Json::Value& jsURLs = *it;
        if (!jsURLs.isArray())
            return Failed(__LINE__, "!jsURLs.isArray()");
        for (const Json::Value& source : jsURLs) {
            if (checkUrls && !(source.isString() && IsValidUrl(source.asString()))) {
                VLIBCLog(LOG_ERR, "%s:%d error url \"%s\"", kCspRuleLogSource, __LINE__, SourceText(source).c_str());
                return false;
            }
            if (!checkUrls && !IsSingleSource(source)) {
                VLIBCLog(LOG_ERR, "%s:%d error source \"%s\"", kCspRuleLogSource, __LINE__,
                         SourceText(source).c_str());
                return false;
            }
        }
    }
    return true;
}

bool IsValidWildcardList(const Json::Value& wildcard)
{
    if (!wildcard.isArray())
        return Failed(__LINE__, "!jsStandaloneRule[WILDCARD].isArray()");
    for (const Json::Value& directive : wildcard) {
        if (!directive.isString()) {
            VLIBCLog(LOG_ERR, "%s:%d standalone wildcard needs to be string (ex: img-src)", kCspRuleLogSource,
                     __LINE__);
            return false;
        }
        const std::string name = directive.asString();
        if (KnownDirectives().count(name) == 0) {
            VLIBCLog(LOG_ERR, "%s:%d error key %s", kCspRuleLogSource, __LINE__, name.c_str());
            return false;
        }
        if (NoWildcardDirectives().count(name) != 0) {
            VLIBCLog(LOG_ERR, "%s:%d error key %s, forbidded to be wildcard!", kCspRuleLogSource, __LINE__,
                     name.c_str());
            return false;
        }
    }
    return true;
}

bool IsValidStandaloneEntry(const Json::Value& jsStandaloneRule)
{
    if (!jsStandaloneRule.isObject() || !jsStandaloneRule.isMember(JSID) || !jsStandaloneRule[JSID].isString())
        return Failed(__LINE__, "!jsStandaloneRule.isMember(JSID) || !jsStandaloneRule[JSID].isString()");
    const std::string jsid = jsStandaloneRule[JSID].asString();
    if (jsid.find('/') != std::string::npos)
        return Failed(__LINE__, "string::npos != jsStandaloneRule[JSID].asString().find(\"/\")");
    if (!IsFileName(jsid))
        return Failed(__LINE__, "!IsFileName(jsStandaloneRule[JSID].asString())");
    if (!jsStandaloneRule.isMember(RULE) && !jsStandaloneRule.isMember(WILDCARD))
        return Failed(__LINE__, "!jsStandaloneRule.isMember(RULE) && !jsStandaloneRule.isMember(WILDCARD)");
    if (jsStandaloneRule.isMember(RULE) && !IsValidDirectiveMap(jsStandaloneRule[RULE], false))
        return false;
    return !jsStandaloneRule.isMember(WILDCARD) || IsValidWildcardList(jsStandaloneRule[WILDCARD]);
}

// An entry or an array of them (arrays may nest); the first fault ends it.
bool IsValidStandalone(const Json::Value& standalone)
{
    if (!standalone.isArray())
        return IsValidStandaloneEntry(standalone);
    for (const Json::Value& element : standalone) {
        if (!IsValidStandalone(element))
            return false;
    }
    return true;
}

// "https:" is a scheme source that browsers honour for every host of the
// scheme; the pattern would let it through as a source whose host part is
// left out.
bool IsBareScheme(const std::string& url)
{
    static constexpr char kSchemeCharacters[] =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789+-.";
    return url.size() >= 2 && url.back() == ':' && isalpha(static_cast<unsigned char>(url[0])) &&
           url.find_first_not_of(kSchemeCharacters) == url.size() - 1;
}

}  // namespace

bool IsFileName(const std::string& name)
{
    return !name.empty() && name != "." && name != ".." && name.find('/') == std::string::npos &&
           name.find('\0') == std::string::npos;
}

bool IsValidUrl(const std::string& url)
{
    if (url.empty() || url.size() > kLongestSource)
        return false;
    // The pattern's bracket expressions let control characters through,
    // which a header cannot carry, and ';' and ',', which would end the
    // directive or the policy in the middle of the source list.
    for (const unsigned char c : url) {
        if (c < ' ' || c == 0x7f || c == ';' || c == ',')
            return false;
    }
    return !IsBareScheme(url) && FullMatch(kUrlPattern, url);
}

bool IsValidConf(const Json::Value& jsConf)
{
    if (!jsConf.isObject())
        return Failed(__LINE__, "!jsConf.isObject()");
    if (!jsConf.isMember(RULE) && !jsConf.isMember(RULE_STANDALONE)) {
        VLIBCLog(LOG_ERR, "%s:%d need either rule or rule-standalone in config!(old-style config?)", kCspRuleLogSource,
                 __LINE__);
        return false;
    }
    if (jsConf.isMember(RULE) && !IsValidDirectiveMap(jsConf[RULE], true))
        return false;
    return !jsConf.isMember(RULE_STANDALONE) || IsValidStandalone(jsConf[RULE_STANDALONE]);
}

}  // namespace arx::security
