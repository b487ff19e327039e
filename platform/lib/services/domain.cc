// Membership of a Windows domain or workgroup, as the system configuration
// records it.

#include <string.h>
#include <strings.h>

#include <vorn/err.h>
#include <vorn/file.h>
#include <vorn/service.h>

namespace {

bool KeyIs(const char* key, const char* expected)
{
    char value[64] = "";
    return VLIBCINFOGetKeyValue(key, value, sizeof value) > 0 && strcasecmp(value, expected) == 0;
}

int CopyKey(const char* key, char* buffer, int size)
{
    if (buffer == nullptr || size <= 0) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    char value[1024] = "";
    const int length = VLIBCINFOGetKeyValue(key, value, sizeof value);
    if (length <= 0) {
        VLIBCErrSet(VLIB_ERR_NOT_FOUND);
        return -1;
    }
    if (length >= size) {
        VLIBCErrSet(VLIB_ERR_BUFFER_TOO_SMALL);
        return -1;
    }
    memcpy(buffer, value, static_cast<size_t>(length) + 1);
    return length;
}

}  // namespace

extern "C" int VORNWinsIsJoined(void)
{
    return KeyIs("domain_joined", "yes") ? 1 : 0;
}

extern "C" int VORNWinsADSJoined(void)
{
    return VORNWinsIsJoined() == 1 && KeyIs("domain_type", "ads") ? 1 : 0;
}

extern "C" int VORNWinsRealmGet(char* buffer, int size)
{
    return CopyKey("ads_realm", buffer, size);
}

extern "C" int VORNWorkgroupGet(char* buffer, int size)
{
    return CopyKey("workgroup", buffer, size);
}
