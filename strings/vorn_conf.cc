// Read access to the system configuration through the platform's handle.

#include <arx/vorn_conf.h>

#include <stdlib.h>
#include <strings.h>

VornConf::VornConf() : record_()
{
    VornCgiInit("", &record_);
    VornCgiLoadInfo(&record_);
}

VornConf::~VornConf()
{
    VornCgiFree(&record_);
}

const char* VornConf::Info(const char* key, const char* defaultValue)
{
    return VornCgiGetInfo(&record_, key, defaultValue);
}

int VornConf::InfoInt(const char* key, int defaultValue)
{
    const char* value = VornCgiGetInfo(&record_, key, nullptr);
    if (value == nullptr)
        return defaultValue;
    return static_cast<int>(strtol(value, nullptr, 10));
}

const char* VornConf::Def(const char* key, const char* defaultValue)
{
    return VornCgiGetDef(&record_, key, defaultValue);
}

namespace {

bool CheckValue(const char* value, const char* expected, bool resultIfMissing)
{
    if (value == nullptr)
        return resultIfMissing;
    return strcasecmp(value, expected) == 0;
}

}  // namespace

bool VornConf::InfoCheckValue(const char* key, const char* expected, bool resultIfMissing)
{
    if (key == nullptr || expected == nullptr)
        return false;
    return CheckValue(VornCgiGetInfo(&record_, key, nullptr), expected, resultIfMissing);
}

bool VornConf::DefCheckValue(const char* key, const char* expected, bool resultIfMissing)
{
    if (key == nullptr || expected == nullptr)
        return false;
    return CheckValue(VornCgiGetDef(&record_, key, nullptr), expected, resultIfMissing);
}
