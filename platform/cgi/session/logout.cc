// Ending sessions: the request's own (logout), and others by attribute or
// by a filter.  Sessions ended for their user stay as markers until they
// would have expired, so that their holder is told to log in again.

#include <string.h>
#include <strings.h>
#include <time.h>

#include <set>
#include <string>

#include <vorn/err.h>
#include <vorn/log.h>
#include <vorn/session.h>

#include "cgi/cgi_private.h"
#include "cgi/session/client_address.h"
#include "cgi/session/request_session.h"
#include "cgi/session/session_id.h"
#include "cgi/session/session_store.h"
#include "lib/core/libraries.h"
#include "lib/core/no_throw.h"

namespace {

bool Matches(const vorn::Session& session, int attribute, const std::string& value)
{
    switch (attribute) {
    case CURRENT_USER_INDEX_SID:
        return session.id == value;
    case CURRENT_USER_INDEX_USER:
        return strcasecmp(session.user.c_str(), value.c_str()) == 0;
    case CURRENT_USER_INDEX_ADDRESS:
        return !session.address.empty() && session.address == vorn::NormalizeAddress(value.c_str());
    default:
        return false;
    }
}

int EndByAttribute(VornCgi* cgi, int attribute, const char* value)
{
    VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr || value == nullptr || attribute < CURRENT_USER_INDEX_SID ||
        attribute > CURRENT_USER_INDEX_ADDRESS) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        const std::string wanted(value);
        const int ended = vorn::EndSessions(time(nullptr), vorn::SettingsOf(*priv).timeoutSeconds,
                                            [&](const vorn::Session& session) {
                                                return Matches(session, attribute, wanted);
                                            });
        vorn::ForgetRequestSession(*priv);
        return ended;
    });
}

// json-c, loaded when a filter first needs it.
struct JsonC {
    using Parse = json_object* (*)(const char*);
    using Put = int (*)(json_object*);
    Parse parse = vorn::LibJsonC().Find<Parse>("json_tokener_parse");
    Put put = vorn::LibJsonC().Find<Put>("json_object_put");
};

}  // namespace

extern "C" int VornCgiLogout(VornCgi* cgi, const char* user)
{
    VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return 0;
    }
    return vorn::NoThrow(0, [&] {
        std::string id = priv->session.loginSessionId;
        if (id.empty()) {
            const char* cookie = VornCgiGetInCookies(cgi, "id", "");
            id = cookie;
        }
        vorn::Session session;
        if (!vorn::ReadSession(id, session)) {
            VLIBCErrSet(VLIB_ERR_SESSION_INVALID);
            return 0;
        }
        if (user != nullptr && *user != '\0' && strcasecmp(user, session.user.c_str()) != 0) {
            VLIBCErrSet(VLIB_ERR_SESSION_INVALID);
            return 0;
        }
        if (!vorn::DeleteSession(id)) {
            VLIBCErrSet(VLIB_ERR_LOCK_FAILED);
            return 0;
        }
        priv->session.loginSessionId.clear();
        vorn::ForgetRequestSession(*priv);
        vorn::SetSessionPaths(cgi, "");
        VornCgiSetCookies(cgi, "id", "", -1, "/", nullptr, 0);
        return 1;
    });
}

extern "C" int VornCgiLogoutByAttr(VornCgi* cgi, int attribute, const char* value, int /*flags*/)
{
    return EndByAttribute(cgi, attribute, value);
}

extern "C" int VornCgiRemoveSessionByIndex(VornCgi* cgi, CURRENT_USER_INDEX index, const char* value)
{
    return EndByAttribute(cgi, index, value);
}

extern "C" int VornCgiRemoveSessionByFunc(VornCgi* cgi, VornCgiSessionFilter filter, void* data)
{
    VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr || filter == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        static const JsonC jsonC;
        if (jsonC.parse == nullptr || jsonC.put == nullptr)
            return -1;
        const long long now = time(nullptr);
        const long long timeout = vorn::SettingsOf(*priv).timeoutSeconds;
        // The filter runs before the store is locked: it may call the
        // session operations itself.
        std::set<std::string> chosen;
        vorn::ForEachSession([&](const vorn::Session& session) {
            if (vorn::StateOf(session, now, timeout) != vorn::SessionState::kLive)
                return;
            json_object* object = jsonC.parse(vorn::PublicView(session).c_str());
            if (object == nullptr)
                return;
            if (filter(object, data))
                chosen.insert(session.id);
            jsonC.put(object);
        });
        if (chosen.empty())
            return 0;
        const int ended = vorn::EndSessions(now, timeout, [&](const vorn::Session& session) {
            return chosen.count(session.id) != 0;
        });
        vorn::ForgetRequestSession(*priv);
        return ended;
    });
}
