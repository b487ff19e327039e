// CspRule: the rule configs through which installed applications widen the
// Content-Security-Policy, and the rule files generated from them.
//
// An application drops one JSON rule config into "/usr/vorn/etc/csp" (or,
// for add-on packages, "/usr/local/etc/csp"):
//
//   {
//       "rule": {"img-src": ["https://tiles.example.net"]},
//       "rule-standalone": {"jsid": "Photo.Viewer", "wildcard": ["img-src"]}
//   }
//
// "rule" widens the system-wide policy with host sources; "rule-standalone"
// (an object or an array of them) gives single pages ("jsid") a policy of
// their own.  GenerateCSPTarget merges every valid config into the default
// rule "/usr/vorn/share/csp/rule-default" and writes "/run/csp/rule" and one
// file per page under "/run/csp/standalone"; SecurityOptions
// (<arx/security_options.h>) reads only those.
//
//   const std::string name = "photo-viewer";   // must outlive the CspRule
//   VORN::ARX::CspRule rule(name, false);
//   if (!rule.Save(config)) ...                 // validated, written as root
#ifndef ARX_CSP_RULE_H
#define ARX_CSP_RULE_H

#include <string>

#include <boost/shared_ptr.hpp>
#include <json/value.h>

#include <arx/export.h>

namespace VORN {
namespace ARX {

// Directive names, and the keys of a rule config.
ARX_EXPORT extern const std::string STYLE_SRC;        // "style-src"
ARX_EXPORT extern const std::string SCRIPT_SRC;       // "script-src"
ARX_EXPORT extern const std::string CONNECT_SRC;      // "connect-src"
ARX_EXPORT extern const std::string IMG_SRC;          // "img-src"
ARX_EXPORT extern const std::string BASE_URI;         // "base-uri"
ARX_EXPORT extern const std::string FORM_ACTION;      // "form-action"
ARX_EXPORT extern const std::string FONT_SRC;         // "font-src"
ARX_EXPORT extern const std::string FRAME_ANCESTORS;  // "frame-ancestors"
ARX_EXPORT extern const std::string FRAME_SRC;        // "frame-src"
ARX_EXPORT extern const std::string CHILD_SRC;        // "child-src"
ARX_EXPORT extern const std::string OBJECT_SRC;       // "object-src"
ARX_EXPORT extern const std::string RULE;             // "rule"
ARX_EXPORT extern const std::string RULE_STANDALONE;  // "rule-standalone"
ARX_EXPORT extern const std::string JSID;             // "jsid"
ARX_EXPORT extern const std::string WILDCARD;         // "wildcard"

class CspRulePrivate;

class ARX_EXPORT CspRule {
public:
    // The config named name, in "/usr/local/etc/csp" when local, else in
    // "/usr/vorn/etc/csp".  The object keeps a reference to name: the
    // caller's string must outlive it.  A name that is not a plain file
    // name (empty, ".", "..", a leading '.', a '/') is refused by Save and
    // Delete.
    CspRule(const std::string& name, bool local);
    virtual ~CspRule();

    // Validates conf and writes it as the config (as root), then generates
    // the target files.  false when conf is invalid (platform error 0x4000),
    // the identity switch fails, the write fails or the generation fails;
    // every failure is logged.
    bool Save(const Json::Value& conf);

    // Removes the config (as root) and generates the target files.  true at
    // once when there is no such config.
    bool Delete();

    // Merges every valid config of both directories into the default rule
    // and writes "/run/csp/rule" and the standalone files, as root, under
    // the lock "/run/csp/csp_rule.lock" (waiting at most 5 seconds).  A
    // broken config is skipped; a broken default rule or a failed write
    // leaves the previous files in place and gives false.
    static bool GenerateCSPTarget();

    // Whether conf is a valid rule config; the first fault found is logged.
    static bool IsValidConf(const Json::Value& conf);

    // Whether url is a host source a config may add: an optional http,
    // https, ws or wss scheme, an optional "*." label, a host with at least
    // one dot, an optional path.  Quoted keywords ('self') and scheme-only
    // sources (data:) are not.  The directive is not consulted.
    bool IsValidUrl(const std::string& directive, const std::string& url);

private:
    boost::shared_ptr<CspRulePrivate> d_;
};

}  // namespace ARX
}  // namespace VORN

#endif
