// A module config's text as the scan reads it: parsed within bounds.
#ifndef ARX_JSCONFIG_MODULE_CONFIG_H
#define ARX_JSCONFIG_MODULE_CONFIG_H

#include <sys/types.h>

#include <string>
#include <string_view>

#include <json/value.h>

#include "base/json_read.h"

namespace arx::jsconfig {

// A module config is a few KiB; these bounds keep a broken or hostile one
// from costing the request more than a refusal.
inline constexpr off_t kLargestModuleConfig = 1 << 20;
inline constexpr int kDeepestModuleConfig = 64;
inline constexpr size_t kMostModuleConfigValues = 100000;
inline constexpr base::JsonBounds kModuleConfigBounds {kDeepestModuleConfig, kMostModuleConfigValues};

// The member names module configs use, kept without a copy of their own in
// what the scan reads.
const base::StaticNames& ModuleConfigNames();

// Parses text into config with reader (one held to kModuleConfigBounds);
// false with errors (the reader's formatted messages, or which bound was
// passed) otherwise.
bool ParseModuleConfig(std::string_view text, base::JsonReader& reader, Json::Value& config, std::string& errors);

}  // namespace arx::jsconfig

#endif
