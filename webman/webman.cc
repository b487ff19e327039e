// The request context: construction and the request's parameters.

#include <arx/webman.h>

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <json/reader.h>

namespace {

constexpr char kDefaultContentType[] = "text/plain; charset=\"UTF-8\"";

}  // namespace

WebMan::WebMan(bool loadInput)
    : loaded_(false), cgi_(), jsonParams_(), loginUserName_(), defaultContentType_(kDefaultContentType)
{
    // Each CGI process leads its own session and process group, so that
    // whatever it starts can be signalled as one group; failure (already a
    // leader) does not matter.
    setsid();
    memset(loginUserName_, 0, sizeof loginUserName_);
    loaded_ = false;
    VornCgiInit("", &cgi_);
    VornCgiLoadInCookies(&cgi_);
    if (loadInput && LoadIn())
        loaded_ = true;
}

WebMan::~WebMan()
{
    VornCgiFree(&cgi_);
}

bool WebMan::LoadIn()
{
    if (loaded_)
        return false;
    char* line = VornCgiGetParamLine();
    if (line == nullptr)
        return false;
    // A body that parses as JSON is never also taken as URL-encoded pairs.
    if (!LoadJSONParam(line))
        VornCgiParseCGIParam(&cgi_, line);
    loaded_ = true;
    free(line);
    return true;
}

bool WebMan::LoadJSONParam(char* text)
{
    if (text == nullptr)
        return false;
    // The old reader with its default features is the interface: any text it
    // accepts counts as JSON (also a bare number, and it ignores what follows
    // the first value).
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    Json::Reader reader;
#pragma GCC diagnostic pop
    Json::Value parsed;
    bool ok = false;
    try {
        ok = reader.parse(text, text + strlen(text), parsed, true);
    } catch (const std::exception&) {
        ok = false;  // nesting deeper than the reader's limit
    }
    if (ok)
        jsonParams_.swap(parsed);
    return ok;
}

Json::Value* WebMan::In()
{
    return jsonParams_.size() != 0 ? &jsonParams_ : nullptr;
}

const char* WebMan::In(const char* name, const char* defaultValue)
{
    // Deliberate: a program that received a JSON body reads it through In().
    if (jsonParams_.size() != 0)
        return defaultValue;
    return VornCgiGetCGIParam(&cgi_, name, defaultValue);
}
