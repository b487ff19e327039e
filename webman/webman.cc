// The request context: construction and the request's parameters.

#include <arx/webman.h>

#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <json/reader.h>
#include <vorn/log.h>

#include "base/json_cursor.h"
#include "webman/log_source.h"

using arx::webman::kWebManLogSource;

namespace {

constexpr char kDefaultContentType[] = "text/plain; charset=\"UTF-8\"";

// What a request's JSON may make the reader build: a few KiB of body can
// otherwise take many MiB of values, before anyone is authorized.  Real
// parameters come nowhere near.
constexpr int kDeepestJson = 128;
constexpr size_t kMostJsonValues = 100000;

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
    const size_t length = strlen(text);
    if (!base::JsonWithinBounds(std::string_view(text, length), kDeepestJson, kMostJsonValues)) {
        VLIBCLog(LOG_ERR, "%s (%d) JSON parameters refused: deeper than %d or more than %zu values", kWebManLogSource,
                 __LINE__, kDeepestJson, kMostJsonValues);
        return false;
    }
    Json::Value parsed;
    bool ok = false;
    try {
        ok = reader.parse(text, text + length, parsed, true);
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
