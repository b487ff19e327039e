// The ports of the UI's web server, from the system configuration.

#include <vorn/webserver.h>

#include <stdlib.h>

#include <vorn/file.h>
#include <vorn/log.h>

namespace {

// A decimal number from 1 to 65535, nothing else around it.
int ParsePort(const char* text)
{
    if (text[0] < '0' || text[0] > '9')
        return -1;
    char* end = nullptr;
    const long port = strtol(text, &end, 10);
    if (*end != '\0' || port < 1 || port > 65535)
        return -1;
    return static_cast<int>(port);
}

}  // namespace

extern "C" int VORNWebServerPortGet(int https)
{
    const char* key = https != 0 ? "https_port" : "http_port";
    const int fallback = https != 0 ? VORN_WEBSERVER_HTTPS_PORT : VORN_WEBSERVER_HTTP_PORT;
    char value[32] = "";
    if (VLIBCINFOGetKeyValue(key, value, sizeof value) <= 0)
        return fallback;
    const int port = ParsePort(value);
    if (port < 0) {
        VLIBCLog(LOG_ERR, "web_server:%d %s [%s] is not a port, using %d", __LINE__, key, value, fallback);
        return fallback;
    }
    return port;
}
