// The libraries the platform loads on first use (libcrypt for password
// checks, libcrypto for one-time codes and signed tokens, libjson-c for the
// session filter, libutf8proc for comparing names that are not ASCII): an
// ordinary request never maps them.
//
// A missing library or symbol fails closed: the caller gets nullptr, the
// log one line, and the last-error record VLIB_ERR_LIBRARY_MISSING.
#ifndef VORN_PLATFORM_LIBRARIES_H
#define VORN_PLATFORM_LIBRARIES_H

#include <initializer_list>

#include <vorn/err.h>
#include <vorn/log.h>

#include "base/lazy_library.h"

namespace vorn {

class PlatformLibrary {
public:
    PlatformLibrary(const char* soname, const char* fallback) : library_(soname, fallback) {}

    // The function named (the first of names the library has), or nullptr.
    template <typename Function>
    Function Find(std::initializer_list<const char*> names)
    {
        const bool firstLoad = !library_.tried();
        if (library_.Handle() == nullptr) {
            if (firstLoad)
                VLIBCLog(LOG_ERR, "lazy_library:%d cannot load %s: %s", __LINE__, library_.name(),
                         library_.error().c_str());
            VLIBCErrSet(VLIB_ERR_LIBRARY_MISSING);
            return nullptr;
        }
        const Function function = library_.Find<Function>(names);
        if (function == nullptr) {
            VLIBCLog(LOG_ERR, "lazy_library:%d %s has no symbol %s", __LINE__, library_.name(), *names.begin());
            VLIBCErrSet(VLIB_ERR_LIBRARY_MISSING);
        }
        return function;
    }

    template <typename Function>
    Function Find(const char* name)
    {
        return Find<Function>({name});
    }

private:
    base::LazyLibrary library_;
};

// One instance per process and per platform library.
inline PlatformLibrary& Libcrypt()
{
    static PlatformLibrary library{"libcrypt.so.1", "libcrypt.so.2"};
    return library;
}

inline PlatformLibrary& Libcrypto()
{
    static PlatformLibrary library{"libcrypto.so.3", "libcrypto.so.1.1"};
    return library;
}

inline PlatformLibrary& LibJsonC()
{
    static PlatformLibrary library{"libjson-c.so.5", "libjson-c.so.4"};
    return library;
}

// Unicode case folding for the case-insensitive comparison of names.
inline PlatformLibrary& LibUtf8proc()
{
    static PlatformLibrary library{"libutf8proc.so.2", "libutf8proc.so.3"};
    return library;
}

}  // namespace vorn

#endif
