// Request bodies as the request context reads them: any text either becomes
// the JSON parameters or not, and reading them never crashes or throws.

#include <stdint.h>
#include <stdlib.h>

#include <string>

#include <arx/webman.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static WebMan* web = new WebMan(false);
    std::string text(reinterpret_cast<const char*>(data), size);
    web->LoadJSONParam(text.data());
    if (Json::Value* json = web->In()) {
        if (json->size() == 0)
            abort();
    } else if (web->In("a", "default") == nullptr) {
        abort();
    }
    return 0;
}
