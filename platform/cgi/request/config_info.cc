// The configuration handle: the system configuration loaded into the record.

#include <string>
#include <unordered_map>

#include <vorn/cgi.h>
#include <vorn/err.h>
#include <vorn/file.h>
#include <vorn/root.h>

#include "cgi/cgi_private.h"
#include "cgi/request/system_config.h"
#include "lib/core/no_throw.h"

namespace {

using ValueMap = vorn::ConfigValues;

void StoreValue(const char* key, const char* value, void* context)
{
    ValueMap& values = *static_cast<ValueMap*>(context);
    if (*value == '\0')
        values.erase(key);  // a later empty line empties the key
    else
        values[key] = value;
}

void Load(const char* systemPath, ValueMap& values)
{
    VLIBCFileEnumKeyValue(VORNRootPathString(systemPath).c_str(), StoreValue, &values);
}

const char* Find(const ValueMap& values, const char* key, const char* defaultValue)
{
    if (key == nullptr)
        return defaultValue;
    const auto it = values.find(key);
    return it == values.end() ? defaultValue : it->second.c_str();
}

}  // namespace

namespace vorn {

void LoadSystemConfiguration(ConfigValues& current, ConfigValues& defaults)
{
    defaults.clear();
    Load(VORN_INFO_DEFAULTS_FILE, defaults);
    ValueMap values;
    Load(VORN_INFO_FILE, values);
    current = defaults;
    for (auto& [key, value] : values)
        current[key] = std::move(value);
}

}  // namespace vorn

extern "C" int VornCgiLoadInfo(VornCgi* cgi)
{
    VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        vorn::LoadSystemConfiguration(priv->config.current, priv->config.defaults);
        return 0;
    });
}

extern "C" const char* VornCgiGetInfo(VornCgi* cgi, const char* key, const char* defaultValue)
{
    const VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr)
        return defaultValue;
    return vorn::NoThrow(defaultValue, [&] { return Find(priv->config.current, key, defaultValue); });
}

extern "C" const char* VornCgiGetDef(VornCgi* cgi, const char* key, const char* defaultValue)
{
    const VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr)
        return defaultValue;
    return vorn::NoThrow(defaultValue, [&] { return Find(priv->config.defaults, key, defaultValue); });
}
