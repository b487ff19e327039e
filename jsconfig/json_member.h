// Reading documents that packages wrote: a member of anything but an
// object is null, never jsoncpp's assertion.
#ifndef ARX_JSCONFIG_JSON_MEMBER_H
#define ARX_JSCONFIG_JSON_MEMBER_H

#include <json/value.h>

namespace arx::jsconfig {

inline const Json::Value& Member(const Json::Value& value, const char* name)
{
    return value.isObject() ? value[name] : Json::Value::nullSingleton();
}

inline const Json::Value& Member(const Json::Value& value, const std::string& name)
{
    return value.isObject() ? value[name] : Json::Value::nullSingleton();
}

}  // namespace arx::jsconfig

#endif
