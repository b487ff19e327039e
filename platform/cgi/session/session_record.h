// What the CGI record keeps of the request's session.
#ifndef VORN_PLATFORM_SESSION_RECORD_H
#define VORN_PLATFORM_SESSION_RECORD_H

#include <optional>
#include <string>

#include "cgi/session/session_settings.h"
#include "cgi/session/session_store.h"

namespace vorn {

struct SessionRecord {
    std::optional<SessionSettings> settings;  // read on first need
    std::string loginSessionId;  // the session a login of this process made
    std::string resolvedId;      // the id the session below was looked up for
    bool resolved = false;
    bool live = false;
    Session session;
    std::string ssoUser;   // the user a single sign-on token named
    std::string language;  // VornCgiGetLang's answer once known
};

}  // namespace vorn

#endif
