// Keeps C++ exceptions (in practice std::bad_alloc) from crossing the C
// interface of the platform: they become the operation's failure result.
#ifndef VORN_PLATFORM_NO_THROW_H
#define VORN_PLATFORM_NO_THROW_H

#include <vorn/err.h>

namespace vorn {

template <typename Result, typename Body>
Result NoThrow(Result onFailure, Body body) noexcept
{
    try {
        return body();
    } catch (...) {
        VLIBCErrSet(VLIB_ERR_OUT_OF_MEMORY);
        return onFailure;
    }
}

}  // namespace vorn

#endif
