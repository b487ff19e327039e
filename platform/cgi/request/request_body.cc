#include "cgi/request/request_body.h"

#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <unistd.h>

#include <vorn/err.h>
#include <vorn/file.h>
#include <vorn/log.h>

namespace vorn {

namespace {

// Form and JSON bodies of the UI are small; an unauthenticated client
// must not make the process hold more.  The configuration raises it.
constexpr unsigned long long kDefaultMaxBody = 1048576;
constexpr size_t kReadChunk = 65536;
constexpr unsigned long long kLargestLength = 1ULL << 62;

RequestBody g_body;

bool StartsWithIgnoringCase(const char* text, const char* prefix)
{
    return text != nullptr && strncasecmp(text, prefix, strlen(prefix)) == 0;
}

// A decimal length of digits only, or false.
bool ParseLength(const char* text, unsigned long long& length)
{
    if (text == nullptr || *text == '\0')
        return false;
    length = 0;
    for (const char* p = text; *p != '\0'; ++p) {
        if (*p < '0' || *p > '9')
            return false;
        length = length * 10 + static_cast<unsigned>(*p - '0');
        if (length > kLargestLength)
            return false;
    }
    return true;
}

unsigned long long MaxBody()
{
    char value[32];
    unsigned long long limit;
    if (VLIBCINFOGetKeyValue("cgi_max_body", value, sizeof value) > 0 && ParseLength(value, limit))
        return limit;
    return kDefaultMaxBody;
}

void Fail(int code)
{
    g_body.state = RequestBody::State::kFailed;
    g_body.text.clear();
    g_body.text.shrink_to_fit();
    VLIBCErrSet(code);
}

void ReadBody()
{
    const char* lengthText = getenv("CONTENT_LENGTH");
    if (lengthText == nullptr || *lengthText == '\0') {
        g_body.state = RequestBody::State::kAbsent;
        return;
    }
    unsigned long long length;
    if (!ParseLength(lengthText, length)) {
        VLIBCLog(LOG_ERR, "request_body:%d bad CONTENT_LENGTH [%.64s]", __LINE__, lengthText);
        return Fail(VLIB_ERR_BODY_MALFORMED);
    }
    const unsigned long long limit = MaxBody();
    if (length > limit) {
        VLIBCLog(LOG_ERR, "request_body:%d body of %llu bytes is larger than cgi_max_body (%llu)", __LINE__,
                 length, limit);
        return Fail(VLIB_ERR_BODY_TOO_LARGE);
    }
    // The body grows as its bytes arrive: an announced length costs nothing
    // until it is sent.
    char chunk[kReadChunk];
    size_t got = 0;
    while (got < length) {
        const unsigned long long left = length - got;
        const ssize_t n = read(STDIN_FILENO, chunk, left < sizeof chunk ? static_cast<size_t>(left) : sizeof chunk);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        g_body.text.append(chunk, static_cast<size_t>(n));
        got += static_cast<size_t>(n);
    }
    if (got < length) {
        VLIBCLog(LOG_ERR, "request_body:%d body ended after %zu of %llu bytes", __LINE__, got, length);
        return Fail(VLIB_ERR_BODY_MALFORMED);
    }
    if (memchr(g_body.text.data(), '\0', g_body.text.size()) != nullptr) {
        VLIBCLog(LOG_ERR, "request_body:%d body holds a NUL byte", __LINE__);
        return Fail(VLIB_ERR_BODY_MALFORMED);
    }
    const char* type = getenv("CONTENT_TYPE");
    g_body.urlEncoded = type == nullptr || *type == '\0' ||
                        StartsWithIgnoringCase(type, "application/x-www-form-urlencoded");
    g_body.state = RequestBody::State::kRead;
}

}  // namespace

const RequestBody& LoadRequestBody()
{
    if (g_body.state == RequestBody::State::kUnread && !IsMultipartRequest())
        ReadBody();
    return g_body;
}

const RequestBody& PeekRequestBody()
{
    return g_body;
}

bool IsQueryMethod()
{
    const char* method = getenv("REQUEST_METHOD");
    return method == nullptr || *method == '\0' || strcasecmp(method, "GET") == 0 ||
           strcasecmp(method, "HEAD") == 0;
}

bool IsMultipartRequest()
{
    return StartsWithIgnoringCase(getenv("CONTENT_TYPE"), "multipart/form-data");
}

}  // namespace vorn
