// The root directory every fixed system path is mapped into.

#include <vorn/root.h>

#include <stdio.h>
#include <stdlib.h>

#include <string>

#include <vorn/err.h>
#include <vorn/log.h>

namespace {

struct RootState {
    bool loaded = false;
    std::string dir;
};

RootState& State()
{
    static RootState state;
    return state;
}

std::string ReadRoot()
{
    const char* value = secure_getenv("VORN_ROOT");
    if (value == nullptr || *value == '\0')
        return "";
    if (*value != '/') {
        VLIBCLog(LOG_ERR, "root:%d VORN_ROOT [%s] is not absolute, using /", __LINE__, value);
        return "";
    }
    std::string dir(value);
    while (!dir.empty() && dir.back() == '/')
        dir.pop_back();
    return dir;
}

}  // namespace

extern "C" const char* VORNRootDir(void)
{
    RootState& state = State();
    if (!state.loaded) {
        state.dir = ReadRoot();
        state.loaded = true;
    }
    return state.dir.c_str();
}

extern "C" void VORNRootReload(void)
{
    State().loaded = false;
}

extern "C" int VORNRootPath(const char* path, char* out, size_t size)
{
    if (path == nullptr || out == nullptr || size == 0 || path[0] != '/') {
        if (out != nullptr && size > 0)
            out[0] = '\0';
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    int length = snprintf(out, size, "%s%s", VORNRootDir(), path);
    if (length < 0 || static_cast<size_t>(length) >= size) {
        VLIBCErrSet(VLIB_ERR_BUFFER_TOO_SMALL);
        return -1;
    }
    return length;
}
