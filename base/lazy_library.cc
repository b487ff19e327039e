#include "base/lazy_library.h"

#include <dlfcn.h>
#include <string.h>

namespace base {

void* LazyLibrary::Handle()
{
    if (tried_)
        return handle_;
    tried_ = true;
    error_.clear();
    for (const char* name : names_) {
        if (name == nullptr)
            continue;
        handle_ = dlopen(name, RTLD_NOW | RTLD_LOCAL);
        if (handle_ != nullptr) {
            loaded_ = name;
            return handle_;
        }
        const char* reason = dlerror();
        if (error_.empty())
            error_ = reason != nullptr ? reason : "no reason given";
    }
    return nullptr;
}

void* LazyLibrary::Symbol(std::initializer_list<const char*> names)
{
    void* handle = Handle();
    if (handle == nullptr)
        return nullptr;
    for (const char* name : names) {
        if (void* symbol = dlsym(handle, name))
            return symbol;
    }
    error_ = std::string("no symbol ") + (names.size() > 0 ? *names.begin() : "");
    return nullptr;
}

std::string PathBesideObjectOf(const void* address, const char* fileName)
{
    Dl_info object;
    if (dladdr(address, &object) == 0 || object.dli_fname == nullptr || object.dli_fname[0] != '/')
        return "";
    return std::string(object.dli_fname, strrchr(object.dli_fname, '/') + 1) + fileName;
}

}  // namespace base
