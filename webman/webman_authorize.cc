// The request context: authorization, file-sharing requests and redirects.

#include <arx/webman.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

namespace {

constexpr int kSidCookieSize = 125;

// How the UI is told why a request was refused: the "x-request-error"
// value, and the section and key of the text it shows.
struct Refusal {
    int result;
    const char* error;
    const char* section;
    const char* key;
};

// "error_noprivilege" for -5 and -8 as well: the UI shows the same text.
constexpr Refusal kRefusals[] = {
    {VORN_AUTH_TIMEOUT, "timeout", "login", "error_timeout"},
    {VORN_AUTH_UNAUTH, "unauth", "login", "error_noprivilege"},
    {VORN_AUTH_NOPRIVILEGE, "noprivilege", "login", "error_noprivilege"},
    {VORN_AUTH_RELOGIN, "relogin", "login", "error_interrupt"},
    {VORN_AUTH_ERRORIP, "errorip", "login", "error_noprivilege"},
};

constexpr Refusal kSystemRefusal = {0, "system", "common", "error_system"};

const Refusal& RefusalFor(int result)
{
    for (const Refusal& refusal : kRefusals) {
        if (refusal.result == result)
            return refusal;
    }
    return kSystemRefusal;
}

}  // namespace

int WebMan::CheckAuthorized(int level, _tag_cgi_position position, bool flag)
{
    memset(loginUserName_, 0, sizeof loginUserName_);
    VORN_AUTH_REQUEST request{level, flag};
    // A session id given as the parameter "_sid" replaces every cookie of
    // the request.
    const char* sid = VornCgiGetRequestParam(&cgi_, "_sid", nullptr, 0);
    if (sid != nullptr && *sid != '\0') {
        char cookie[kSidCookieSize];
        snprintf(cookie, sizeof cookie, "id=%s", sid);
        setenv("HTTP_COOKIE", cookie, 1);
        VornCgiLoadInCookies(&cgi_);
    }
    return VornCgiIsAuthorized(&cgi_, loginUserName_, sizeof loginUserName_, &request, position);
}

bool WebMan::IsAuthorized(const char* redirectTarget, int level, _tag_cgi_position position)
{
    const int result = CheckAuthorized(level, position, false);
    if (result >= 1)
        return true;
    if (redirectTarget != nullptr) {
        VornCgiRedirect(&cgi_, redirectTarget);
        return false;
    }
    const Refusal& refusal = RefusalFor(result);
    AddHeader("x-request-error", refusal.error);
    // An upload's page reads the answer from a frame: it must be HTML.
    if (VornCgiIsUploadRequest() == 1)
        WriteHeader("text/html; charset=\"UTF-8\"");
    else
        WriteHeader(defaultContentType_.c_str());
    Json::Value body(Json::objectValue);
    body["success"] = false;
    body["total"] = 0;
    body["items"] = Json::Value(Json::arrayValue);
    body["errno"]["section"] = refusal.section;
    body["errno"]["key"] = refusal.key;
    WriteBody(body);
    return false;
}

bool WebMan::IsSharingRequest(std::string& sharingId, std::string& sharingSid)
{
    if (const char* header = getenv("HTTP_X_VORN_SHARING")) {
        sharingId = header;
    } else {
        sharingId = VornCgiGetRequestParam(&cgi_, "_sharing_id", "", 0);
        if (!sharingId.empty() && sharingId.front() == '"' && sharingId.back() == '"') {
            // A value that is one double quote only becomes empty.
            sharingId.erase(0, 1);
            if (!sharingId.empty())
                sharingId.pop_back();
        }
    }
    sharingSid = GetCookie("sharing_sid", "");
    return !sharingId.empty() && !sharingSid.empty();
}

bool WebMan::AddRedirectHeader(const char* path)
{
    if (path == nullptr)
        return false;
    const char* https = getenv("HTTPS");
    const char* forwarded = getenv("HTTP_X_FORWARDED_PROTO");
    const bool secure = (https != nullptr && strcasecmp(https, "on") == 0) ||
                        (forwarded != nullptr && strcasecmp(forwarded, "https") == 0);
    const char* host = getenv("HTTP_HOST");
    if (host == nullptr)
        return false;
    if (*path == '/')
        ++path;
    const std::string location = std::string(secure ? "https" : "http") + "://" + host + "/" + path;
    return AddHeader("Location", location.c_str()) != 0;
}
