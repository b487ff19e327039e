// Names and fixed paths of the CSP rule store, shared by the rule store and
// the header builder.
#ifndef ARX_SECURITY_CSP_NAMES_H
#define ARX_SECURITY_CSP_NAMES_H

#include <set>
#include <string>

#include <arx/csp_rule.h>

namespace VORN {
namespace ARX {

// Known to the library but not exported.
extern const std::string MEDIA_SRC;  // "media-src"

// The directives a config may name, in byte order.
const std::set<std::string>& KnownDirectives();
// The directives a standalone page may not open to "*".
const std::set<std::string>& NoWildcardDirectives();

}  // namespace ARX
}  // namespace VORN

namespace arx::csp {

// System paths, before root mapping.
inline constexpr char kDefaultRule[] = "/usr/vorn/share/csp/rule-default";
inline constexpr char kSystemConfigDir[] = "/usr/vorn/etc/csp";
inline constexpr char kLocalConfigDir[] = "/usr/local/etc/csp";
inline constexpr char kRunDir[] = "/run/csp";
inline constexpr char kRuleFile[] = "/run/csp/rule";
inline constexpr char kStandaloneDir[] = "/run/csp/standalone";
inline constexpr char kLockFile[] = "/run/csp/csp_rule.lock";

}  // namespace arx::csp

#endif
