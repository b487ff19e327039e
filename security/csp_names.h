// Names and fixed paths of the CSP rule store, shared by the rule store and
// the header builder.
#ifndef ARX_SECURITY_CSP_NAMES_H
#define ARX_SECURITY_CSP_NAMES_H

#include <set>
#include <string>

namespace arx::security {

// The names of <arx/csp_rule.h>, spelt as literals for the library's own
// use: a literal needs no symbol lookup when the library is loaded, an
// exported object does.
inline constexpr char STYLE_SRC[] = "style-src";
inline constexpr char SCRIPT_SRC[] = "script-src";
inline constexpr char CONNECT_SRC[] = "connect-src";
inline constexpr char IMG_SRC[] = "img-src";
inline constexpr char BASE_URI[] = "base-uri";
inline constexpr char FORM_ACTION[] = "form-action";
inline constexpr char FONT_SRC[] = "font-src";
inline constexpr char FRAME_ANCESTORS[] = "frame-ancestors";
inline constexpr char FRAME_SRC[] = "frame-src";
inline constexpr char CHILD_SRC[] = "child-src";
inline constexpr char OBJECT_SRC[] = "object-src";
inline constexpr char MEDIA_SRC[] = "media-src";  // known, but not exported
inline constexpr char RULE[] = "rule";
inline constexpr char RULE_STANDALONE[] = "rule-standalone";
inline constexpr char JSID[] = "jsid";
inline constexpr char WILDCARD[] = "wildcard";

// The directives a config may name, in byte order.
const std::set<std::string>& KnownDirectives();
// The directives a standalone page may not open to "*".
const std::set<std::string>& NoWildcardDirectives();

// System paths, before root mapping.
inline constexpr char kDefaultRule[] = "/usr/vorn/share/csp/rule-default";
inline constexpr char kSystemConfigDir[] = "/usr/vorn/etc/csp";
inline constexpr char kLocalConfigDir[] = "/usr/local/etc/csp";
inline constexpr char kRunDir[] = "/run/csp";
inline constexpr char kRuleFile[] = "/run/csp/rule";
inline constexpr char kStandaloneDir[] = "/run/csp/standalone";
inline constexpr char kLockFile[] = "/run/csp/csp_rule.lock";

}  // namespace arx::security

#endif
