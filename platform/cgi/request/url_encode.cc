// Percent-encoding for URLs built by CGI programs.

#include <string.h>

#include <string>

#include <vorn/cgi.h>
#include <vorn/err.h>

#include "cgi/request/url_codec.h"
#include "lib/core/no_throw.h"

extern "C" int VornCgiURLEncode(const char* text, char* out, int size)
{
    if (text == nullptr || out == nullptr || size < 0) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        const std::string encoded = vorn::EncodeURLComponent(text);
        size_t fits = encoded.size();
        if (fits > static_cast<size_t>(size)) {
            fits = static_cast<size_t>(size);
            // Never end on half of a %HH sequence.
            const size_t percent = encoded.rfind('%', fits - (fits > 0 ? 1 : 0));
            if (fits > 0 && percent != std::string::npos && percent + 3 > fits)
                fits = percent;
        }
        memcpy(out, encoded.data(), fits);
        out[fits] = '\0';
        if (fits < encoded.size()) {
            VLIBCErrSet(VLIB_ERR_BUFFER_TOO_SMALL);
            return -1;
        }
        return static_cast<int>(fits);
    });
}
