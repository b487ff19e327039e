// Whether a request is an upload.

#include <stdlib.h>
#include <strings.h>

#include <vorn/cgi.h>

#include "cgi/request/request_body.h"

extern "C" int VornCgiIsUploadRequest(void)
{
    const char* method = getenv("REQUEST_METHOD");
    return method != nullptr && strcasecmp(method, "POST") == 0 && vorn::IsMultipartRequest() ? 1 : 0;
}
