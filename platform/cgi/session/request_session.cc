#include "cgi/session/request_session.h"

#include <stdlib.h>
#include <string.h>
#include <time.h>

namespace vorn {

namespace {

char* Duplicate(const std::string& text)
{
    return text.empty() ? nullptr : strdup(text.c_str());
}

}  // namespace

const SessionSettings& SettingsOf(VornCgiPrivate& priv)
{
    if (!priv.session.settings)
        priv.session.settings = LoadSessionSettings();
    return *priv.session.settings;
}

const Session* RequestSession(VornCgiPrivate& priv)
{
    std::string id = priv.session.loginSessionId;
    if (id.empty()) {
        const char* cookie = priv.request.cookies.Find("id");
        id = cookie != nullptr ? cookie : "";
    }
    if (!priv.session.resolved || priv.session.resolvedId != id) {
        priv.session.resolved = true;
        priv.session.resolvedId = id;
        priv.session.live = ReadSession(id, priv.session.session) &&
                           StateOf(priv.session.session, time(nullptr), SettingsOf(priv).timeoutSeconds) ==
                               SessionState::kLive;
    }
    return priv.session.live ? &priv.session.session : nullptr;
}

void RememberRequestSession(VornCgiPrivate& priv, const Session& session)
{
    if (!priv.session.loginSessionId.empty())
        return;  // a login of this process names the request's session
    priv.session.resolved = true;
    priv.session.resolvedId = session.id;
    priv.session.session = session;
    priv.session.live = true;
}

void ForgetRequestSession(VornCgiPrivate& priv)
{
    priv.session.resolved = false;
    priv.session.language.clear();
}

void SetSessionPaths(VornCgi* cgi, const std::string& id)
{
    free(cgi->session_file);
    free(cgi->lock_file);
    cgi->session_file = Duplicate(id.empty() ? "" : SessionPath(id));
    cgi->lock_file = Duplicate(id.empty() ? "" : SessionLockPath());
}

}  // namespace vorn
