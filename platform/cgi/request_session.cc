#include "request_session.h"

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
    if (!priv.settings)
        priv.settings = LoadSessionSettings();
    return *priv.settings;
}

const Session* RequestSession(VornCgiPrivate& priv)
{
    std::string id = priv.loginSessionId;
    if (id.empty()) {
        const char* cookie = priv.cookies.Find("id");
        id = cookie != nullptr ? cookie : "";
    }
    if (!priv.resolved || priv.resolvedId != id) {
        priv.resolved = true;
        priv.resolvedId = id;
        priv.sessionLive = ReadSession(id, priv.session) &&
                           StateOf(priv.session, time(nullptr), SettingsOf(priv).timeoutSeconds) ==
                               SessionState::kLive;
    }
    return priv.sessionLive ? &priv.session : nullptr;
}

void RememberRequestSession(VornCgiPrivate& priv, const Session& session)
{
    if (!priv.loginSessionId.empty())
        return;  // a login of this process names the request's session
    priv.resolved = true;
    priv.resolvedId = session.id;
    priv.session = session;
    priv.sessionLive = true;
}

void ForgetRequestSession(VornCgiPrivate& priv)
{
    priv.resolved = false;
    priv.language.clear();
}

void SetSessionPaths(VornCgi* cgi, const std::string& id)
{
    free(cgi->session_file);
    free(cgi->lock_file);
    cgi->session_file = Duplicate(id.empty() ? "" : SessionPath(id));
    cgi->lock_file = Duplicate(id.empty() ? "" : SessionLockPath());
}

const char* KeepText(VornCgiPrivate& priv, std::string text)
{
    priv.keptTexts.push_back(std::move(text));
    return priv.keptTexts.back().c_str();
}

}  // namespace vorn
