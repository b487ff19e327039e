// Libraries loaded on first use.  A CGI process pays for every library it
// maps, so libraries that only rare operations need (libcrypt, libcrypto,
// libjson-c, the URL matcher's PCRE) are opened with dlopen the first time
// one of those operations runs, and never by an ordinary request.
//
// Nothing here logs: callers say what failed in their own words, using
// error() for the loader's reason.
#ifndef ARX_BASE_LAZY_LIBRARY_H
#define ARX_BASE_LAZY_LIBRARY_H

#include <initializer_list>
#include <string>

namespace base {

class LazyLibrary {
public:
    // soname (or a path) first, then fallback when given (an older
    // version, or the same library in another place).
    explicit LazyLibrary(const char* soname, const char* fallback = nullptr) : names_{soname, fallback} {}
    LazyLibrary(const LazyLibrary&) = delete;
    LazyLibrary& operator=(const LazyLibrary&) = delete;

    // The library, opened on the first call; nullptr when neither name
    // loads.  A failed load is not tried again: the process fails closed.
    void* Handle();

    // Whether the first call to Handle has been made.
    bool tried() const { return tried_; }

    // The first of names the library has, or nullptr (error() then says
    // which is missing).  Several names: a symbol renamed between versions.
    template <typename Function>
    Function Find(std::initializer_list<const char*> names)
    {
        return reinterpret_cast<Function>(Symbol(names));
    }

    // Why the last Handle or Find failed: the loader's text for the first
    // name, or "no symbol NAME".
    const std::string& error() const { return error_; }
    // The name that loaded, or the first name.
    const char* name() const { return loaded_ != nullptr ? loaded_ : names_[0]; }

private:
    void* Symbol(std::initializer_list<const char*> names);

    const char* names_[2];
    const char* loaded_ = nullptr;
    void* handle_ = nullptr;
    bool tried_ = false;
    std::string error_;
};

// The path of fileName in the directory of the loaded object that holds
// address (a function of that object); "" when that cannot be told.  A
// library finds a helper installed beside it this way when a sanitizer's
// dlopen interceptor hides the library's run path from the loader.
std::string PathBesideObjectOf(const void* address, const char* fileName);

}  // namespace base

#endif
