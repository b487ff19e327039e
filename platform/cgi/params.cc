// Request parameters: the raw parameter text and the decoded pairs.

#include <stdlib.h>
#include <string.h>

#include <vorn/cgi.h>
#include <vorn/err.h>

#include "lib/no_throw.h"
#include "cgi_private.h"
#include "request_body.h"
#include "url_codec.h"

namespace {

char* Duplicate(const std::string& text)
{
    char* copy = static_cast<char*>(malloc(text.size() + 1));
    if (copy == nullptr) {
        VLIBCErrSet(VLIB_ERR_OUT_OF_MEMORY);
        return nullptr;
    }
    memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

void LoadRequestParams(VornCgiPrivate& priv)
{
    if (!priv.queryParsed) {
        const char* query = getenv("QUERY_STRING");
        if (query != nullptr)
            vorn::ParseURLEncodedPairs(query, priv.requestParams);
        priv.queryParsed = true;
    }
    const vorn::RequestBody& body = vorn::PeekRequestBody();
    if (!priv.bodyParsed && body.state == vorn::RequestBody::State::kRead) {
        if (body.urlEncoded)
            vorn::ParseURLEncodedPairs(body.text, priv.requestParams);
        priv.bodyParsed = true;
    }
}

}  // namespace

extern "C" char* VornCgiGetParamLine(void)
{
    return vorn::NoThrow<char*>(nullptr, []() -> char* {
        if (vorn::IsQueryMethod()) {
            const char* query = getenv("QUERY_STRING");
            return query != nullptr && *query != '\0' ? Duplicate(query) : nullptr;
        }
        const vorn::RequestBody& body = vorn::LoadRequestBody();
        if (body.state != vorn::RequestBody::State::kRead || body.text.empty())
            return nullptr;
        return Duplicate(body.text);
    });
}

extern "C" int VornCgiParseCGIParam(VornCgi* cgi, const char* line)
{
    VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr || line == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] { return vorn::ParseURLEncodedPairs(line, priv->params); });
}

extern "C" const char* VornCgiGetCGIParam(VornCgi* cgi, const char* name, const char* defaultValue)
{
    const VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr || name == nullptr)
        return defaultValue;
    const char* value = vorn::NoThrow<const char*>(nullptr, [&] { return priv->params.Find(name); });
    return value != nullptr ? value : defaultValue;
}

extern "C" const char* VornCgiGetRequestParam(VornCgi* cgi, const char* name, const char* defaultValue,
                                              int /*flags*/)
{
    VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr || name == nullptr)
        return defaultValue;
    const char* value = vorn::NoThrow<const char*>(nullptr, [&] {
        LoadRequestParams(*priv);
        return priv->requestParams.Find(name);
    });
    return value != nullptr ? value : defaultValue;
}
