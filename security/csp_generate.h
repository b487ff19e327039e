// Generation of the target rule files from the default rule and the
// configs.
#ifndef ARX_SECURITY_CSP_GENERATE_H
#define ARX_SECURITY_CSP_GENERATE_H

#include <vector>

#include <json/value.h>

namespace arx::security {

// Merges the "rule" of each config into target (an object): every known
// directive gets an array when it has none, then each config's sources are
// appended in config order, a config's child-src sources to frame-src.
void Merge(const std::vector<Json::Value>& configs, Json::Value& target);

// The whole generation, as root, under the lock file.
bool GenerateTarget();

}  // namespace arx::security

#endif
