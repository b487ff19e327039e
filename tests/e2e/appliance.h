// A scratch appliance for one test: the demo root and the sample CGI
// programs served by a real lighttpd on a free loopback port.
#ifndef ARX_E2E_APPLIANCE_H
#define ARX_E2E_APPLIANCE_H

#include <sys/types.h>

#include <string>

namespace arx_e2e {

class Appliance {
public:
    // rootOverlay: a directory whose files are copied over the demo root
    // before the appliance starts ("" for none).
    explicit Appliance(const std::string& rootOverlay = "");
    ~Appliance();
    Appliance(const Appliance&) = delete;
    Appliance& operator=(const Appliance&) = delete;

    // "http://127.0.0.1:PORT" followed by path.
    std::string Url(const std::string& path) const;
    // The appliance's root directory (what VORN_ROOT names for its programs).
    std::string RootPath(const std::string& systemPath) const { return scratch_ + "/root" + systemPath; }
    // What lighttpd wrote to its error log.
    std::string ErrorLog() const;

private:
    bool Start();
    void Stop();

    std::string overlay_;
    std::string scratch_;
    int port_ = 0;
    pid_t server_ = -1;
};

}  // namespace arx_e2e

#endif
