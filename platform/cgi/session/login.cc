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
#include "cgi/session/sso_policy.h"
#include "cgi/session/sso_token.h"
#include "lib/core/no_throw.h"

namespace {

// One login attempt: what it starts from, the blocking records it counts
// in, the account once known, and where the new session goes.
struct Attempt {
    vorn::SessionSettings settings;
    std::string address;
    long long now = 0;
    vorn::BlockingRecords records;
    VLIBUSERINFO user = {};
    const char* language = nullptr;  // the UI language asked for, or NULL
    char* out = nullptr;             // receives the session id when it fits
    int size = 0;
};

Attempt NewAttempt(const vorn::SessionSettings& settings, const VORN_LOGIN_PARAMS& params, char* out, int size)
{
    Attempt attempt;
    attempt.settings = settings;
    attempt.address = vorn::ClientAddress();
    attempt.now = time(nullptr);
    attempt.language = params.szLanguage;
    attempt.out = out;
    attempt.size = size;
    return attempt;
}

// Sweeps the stores (logins are where expired sessions go) and counts the
// attempt, by the client's address and, when a name is given, the account
// it names; VORN_LOGIN_SUCCESS when the password may be tried.
int Begin(Attempt& attempt, const char* name)
{
    vorn::SweepSessions(attempt.now, attempt.settings.timeoutSeconds);
    vorn::SweepAutoblockWhenDue(attempt.settings, attempt.now);
    attempt.records.address = vorn::AddressRecord(attempt.address);
    if (name != nullptr) {
        attempt.records.account = vorn::AccountRecord(name);
        attempt.records.name = name;
    }
    switch (vorn::AdmitAttempt(attempt.records, attempt.settings)) {
    case vorn::Admission::kAdmitted:
        return VORN_LOGIN_SUCCESS;
    case vorn::Admission::kBlocked:
        return VORN_LOGIN_BLOCKED;
    case vorn::Admission::kError:
        break;
    }
    return VORN_LOGIN_SYSTEM_ERROR;
}

// Tells the blocking records how the attempt ended.  Being asked for the
// one-time code is no failure (the password was right), nor is a system
// error; a wrong code is.
int Conclude(const Attempt& attempt, int result, bool codeGiven)
{
    vorn::AttemptOutcome outcome = vorn::AttemptOutcome::kFailed;
    if (result == VORN_LOGIN_SUCCESS)
        outcome = vorn::AttemptOutcome::kSucceeded;
    else if (result == VORN_LOGIN_SYSTEM_ERROR || (result == VORN_LOGIN_OTP_NEEDED && !codeGiven))
        outcome = vorn::AttemptOutcome::kUncounted;
    vorn::ConcludeAttempt(attempt.records, outcome, attempt.settings);
    return result;
}

bool Empty(const char* text)
{
    return text == nullptr || *text == '\0';
}

// The password, then the account, then for two-step users the code.  On
// VORN_LOGIN_SUCCESS attempt.user holds the account.
int CheckCredentials(Attempt& attempt, const VORN_LOGIN_PARAMS& params, const char* otpCode)
{
    const int checked = VLIBUserPasswordCheck(params.szUser, params.szPasswd);
    if (checked == -1)
        return VORN_LOGIN_SYSTEM_ERROR;
    if (checked != 1)
        return checked == -2 ? VORN_LOGIN_DISABLED : VORN_LOGIN_WRONG;
    if (VLIBUserInfoGet(params.szUser, &attempt.user) != 0)
        return VORN_LOGIN_SYSTEM_ERROR;
    switch (vorn::TwoStepOf(attempt.user.szName)) {
    case vorn::TwoStep::kOff:
        return VORN_LOGIN_SUCCESS;
    case vorn::TwoStep::kBroken:
        return VORN_LOGIN_SYSTEM_ERROR;  // never a login without the second step
    case vorn::TwoStep::kOn:
        break;
    }
    if (Empty(otpCode))
        return VORN_LOGIN_OTP_NEEDED;
    switch (vorn::CheckOneTimeCode(attempt.user.szName, otpCode, attempt.now)) {
    case vorn::OneTimeCheck::kAccepted:
        return VORN_LOGIN_SUCCESS;
    case vorn::OneTimeCheck::kRejected:
        return VORN_LOGIN_OTP_NEEDED;
    case vorn::OneTimeCheck::kError:
        break;
    }
    return VORN_LOGIN_SYSTEM_ERROR;
}

// Creates the session of a successful login: a fresh id (never one the
// client brought), the cookie "id", and the user's preference directory.
int StartSession(VornCgi* cgi, VornCgiPrivate& priv, const Attempt& attempt)
{
    vorn::Session session;
    session.user = attempt.user.szName;
    session.uid = attempt.user.uid;
    session.gid = attempt.user.gid;
    session.address = attempt.address;
    session.language =
        attempt.language != nullptr && vorn::IsSupportedLanguage(attempt.language) ? attempt.language : "";
    session.created = attempt.now;
    session.lastAccess = attempt.now;
    if (!vorn::CreateSession(session)) {
        VLIBCErrSet(VLIB_ERR_WRITE_FAILED);
        return VORN_LOGIN_SYSTEM_ERROR;
    }
    char preferenceDir[1024];
    if (VORNUserPreferenceDirGet(attempt.user.szName, preferenceDir, sizeof preferenceDir) < 0)
        VLIBCLog(LOG_ERR, "login:%d no preference directory for %s", __LINE__, attempt.user.szName);
    priv.session.loginSessionId = session.id;
    vorn::ForgetRequestSession(priv);
    vorn::SetSessionPaths(cgi, session.id);
    VornCgiSetCookies(cgi, "id", session.id.c_str(), 0, "/", nullptr, 0);
    if (attempt.out != nullptr && attempt.size > static_cast<int>(session.id.size()))
        memcpy(attempt.out, session.id.c_str(), session.id.size() + 1);
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
        Attempt attempt = NewAttempt(vorn::SettingsOf(*priv), *params, out, size);
        const int admitted = Begin(attempt, params->szUser);
        if (admitted != VORN_LOGIN_SUCCESS)
            return admitted;
        const int checked = Conclude(attempt, CheckCredentials(attempt, *params, otpCode), !Empty(otpCode));
        if (checked != VORN_LOGIN_SUCCESS)
            return checked;
        return StartSession(cgi, *priv, attempt);
    });
}

// The token, then the account it names, then whether it was used before.
// On VORN_LOGIN_SUCCESS attempt.user holds the account.
int CheckToken(Attempt& attempt, const char* token, vorn::SsoKind kind)
{
    vorn::SsoClaims claims;
    switch (vorn::CheckSsoToken(token, kind, attempt.now, claims)) {
    case vorn::SsoCheck::kAccepted:
        break;
    case vorn::SsoCheck::kRefused:
        VLIBCErrSet(VLIB_ERR_TOKEN_INVALID);
        return VORN_LOGIN_WRONG;
    case vorn::SsoCheck::kError:
        return VORN_LOGIN_SYSTEM_ERROR;
    }
    // The name exactly as the account's (no case folding: the provider's
    // "ADMIN" is not our admin), and an ordinary account: a token never
    // makes a session of root or a system account.
    if (VLIBUserInfoGet(claims.user.c_str(), &attempt.user) != 0 && VLIBCErrGet() != VLIB_ERR_NOT_FOUND)
        return VORN_LOGIN_SYSTEM_ERROR;
    if (claims.user != attempt.user.szName || attempt.user.uid < vorn::FirstOrdinaryUid()) {
        VLIBCLog(LOG_AUTH | LOG_WARNING, "login:%d the token names %s, who is no ordinary user here", __LINE__,
                 vorn::LoggableName(claims.user).c_str());
        return VORN_LOGIN_WRONG;
    }
    const int disabled = VLIBUserIsDisabled(attempt.user.szName);
    if (disabled != 0)
        return disabled < 0 ? VORN_LOGIN_SYSTEM_ERROR : VORN_LOGIN_DISABLED;
    switch (vorn::RememberToken(claims.key, claims.expires, attempt.now)) {
    case vorn::TokenUse::kFirst:
        return VORN_LOGIN_SUCCESS;
    case vorn::TokenUse::kAgain:
        VLIBCErrSet(VLIB_ERR_TOKEN_INVALID);
        return VORN_LOGIN_WRONG;
    case vorn::TokenUse::kError:
        break;
    }
    return VORN_LOGIN_SYSTEM_ERROR;
}

int SsoLogin(VornCgi* cgi, char* out, int size, VORN_LOGIN_PARAMS* params, const char* token, vorn::SsoKind kind)
{
    VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr || params == nullptr || token == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return VORN_LOGIN_SYSTEM_ERROR;
    }
    return vorn::NoThrow(VORN_LOGIN_SYSTEM_ERROR, [&] {
        // Counted by address only: the name is the token's, known once it
        // is verified, and the identity provider did the authenticating.
        Attempt attempt = NewAttempt(vorn::SettingsOf(*priv), *params, out, size);
        const int admitted = Begin(attempt, nullptr);
        if (admitted != VORN_LOGIN_SUCCESS)
            return admitted;
        const int checked = Conclude(attempt, CheckToken(attempt, token, kind), false);
        if (checked != VORN_LOGIN_SUCCESS)
            return checked;
        priv->session.ssoUser = attempt.user.szName;
        params->szUser = priv->session.ssoUser.c_str();
        return StartSession(cgi, *priv, attempt);
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
        Attempt attempt = NewAttempt(vorn::SettingsOf(*priv), *params, out, size);
        if (VLIBUserInfoGet(params->szUser, &attempt.user) != 0)
            return VLIBCErrGet() == VLIB_ERR_NOT_FOUND ? VORN_LOGIN_WRONG : VORN_LOGIN_SYSTEM_ERROR;
        const int disabled = VLIBUserIsDisabled(attempt.user.szName);
        if (disabled != 0)
            return disabled < 0 ? VORN_LOGIN_SYSTEM_ERROR : VORN_LOGIN_DISABLED;
        return StartSession(cgi, *priv, attempt);
    });
}

extern "C" int VornCgiTestLogin(VORN_LOGIN_PARAMS* params, const char* otpCode)
{
    if (params == nullptr || params->szUser == nullptr || params->szPasswd == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return VORN_LOGIN_SYSTEM_ERROR;
    }
    return vorn::NoThrow(VORN_LOGIN_SYSTEM_ERROR, [&] {
        Attempt attempt = NewAttempt(vorn::LoadSessionSettings(), *params, nullptr, 0);
        const int admitted = Begin(attempt, params->szUser);
        if (admitted != VORN_LOGIN_SUCCESS)
            return admitted;
        return Conclude(attempt, CheckCredentials(attempt, *params, otpCode), !Empty(otpCode));
    });
}
