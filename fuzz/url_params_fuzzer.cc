// Query strings and form bodies: decoding never crashes, and what it keeps
// follows the rules (no empty names, no NUL bytes, first occurrence wins).

#include <stdint.h>
#include <stdlib.h>

#include <string>

#include <vorn/cgi.h>

#include "cgi/request/url_codec.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string line(reinterpret_cast<const char*>(data), size);
    vorn::ParamList params;
    vorn::ParseURLEncodedPairs(line, params);
    if (params.Find("") != nullptr)
        abort();

    // The record works on the text up to its first NUL, as a C string; the
    // first pair's value is the first one kept under its name (names of the
    // upload's own parameters, "_upload_...", answer from the upload alone).
    VornCgi cgi;
    VornCgiInit("", &cgi);
    VornCgiParseCGIParam(&cgi, line.c_str());
    const std::string text(line.c_str());
    const std::string first = text.substr(0, text.find('&'));
    const size_t equals = first.find('=');
    const std::string name = vorn::DecodeURLComponent(first.substr(0, equals));
    const std::string value = equals == std::string::npos ? "" : vorn::DecodeURLComponent(first.substr(equals + 1));
    if (!name.empty() && name.find('\0') == std::string::npos && value.find('\0') == std::string::npos &&
        name.rfind("_upload_", 0) != 0) {
        const char* kept = VornCgiGetCGIParam(&cgi, name.c_str(), nullptr);
        if (kept == nullptr || value != kept)
            abort();
    }
    VornCgiFree(&cgi);

    char encoded[1024];
    const int length = VornCgiURLEncode(line.c_str(), encoded, sizeof encoded - 1);
    if (length >= 0 && vorn::DecodeURLComponent(encoded) != std::string(line.c_str()))
        abort();
    return 0;
}
