// What the CGI record keeps behind its private pointer.
#ifndef VORN_PLATFORM_CGI_PRIVATE_H
#define VORN_PLATFORM_CGI_PRIVATE_H

#include <deque>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <vorn/cgi.h>

#include "param_list.h"
#include "session_settings.h"
#include "session_store.h"

struct VornCgiPrivate {
    std::string base;  // the module's UI directory given to VornCgiInit

    vorn::ParamList params;         // filled by VornCgiParseCGIParam
    vorn::ParamList requestParams;  // query string, then a URL-encoded body
    bool queryParsed = false;
    bool bodyParsed = false;

    vorn::ParamList cookies;

    // The configuration handle: key -> value, empty values left out.
    std::unordered_map<std::string, std::string> infoValues;
    std::unordered_map<std::string, std::string> defaultValues;

    std::vector<std::pair<std::string, std::string>> headers;  // in queue order
    bool headersPrinted = false;

    // Sessions.
    std::optional<vorn::SessionSettings> settings;  // read on first need
    std::string loginSessionId;  // the session a login of this process made
    std::string resolvedId;      // the id the session below was looked up for
    bool resolved = false;
    bool sessionLive = false;
    vorn::Session session;
    std::string ssoUser;         // the user a single sign-on token named
    std::string language;        // VornCgiGetLang's answer once known

    // UI texts: sections in load order, each key -> text.
    std::vector<std::pair<std::string, std::unordered_map<std::string, std::string>>> texts;

    // Texts handed out as const char* that live as long as the record.
    std::deque<std::string> keptTexts;
};

namespace vorn {

// The private part of a usable record, or nullptr.
inline VornCgiPrivate* PrivateOf(VornCgi* cgi)
{
    return cgi != nullptr ? cgi->priv : nullptr;
}

}  // namespace vorn

#endif
