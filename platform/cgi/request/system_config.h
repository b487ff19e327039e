// The system configuration as the platform reads it: the factory defaults,
// and the current values laid over them.
#ifndef VORN_PLATFORM_SYSTEM_CONFIG_H
#define VORN_PLATFORM_SYSTEM_CONFIG_H

#include <string>
#include <unordered_map>

namespace vorn {

using ConfigValues = std::unordered_map<std::string, std::string>;

// current: every key with a value, the current file's over the defaults';
// defaults: the factory defaults alone.  Missing files are empty.
void LoadSystemConfiguration(ConfigValues& current, ConfigValues& defaults);

}  // namespace vorn

#endif
