// The source names that begin every log line of the security headers.
#ifndef ARX_SECURITY_LOG_SOURCE_H
#define ARX_SECURITY_LOG_SOURCE_H

namespace arx::security {
inline constexpr char kCspRuleLogSource[] = "csp_rule";
inline constexpr char kSecurityOptionsLogSource[] = "security_options";
}  // namespace arx::security

#endif
