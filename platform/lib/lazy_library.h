// Libraries that only rare operations need (libcrypt for password checks,
// libcrypto for one-time codes and signed tokens, libjson-c for the session
// filter) are loaded on first use: an ordinary request never maps them, and
// a CGI process pays for every library it maps.
//
// A missing library or symbol fails closed: the caller gets nullptr, the
// log one line, and the last-error record VLIB_ERR_LIBRARY_MISSING.
#ifndef VORN_PLATFORM_LAZY_LIBRARY_H
#define VORN_PLATFORM_LAZY_LIBRARY_H

#include <dlfcn.h>

#include <initializer_list>

#include <vorn/err.h>
#include <vorn/log.h>

namespace vorn {

class LazyLibrary {
public:
    // soname first, then fallback (an older version) when given.
    constexpr explicit LazyLibrary(const char* soname, const char* fallback = nullptr)
        : sonames_{soname, fallback}
    {
    }
    LazyLibrary(const LazyLibrary&) = delete;
    LazyLibrary& operator=(const LazyLibrary&) = delete;

    // The function named, or nullptr.  names: tried in order (a symbol that
    // was renamed between versions of the library).
    template <typename Function>
    Function Find(std::initializer_list<const char*> names)
    {
        void* handle = Handle();
        if (handle == nullptr)
            return nullptr;
        for (const char* name : names) {
            if (void* symbol = dlsym(handle, name))
                return reinterpret_cast<Function>(symbol);
        }
        VLIBCLog(LOG_ERR, "lazy_library:%d %s has no symbol %s", __LINE__, loadedName_, *names.begin());
        VLIBCErrSet(VLIB_ERR_LIBRARY_MISSING);
        return nullptr;
    }

    template <typename Function>
    Function Find(const char* name)
    {
        return Find<Function>({name});
    }

private:
    void* Handle()
    {
        if (tried_)
            return handle_;
        tried_ = true;
        const char* error = "";
        for (const char* soname : sonames_) {
            if (soname == nullptr)
                continue;
            handle_ = dlopen(soname, RTLD_NOW | RTLD_LOCAL);
            if (handle_ != nullptr) {
                loadedName_ = soname;
                return handle_;
            }
            error = dlerror();
        }
        VLIBCLog(LOG_ERR, "lazy_library:%d cannot load %s: %s", __LINE__, sonames_[0],
                 error != nullptr ? error : "");
        VLIBCErrSet(VLIB_ERR_LIBRARY_MISSING);
        return nullptr;
    }

    const char* sonames_[2];
    const char* loadedName_ = "";
    void* handle_ = nullptr;
    bool tried_ = false;
};

// The libraries the platform loads on first use.  One instance per process
// and per platform library.
inline LazyLibrary& Libcrypt()
{
    static LazyLibrary library{"libcrypt.so.1", "libcrypt.so.2"};
    return library;
}

inline LazyLibrary& Libcrypto()
{
    static LazyLibrary library{"libcrypto.so.3", "libcrypto.so.1.1"};
    return library;
}

inline LazyLibrary& LibJsonC()
{
    static LazyLibrary library{"libjson-c.so.5", "libjson-c.so.4"};
    return library;
}

}  // namespace vorn

#endif
