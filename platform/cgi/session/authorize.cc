// The authorization check of every request, and the session's token and
// paths.

#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <string>

#include <vorn/err.h>
#include <vorn/session.h>
#include <vorn/user.h>

#include "cgi/cgi_private.h"
#include "cgi/request/request_body.h"
#include "cgi/session/client_address.h"
#include "cgi/session/request_session.h"
#include "cgi/session/session_account.h"
#include "cgi/session/session_id.h"
#include "cgi/session/session_store.h"
#include "lib/core/no_throw.h"

namespace {

// The last access is written at most this often: most requests only read.
constexpr long long kRefreshInterval = 30;

// Compares without stopping at the first difference.
bool SameSecret(const char* given, const std::string& expected)
{
    if (given == nullptr)
        return false;
    const size_t length = strlen(given);
    unsigned char difference = length == expected.size() ? 0 : 1;
    for (size_t i = 0; i < expected.size(); ++i)
        difference |= static_cast<unsigned char>(expected[i] ^ (i < length ? given[i] : '\0'));
    return difference == 0;
}

bool CarriesToken(VornCgi* cgi, const std::string& token)
{
    return SameSecret(getenv("HTTP_X_VORNTOKEN"), token) ||
           SameSecret(VornCgiGetRequestParam(cgi, "VornToken", nullptr, 0), token);
}

bool IsBackgroundRequest()
{
    const char* background = getenv("HTTP_X_VORN_BACKGROUND");
    return background != nullptr && strcmp(background, "1") == 0;
}

void Refresh(const std::string& id, long long now)
{
    vorn::UpdateSession(id, [now](vorn::Session& session) {
        if (session.ended)
            return false;
        session.lastAccess = now;
        return true;
    });
}

int Authorize(VornCgi* cgi, VornCgiPrivate& priv, char* user, int size, const VORN_AUTH_REQUEST* request)
{
    const vorn::SessionSettings& settings = vorn::SettingsOf(priv);
    const long long now = time(nullptr);
    const char* id = VornCgiGetInCookies(cgi, "id", nullptr);
    if (id == nullptr || *id == '\0')
        return VORN_AUTH_UNAUTH;
    vorn::Session session;
    // ReadSession refuses an id of any other form before touching a file.
    if (!vorn::ReadSession(id, session))
        return VORN_AUTH_TIMEOUT;
    switch (vorn::StateOf(session, now, settings.timeoutSeconds)) {
    case vorn::SessionState::kExpired:
        return VORN_AUTH_TIMEOUT;
    case vorn::SessionState::kEnded:
        return VORN_AUTH_RELOGIN;
    case vorn::SessionState::kLive:
        break;
    }
    // An account deleted, locked or renumbered since the login: the UI asks
    // for a new login, which tells its holder no more than any login does.
    if (vorn::CheckSessionAccount(session) != vorn::AccountState::kAsAtLogin)
        return VORN_AUTH_TIMEOUT;
    if (settings.checkIp && cgi->skip_check_ip == 0 && vorn::ClientAddress() != session.address)
        return VORN_AUTH_ERRORIP;
    const int level = request != nullptr ? request->level : 0;
    if ((level & VORN_AUTH_ADMIN) != 0 && VLIBGroupIsAdminGroupMem(session.user.c_str(), 0) != 1)
        return VORN_AUTH_NOPRIVILEGE;
    if (settings.tokenEnable && !vorn::IsQueryMethod() && !CarriesToken(cgi, session.token))
        return VORN_AUTH_UNAUTH;
    if (session.user.size() >= static_cast<size_t>(size)) {
        VLIBCErrSet(VLIB_ERR_BUFFER_TOO_SMALL);
        return VORN_AUTH_TIMEOUT;
    }
    memcpy(user, session.user.c_str(), session.user.size() + 1);

    const bool keepAlive = !(request != nullptr && request->noRefresh) && !IsBackgroundRequest();
    if (keepAlive && now - session.lastAccess >= kRefreshInterval) {
        Refresh(session.id, now);
        session.lastAccess = now;
    }
    vorn::SetSessionPaths(cgi, session.id);
    vorn::RememberRequestSession(priv, session);
    vorn::SweepSessionsWhenDue(now, settings.timeoutSeconds);
    return VORN_AUTH_OK;
}

}  // namespace

extern "C" int VornCgiIsAuthorized(VornCgi* cgi, char* user, int size, VORN_AUTH_REQUEST* request,
                                   CGI_POSITION /*position*/)
{
    VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr || user == nullptr || size <= 0) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return VORN_AUTH_TIMEOUT;
    }
    return vorn::NoThrow(VORN_AUTH_TIMEOUT, [&] { return Authorize(cgi, *priv, user, size, request); });
}

extern "C" int VornCgiIsTokenEnable(VornCgi* cgi)
{
    VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    return vorn::NoThrow(1, [&] {
        return (priv != nullptr ? vorn::SettingsOf(*priv) : vorn::LoadSessionSettings()).tokenEnable ? 1 : 0;
    });
}

extern "C" const char* VornCgiGetOption(VornCgi* cgi, int option, const char* defaultValue)
{
    VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr)
        return defaultValue;
    return vorn::NoThrow(defaultValue, [&] {
        const vorn::Session* session = vorn::RequestSession(*priv);
        if (session == nullptr)
            return defaultValue;
        switch (option) {
        case VORN_OPTION_SESSION_ID:
            return vorn::KeepText(*priv, session->id);
        case VORN_OPTION_TOKEN:
            return vorn::KeepText(*priv, session->token);
        case VORN_OPTION_USER:
            return vorn::KeepText(*priv, session->user);
        default:
            return defaultValue;
        }
    });
}

extern "C" int VornCgiGetSessPath(VornCgi* cgi, char* buffer, int size)
{
    VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr || buffer == nullptr || size <= 0) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        buffer[0] = '\0';
        const vorn::Session* session = vorn::RequestSession(*priv);
        if (session == nullptr) {
            VLIBCErrSet(VLIB_ERR_SESSION_INVALID);
            return -1;
        }
        const std::string path = vorn::SessionPath(session->id);
        if (path.size() >= static_cast<size_t>(size)) {
            VLIBCErrSet(VLIB_ERR_BUFFER_TOO_SMALL);
            return -1;
        }
        memcpy(buffer, path.c_str(), path.size() + 1);
        return static_cast<int>(path.size());
    });
}
