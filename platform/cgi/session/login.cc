// Logins: with a password (and a one-time code for users who have
// two-step login), with a single sign-on token, or without credentials.

#include <string.h>
#include <time.h>

#include <string>

#include <vorn/err.h>
#include <vorn/log.h>
#include <vorn/session.h>
#include <vorn/user.h>

#include "cgi/cgi_private.h"
#include "cgi/session/autoblock.h"
#include "cgi/session/client_address.h"
#include "cgi/session/language.h"
#include "cgi/session/one_time_code.h"
#include "cgi/session/request_session.h"
#include "cgi/session/session_store.h"
#include "cgi/session/sso_token.h"
#include "lib/core/no_throw.h"

namespace {

// What every login attempt starts from.
struct Attempt {
    vorn::SessionSettings settings;
    std::string address;
    long long now;
};

// Sweeps the stores (logins are where expired sessions go) and tells
// whether the client may try at all.
bool Begin(Attempt& attempt, const vorn::SessionSettings& settings)
{
    attempt.settings = settings;
    attempt.address = vorn::ClientAddress();
    attempt.now = time(nullptr);
    vorn::SweepSessions(attempt.now, settings.timeoutSeconds);
    vorn::SweepAutoblock(settings, attempt.now);
    return !vorn::IsBlocked(attempt.address, settings, attempt.now);
}

int Fail(const Attempt& attempt, int result)
{
    vorn::RecordFailure(attempt.address, attempt.settings, attempt.now);
    return result;
}

bool Empty(const char* text)
{
    return text == nullptr || *text == '\0';
}

// The password, then the account, then for two-step users the code.  On
// VORN_LOGIN_SUCCESS user holds the account.
int CheckCredentials(const Attempt& attempt, const VORN_LOGIN_PARAMS& params, const char* otpCode,
                     VLIBUSERINFO& user)
{
    const int checked = VLIBUserPasswordCheck(params.szUser, params.szPasswd);
    if (checked == -1)
        return VORN_LOGIN_SYSTEM_ERROR;
    if (checked != 1)
        return Fail(attempt, checked == -2 ? VORN_LOGIN_DISABLED : VORN_LOGIN_WRONG);
    if (VLIBUserInfoGet(params.szUser, &user) != 0)
        return VORN_LOGIN_SYSTEM_ERROR;
    switch (vorn::TwoStepOf(user.szName)) {
    case vorn::TwoStep::kOff:
        return VORN_LOGIN_SUCCESS;
    case vorn::TwoStep::kBroken:
        return VORN_LOGIN_SYSTEM_ERROR;  // never a login without the second step
    case vorn::TwoStep::kOn:
        break;
    }
    // Asking for the code is not a failure: the password was right.
    if (Empty(otpCode))
        return VORN_LOGIN_OTP_NEEDED;
    switch (vorn::CheckOneTimeCode(user.szName, otpCode, attempt.now)) {
    case vorn::OneTimeCheck::kAccepted:
        return VORN_LOGIN_SUCCESS;
    case vorn::OneTimeCheck::kRejected:
        return Fail(attempt, VORN_LOGIN_OTP_NEEDED);
    case vorn::OneTimeCheck::kError:
        break;
    }
    return VORN_LOGIN_SYSTEM_ERROR;
}

// Creates the session of a successful login: a fresh id (never one the
// client brought), the cookie "id", and the user's preference directory.
int StartSession(VornCgi* cgi, VornCgiPrivate& priv, const Attempt& attempt, const VLIBUSERINFO& user,
                 const char* language, char* out, int size)
{
    vorn::Session session;
    session.user = user.szName;
    session.uid = user.uid;
    session.gid = user.gid;
    session.address = attempt.address;
    session.language = language != nullptr && vorn::IsSupportedLanguage(language) ? language : "";
    session.created = attempt.now;
    session.lastAccess = attempt.now;
    if (!vorn::CreateSession(session)) {
        VLIBCErrSet(VLIB_ERR_WRITE_FAILED);
        return VORN_LOGIN_SYSTEM_ERROR;
    }
    char preferenceDir[1024];
    if (VORNUserPreferenceDirGet(user.szName, preferenceDir, sizeof preferenceDir) < 0)
        VLIBCLog(LOG_ERR, "login:%d no preference directory for %s", __LINE__, user.szName);
    vorn::ClearFailures(attempt.address);
    priv.session.loginSessionId = session.id;
    vorn::ForgetRequestSession(priv);
    vorn::SetSessionPaths(cgi, session.id);
    VornCgiSetCookies(cgi, "id", session.id.c_str(), 0, "/", nullptr, 0);
    if (out != nullptr && size > static_cast<int>(session.id.size()))
        memcpy(out, session.id.c_str(), session.id.size() + 1);
    return VORN_LOGIN_SUCCESS;
}

int PasswordLogin(VornCgi* cgi, char* out, int size, VORN_LOGIN_PARAMS* params, const char* otpCode)
{
    VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr || params == nullptr || params->szUser == nullptr || params->szPasswd == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return VORN_LOGIN_SYSTEM_ERROR;
    }
    return vorn::NoThrow(VORN_LOGIN_SYSTEM_ERROR, [&] {
        Attempt attempt;
        if (!Begin(attempt, vorn::SettingsOf(*priv)))
            return VORN_LOGIN_BLOCKED;
        VLIBUSERINFO user;
        const int checked = CheckCredentials(attempt, *params, otpCode, user);
        if (checked != VORN_LOGIN_SUCCESS)
            return checked;
        return StartSession(cgi, *priv, attempt, user, params->szLanguage, out, size);
    });
}

int SsoLogin(VornCgi* cgi, char* out, int size, VORN_LOGIN_PARAMS* params, const char* token, vorn::SsoKind kind)
{
    VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr || params == nullptr || token == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return VORN_LOGIN_SYSTEM_ERROR;
    }
    return vorn::NoThrow(VORN_LOGIN_SYSTEM_ERROR, [&] {
        Attempt attempt;
        if (!Begin(attempt, vorn::SettingsOf(*priv)))
            return VORN_LOGIN_BLOCKED;
        std::string named;
        switch (vorn::CheckSsoToken(token, kind, attempt.now, named)) {
        case vorn::SsoCheck::kAccepted:
            break;
        case vorn::SsoCheck::kRefused:
            VLIBCErrSet(VLIB_ERR_TOKEN_INVALID);
            return Fail(attempt, VORN_LOGIN_WRONG);
        case vorn::SsoCheck::kError:
            return VORN_LOGIN_SYSTEM_ERROR;
        }
        VLIBUSERINFO user;
        if (VLIBUserInfoGet(named.c_str(), &user) != 0) {
            if (VLIBCErrGet() != VLIB_ERR_NOT_FOUND)
                return VORN_LOGIN_SYSTEM_ERROR;
            VLIBCLog(LOG_ERR, "login:%d the token names %s, who is no user here", __LINE__, named.c_str());
            return Fail(attempt, VORN_LOGIN_WRONG);
        }
        const int disabled = VLIBUserIsDisabled(user.szName);
        if (disabled != 0)
            return disabled < 0 ? VORN_LOGIN_SYSTEM_ERROR : Fail(attempt, VORN_LOGIN_DISABLED);
        priv->session.ssoUser = user.szName;
        params->szUser = priv->session.ssoUser.c_str();
        return StartSession(cgi, *priv, attempt, user, params->szLanguage, out, size);
    });
}

}  // namespace

extern "C" int VornCgiLogin(VornCgi* cgi, char* out, int size, VORN_LOGIN_PARAMS* params)
{
    return PasswordLogin(cgi, out, size, params, nullptr);
}

extern "C" int VornCgiLoginWithOTPAuth(VornCgi* cgi, char* out, int size, VORN_LOGIN_PARAMS* params,
                                       const char* otpCode)
{
    return PasswordLogin(cgi, out, size, params, otpCode);
}

extern "C" int VornCgiLoginWithAzureSSOAuth(VornCgi* cgi, char* out, int size, VORN_LOGIN_PARAMS* params,
                                            const char* token, bool /*flag*/)
{
    return SsoLogin(cgi, out, size, params, token, vorn::SsoKind::kAzure);
}

extern "C" int VornCgiLoginWithOIDCSSOAuth(VornCgi* cgi, char* out, int size, VORN_LOGIN_PARAMS* params,
                                           const char* token, bool /*flag*/)
{
    return SsoLogin(cgi, out, size, params, token, vorn::SsoKind::kOidc);
}

extern "C" int VornCgiLoginNoAuth(VornCgi* cgi, char* out, int size, VORN_LOGIN_PARAMS* params)
{
    VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr || params == nullptr || params->szUser == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return VORN_LOGIN_SYSTEM_ERROR;
    }
    return vorn::NoThrow(VORN_LOGIN_SYSTEM_ERROR, [&] {
        Attempt attempt;
        attempt.settings = vorn::SettingsOf(*priv);
        attempt.address = vorn::ClientAddress();
        attempt.now = time(nullptr);
        VLIBUSERINFO user;
        if (VLIBUserInfoGet(params->szUser, &user) != 0)
            return VLIBCErrGet() == VLIB_ERR_NOT_FOUND ? VORN_LOGIN_WRONG : VORN_LOGIN_SYSTEM_ERROR;
        const int disabled = VLIBUserIsDisabled(user.szName);
        if (disabled != 0)
            return disabled < 0 ? VORN_LOGIN_SYSTEM_ERROR : VORN_LOGIN_DISABLED;
        return StartSession(cgi, *priv, attempt, user, params->szLanguage, out, size);
    });
}

extern "C" int VornCgiTestLogin(VORN_LOGIN_PARAMS* params, const char* otpCode)
{
    if (params == nullptr || params->szUser == nullptr || params->szPasswd == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return VORN_LOGIN_SYSTEM_ERROR;
    }
    return vorn::NoThrow(VORN_LOGIN_SYSTEM_ERROR, [&] {
        Attempt attempt;
        if (!Begin(attempt, vorn::LoadSessionSettings()))
            return VORN_LOGIN_BLOCKED;
        VLIBUSERINFO user;
        return CheckCredentials(attempt, *params, otpCode, user);
    });
}
