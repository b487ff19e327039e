// The request context: logins, sessions, cookies and the session token.

#include <arx/webman.h>

#include <stdio.h>
#include <string.h>

namespace {

// What the platform writes the new session's id into; the library does not
// use it.
constexpr int kLoginScratchSize = 122;

// On success the user name given becomes the login user name (cut to what
// the buffer holds).
template <size_t Size>
int KeepLoginUser(int result, const _tag_login_params* params, char (&loginUserName)[Size])
{
    if (result == 1 && params != nullptr && params->szUser != nullptr)
        snprintf(loginUserName, Size, "%s", params->szUser);
    return result;
}

}  // namespace

int WebMan::Login(_tag_login_params* params)
{
    char scratch[kLoginScratchSize] = {};
    const int result = VornCgiLogin(&cgi_, scratch, kLoginScratchSize, params);
    return KeepLoginUser(result, params, loginUserName_);
}

int WebMan::LoginWithOTPAuth(_tag_login_params* params, const char* otpCode)
{
    char scratch[kLoginScratchSize] = {};
    const int result = VornCgiLoginWithOTPAuth(&cgi_, scratch, kLoginScratchSize, params, otpCode);
    return KeepLoginUser(result, params, loginUserName_);
}

int WebMan::LoginWithAzureSSOAuth(_tag_login_params* params, const char* token, bool flag)
{
    char scratch[kLoginScratchSize] = {};
    const int result = VornCgiLoginWithAzureSSOAuth(&cgi_, scratch, kLoginScratchSize, params, token, flag);
    return KeepLoginUser(result, params, loginUserName_);
}

int WebMan::LoginWithOIDCSSOAuth(_tag_login_params* params, const char* token, bool flag)
{
    char scratch[kLoginScratchSize] = {};
    const int result = VornCgiLoginWithOIDCSSOAuth(&cgi_, scratch, kLoginScratchSize, params, token, flag);
    return KeepLoginUser(result, params, loginUserName_);
}

int WebMan::LoginNoAuth(_tag_login_params* params)
{
    return VornCgiLoginNoAuth(&cgi_, nullptr, 0, params);
}

int WebMan::LoginTest(_tag_login_params* params, const char* text)
{
    return VornCgiTestLogin(params, text);
}

bool WebMan::Logout()
{
    return VornCgiLogout(&cgi_, loginUserName_) != 0;
}

int WebMan::LogoutByUser(const char* user)
{
    return VornCgiLogoutByAttr(&cgi_, CURRENT_USER_INDEX_USER, user, 0);
}

bool WebMan::RemoveSessionByIndex(CURRENT_USER_INDEX index, const char* value)
{
    // The number ended: -1 is the platform's failure, not a success.
    return VornCgiRemoveSessionByIndex(&cgi_, index, value) > 0;
}

int WebMan::RemoveSessionByFunc(VornCgiSessionFilter filter, void* data)
{
    return VornCgiRemoveSessionByFunc(&cgi_, filter, data);
}

void WebMan::SetSkipCheckIP(bool skip)
{
    cgi_.skip_check_ip = skip ? 1 : 0;
}

const char* WebMan::GetSessionID()
{
    return VornCgiGetInCookies(&cgi_, "id", nullptr);
}

int WebMan::GetSessionFilePath(char* buffer, int size)
{
    return VornCgiGetSessPath(&cgi_, buffer, size);
}

const char* WebMan::GetSessionFilePath()
{
    return cgi_.session_file;
}

const char* WebMan::GetLockFile()
{
    return cgi_.lock_file;
}

const char* WebMan::GetUILanguage()
{
    return VornCgiGetLang(&cgi_);
}

std::string WebMan::GetLoginUserName() const
{
    return loginUserName_;
}

const char* WebMan::GetCookie(const char* name, const char* defaultValue)
{
    return VornCgiGetInCookies(&cgi_, name, defaultValue);
}

bool WebMan::AddCookieToHeader(const char* path, const char* name, const char* value)
{
    return VornCgiSetCookies(&cgi_, name, value, 0, path, nullptr, 0) == 1;
}

int WebMan::UpdateCookiesHash()
{
    return VornCgiLoadInCookies(&cgi_);
}

bool WebMan::IsTokenEnable()
{
    return VornCgiIsTokenEnable(&cgi_) != 0;
}

std::string WebMan::GetVornToken(bool reload)
{
    if (reload)
        UpdateCookiesHash();
    const char* token = VornCgiGetOption(&cgi_, VORN_OPTION_TOKEN, "");
    return token != nullptr ? token : "";
}
