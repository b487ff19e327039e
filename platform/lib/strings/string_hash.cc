// String hashes: an unordered map of texts behind the C interface.

#include <vorn/hash.h>

#include <string>
#include <unordered_map>

#include <vorn/err.h>

#include "lib/core/no_throw.h"

struct VLIBSzHash {
    std::unordered_map<std::string, std::string> texts;
};

extern "C" VLIBSZHASH* VLIBCSzHashAlloc(int size)
{
    if (size < 0) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return nullptr;
    }
    return vorn::NoThrow<VLIBSZHASH*>(nullptr, [size] {
        auto* hash = new VLIBSzHash;
        hash->texts.reserve(static_cast<size_t>(size));
        return hash;
    });
}

extern "C" void VLIBCSzHashFree(VLIBSZHASH* hash)
{
    delete hash;
}

extern "C" int VLIBCSzHashSetValue(VLIBSZHASH* hash, const char* key, const char* value)
{
    if (hash == nullptr || key == nullptr || value == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        hash->texts[key] = value;
        return 0;
    });
}

extern "C" const char* VLIBCSzHashGetValue(const VLIBSZHASH* hash, const char* key)
{
    if (hash == nullptr || key == nullptr)
        return nullptr;
    return vorn::NoThrow<const char*>(nullptr, [&]() -> const char* {
        const auto found = hash->texts.find(key);
        return found != hash->texts.end() ? found->second.c_str() : nullptr;
    });
}

extern "C" int VLIBCSzHashCount(const VLIBSZHASH* hash)
{
    return hash != nullptr ? static_cast<int>(hash->texts.size()) : -1;
}

extern "C" int VLIBCHashRemoveAll(VLIBSZHASH* hash)
{
    if (hash == nullptr)
        return -1;
    hash->texts.clear();
    return 0;
}
