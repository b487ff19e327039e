/*
 * The web server that serves the administration UI: its ports.
 *
 * The ports are the system configuration's "http_port" (default 5000) and
 * "https_port" (default 5001), read with VLIBCINFOGetKeyValue: the current
 * value, else the factory default, else the built-in default.
 *
 * C++ callers reach them through the web server's configuration objects:
 *
 *   vornw3::Engine engine;
 *   unsigned short port = engine.GetARX().GetHttpsPort();
 */
#ifndef VORN_WEBSERVER_H
#define VORN_WEBSERVER_H

#include <vorn/export.h>

/* The built-in defaults. */
#define VORN_WEBSERVER_HTTP_PORT 5000
#define VORN_WEBSERVER_HTTPS_PORT 5001

VORN_BEGIN_DECLS

/* The port of plain HTTP (https 0) or of HTTPS (nonzero): 1 to 65535.  A
 * configured value that is not a decimal number in that range is logged and
 * the built-in default taken instead. */
VORN_EXPORT int VORNWebServerPortGet(int https);

VORN_END_DECLS

#ifdef __cplusplus
namespace vornw3 {

/* The settings of the UI's web server. */
class ARX {
public:
    unsigned short GetHttpPort() const { return httpPort_; }
    unsigned short GetHttpsPort() const { return httpsPort_; }

private:
    friend class Engine;
    unsigned short httpPort_ = VORN_WEBSERVER_HTTP_PORT;
    unsigned short httpsPort_ = VORN_WEBSERVER_HTTPS_PORT;
};

/* The web server's configuration, read when the object is built. */
class Engine {
public:
    Engine()
    {
        arx_.httpPort_ = static_cast<unsigned short>(VORNWebServerPortGet(0));
        arx_.httpsPort_ = static_cast<unsigned short>(VORNWebServerPortGet(1));
    }
    const ARX& GetARX() const { return arx_; }

private:
    ARX arx_;
};

}  /* namespace vornw3 */
#endif

#endif
