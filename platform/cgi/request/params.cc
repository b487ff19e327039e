// Request parameters: the raw parameter text and the decoded pairs.

#include <stdlib.h>
#include <string.h>

#include <vorn/cgi.h>
#include <vorn/err.h>

#include "cgi/cgi_private.h"
#include "cgi/request/request_body.h"
#include "cgi/request/url_codec.h"
#include "lib/core/no_throw.h"

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
    if (!priv.request.queryParsed) {
        const char* query = getenv("QUERY_STRING");
        if (query != nullptr)
            vorn::ParseURLEncodedPairs(query, priv.request.requestParams);
        priv.request.queryParsed = true;
    }
    const vorn::RequestBody& body = vorn::PeekRequestBody();
    if (!priv.request.bodyParsed && body.state == vorn::RequestBody::State::kRead) {
        if (body.urlEncoded)
            vorn::ParseURLEncodedPairs(body.text, priv.request.requestParams);
        priv.request.bodyParsed = true;
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
    return vorn::NoThrow(-1, [&] { return vorn::ParseURLEncodedPairs(line, priv->request.params); });
}

extern "C" const char* VornCgiGetCGIParam(VornCgi* cgi, const char* name, const char* defaultValue)
{
    const VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr || name == nullptr)
        return defaultValue;
    // The upload's own parameters come from the upload alone: neither the
    // query nor a form field can stand in for them.
    const char* value = vorn::NoThrow<const char*>(nullptr, [&] {
        return vorn::IsUploadParamName(name) ? priv->upload.files.Find(name) : priv->request.params.Find(name);
    });
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
        return priv->request.requestParams.Find(name);
    });
    return value != nullptr ? value : defaultValue;
}
