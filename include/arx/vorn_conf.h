// VornConf: read access to the system configuration.
//
// The current values ("/etc/vorninfo.conf", with the factory defaults behind
// it) and the factory defaults alone ("/etc.defaults/vorninfo.conf"), loaded
// once when the object is built.
//
//   VornConf conf;
//   if (conf.InfoCheckValue("csp_header_option", "yes", true)) ...
//   int minutes = conf.InfoInt("session_timeout", 15);
#ifndef ARX_VORN_CONF_H
#define ARX_VORN_CONF_H

#include <vorn/cgi.h>

#include <arx/export.h>

class ARX_EXPORT VornConf {
public:
    VornConf();
    ~VornConf();
    VornConf(const VornConf&) = delete;
    VornConf& operator=(const VornConf&) = delete;

    // The current value of key, or defaultValue.  The text belongs to this
    // object.
    const char* Info(const char* key, const char* defaultValue);

    // The current value read as a decimal number (text that is not a number
    // gives 0, "12abc" gives 12), or defaultValue when the key has no value.
    int InfoInt(const char* key, int defaultValue);

    // The factory default of key, or defaultValue.
    const char* Def(const char* key, const char* defaultValue);

    // Whether the current value equals expected ignoring ASCII case;
    // resultIfMissing when the key has no value; false when key or expected
    // is NULL.
    bool InfoCheckValue(const char* key, const char* expected, bool resultIfMissing);

    // The same against the factory default.
    bool DefCheckValue(const char* key, const char* expected, bool resultIfMissing);

private:
    VornCgi record_;
};

#endif
