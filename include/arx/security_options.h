// SecurityOptions: the protective response headers of a page.
//
// Content-Security-Policy comes from the rule files that CspRule generates
// (<arx/csp_rule.h>): "/run/csp/rule", or for a page with a policy of its
// own "/run/csp/standalone/JSID".  X-Frame-Options is "SAMEORIGIN" unless
// the request's referrer is on the allow list of the system configuration.
//
// System configuration ("/etc/vorninfo.conf"):
//   csp_header_option="no"                  no Content-Security-Policy
//   check_frame_options="no"                no X-Frame-Options
//   frame_options_built_in_allow_url="https://portal.example.com,intranet.example.com:8443"
//
// Programs normally call WebMan::AddSecurityHeaders(jsid), which queues
// every header of GetSecurityHeaders().
#ifndef ARX_SECURITY_OPTIONS_H
#define ARX_SECURITY_OPTIONS_H

#include <string>

#include <json/value.h>

#include <arx/export.h>

namespace VORN {
namespace ARX {

class ARX_EXPORT SecurityOptions {
public:
    // jsid: the page's name when it has a policy of its own, else NULL.
    explicit SecurityOptions(const char* jsid);

    // The Content-Security-Policy value: every directive of the rule, in
    // byte order of the names, as "name source source; " ("name;" with its
    // sources is followed by one space; a directive without sources gives
    // the space alone), with "{HOSTNAME}" replaced by the request's host.
    // "" when the header is off or no rule can be read.
    std::string GetCSPHeader();

    // "SAMEORIGIN", or "" when the check is off or the referrer (HTTP_REFERER)
    // is on the allow list.
    std::string GetXFrameOption();

    // An object of header name to value for the non-empty ones:
    // "Content-Security-Policy", then "X-Frame-Options".  A null value when
    // neither is to be sent.
    Json::Value GetSecurityHeaders();

private:
    std::string jsid_;
};

}  // namespace ARX
}  // namespace VORN

#endif
