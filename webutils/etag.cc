// ETags of a request's URI and the "304 Not Modified" answer.
//
// MD5 comes from OpenSSL's libcrypto, which a CGI process should map only
// when it needs it: libarx links nothing beyond jsoncpp, and the library
// is opened on the first ETag (base/lazy_library.h).

#include <arx/webutils.h>

#define OPENSSL_SUPPRESS_DEPRECATED  // MD5_Init and friends: the digest clients expect
#include <openssl/md5.h>
#include <stdio.h>
#include <stdlib.h>

#include <vorn/log.h>

#include "base/lazy_library.h"
#include "webutils/log_source.h"

namespace WebUtils {

namespace {

using arx::webutils::kWebUtilsLogSource;

// The formatted URI is hashed with the buffer's trailing zeros: the tags
// that existing clients hold were made this way.
constexpr size_t kUriBufferSize = 1024;

struct Md5Functions {
    decltype(&MD5_Init) init = nullptr;
    decltype(&MD5_Update) update = nullptr;
    decltype(&MD5_Final) final = nullptr;
};

// libcrypto's MD5 functions, loaded on the first call; nullptr members
// when the library (or a function) is missing, which is logged once.
const Md5Functions& Md5()
{
    static base::LazyLibrary library("libcrypto.so.3", "libcrypto.so.1.1");
    static Md5Functions functions;
    if (library.tried())
        return functions;
    functions.init = library.Find<decltype(&MD5_Init)>({"MD5_Init"});
    functions.update = library.Find<decltype(&MD5_Update)>({"MD5_Update"});
    functions.final = library.Find<decltype(&MD5_Final)>({"MD5_Final"});
    if (functions.init == nullptr || functions.update == nullptr || functions.final == nullptr) {
        VLIBCLog(LOG_ERR, "%s:%s(%d): cannot load MD5 from %s: %s", kWebUtilsLogSource, "GetMd5", __LINE__,
                 library.name(), library.error().c_str());
        functions = Md5Functions();
    }
    return functions;
}

bool GetMd5(const unsigned char* data, size_t size, unsigned char digest[MD5_DIGEST_LENGTH])
{
    const Md5Functions& md5 = Md5();
    if (md5.init == nullptr)
        return false;
    MD5_CTX context;
    if (md5.init(&context) != 1) {
        VLIBCLog(LOG_ERR, "%s:%s(%d): init md5 failed", kWebUtilsLogSource, "GetMd5", __LINE__);
        return false;
    }
    if (md5.update(&context, data, size) != 1) {
        VLIBCLog(LOG_ERR, "%s:%s(%d): update md5 failed", kWebUtilsLogSource, "GetMd5", __LINE__);
        return false;
    }
    if (md5.final(digest, &context) != 1) {
        VLIBCLog(LOG_ERR, "%s:%s(%d): md5 final failed", kWebUtilsLogSource, "GetMd5", __LINE__);
        return false;
    }
    return true;
}

}  // namespace

std::string CreateCGIETag()
{
    const char* script = getenv("SCRIPT_NAME");
    if (script == nullptr)
        return "";
    const char* query = getenv("QUERY_STRING");
    unsigned char uri[kUriBufferSize] = {};
    snprintf(reinterpret_cast<char*>(uri), sizeof uri, "%s?%s", script, query != nullptr ? query : "");
    unsigned char d[MD5_DIGEST_LENGTH];
    if (!GetMd5(uri, sizeof uri, d))
        return "";
    // Each byte without a leading zero: the tag is 19 to 35 characters.
    char tag[128];
    snprintf(tag, sizeof tag, "%x%x%x%x-%x%x%x%x-%x%x%x%x-%x%x%x%x", d[0], d[1], d[2], d[3], d[4], d[5], d[6], d[7],
             d[8], d[9], d[10], d[11], d[12], d[13], d[14], d[15]);
    return tag;
}

bool OutputNotModifiedIfMatch(const std::string& etag)
{
    if (etag.empty())
        return false;
    const char* match = getenv("HTTP_IF_NONE_MATCH");
    if (match == nullptr || etag != match)
        return false;
    // The tag ends up in a header: one that could split the response is
    // never echoed (a tag of CreateCGIETag never holds such a character).
    for (const char c : etag) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F)
            return false;
    }
    const std::string response = "Status: 304 Not Modified\r\nETag: " + etag + "\r\n\r\n";
    fwrite(response.data(), 1, response.size(), stdout);
    fflush(stdout);
    return true;
}

}  // namespace WebUtils
