// Faults by interposition.  The library and the platform reach the C
// library and each other through the dynamic linker, so a test binary
// that defines such a function itself receives every call; it makes the
// calls it wants fail and passes the rest on to the next definition:
//
//   arx_testing::FaultPlan g_setresuid;
//
//   extern "C" int setresuid(uid_t r, uid_t e, uid_t s)
//   {
//       if (g_setresuid.Fails())
//           return -1;
//       return ARX_NEXT(setresuid)(r, e, s);
//   }
//
//   g_setresuid.FailCall(2);   // the second call from now fails with EPERM
#ifndef ARX_TESTING_INTERPOSE_H
#define ARX_TESTING_INTERPOSE_H

#include <dlfcn.h>
#include <errno.h>

namespace arx_testing {

// The definition of name after this binary's own: the real function.
template <typename Function>
Function* FindNext(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// Which call of an interposed function fails.  Counts the calls since the
// plan was last set.
class FaultPlan {
public:
    // The n-th call from now fails (1: the next one); 0: none.
    void FailCall(int n, int error = EPERM)
    {
        calls_ = 0;
        failing_ = n;
        error_ = error;
    }
    void Clear() { FailCall(0); }

    // Counts one call; true (errno set) when it is the one to fail.
    bool Fails()
    {
        if (++calls_ != failing_)
            return false;
        errno = error_;
        return true;
    }
    int calls() const { return calls_; }

private:
    int calls_ = 0;
    int failing_ = 0;
    int error_ = EPERM;
};

}  // namespace arx_testing

// The next definition of function, looked up once per place of use.
#define ARX_NEXT(function)                                                                       \
    ([] {                                                                                        \
        static auto* const next = arx_testing::FindNext<decltype(function)>(#function);          \
        return next;                                                                             \
    }())

#endif
