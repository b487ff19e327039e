#include "cgi/session/session_id.h"

#include <errno.h>
#include <sys/random.h>

#include <vorn/err.h>
#include <vorn/log.h>

#include "cgi/session/base64url.h"

namespace vorn {

namespace {

constexpr size_t kRandomBytes = 16;

}  // namespace

bool IsSessionId(std::string_view text)
{
    std::string bytes;
    return text.size() == kSessionIdLength && Base64UrlDecode(text, bytes) && bytes.size() == kRandomBytes;
}

bool NewRandomId(std::string& id)
{
    unsigned char bytes[kRandomBytes];
    size_t got = 0;
    while (got < sizeof bytes) {
        const ssize_t n = getrandom(bytes + got, sizeof bytes - got, 0);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            VLIBCLog(LOG_ERR, "session_id:%d getrandom failed: %m", __LINE__);
            VLIBCErrSet(VLIB_ERR_RANDOM_FAILED);
            return false;
        }
        got += static_cast<size_t>(n);
    }
    id = Base64UrlEncode(std::string_view(reinterpret_cast<const char*>(bytes), sizeof bytes));
    return true;
}

}  // namespace vorn
