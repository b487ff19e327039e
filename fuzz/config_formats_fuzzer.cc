// Key-value and section files: lookups never crash, and a key written into
// any content reads back as written.

#include <stdint.h>
#include <stdlib.h>

#include <string>

#include "lib/files/keyvalue_format.h"
#include "lib/files/section_format.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string content(reinterpret_cast<const char*>(data), size);
    std::string_view value;
    vorn::FindKeyValue(content, "language", value);
    vorn::FindSectionValue(content, "login", "error_timeout", value);

    const std::string written = vorn::SetKeyValue(content, "fuzz_key", "a \"quoted\" = value");
    if (!vorn::FindKeyValue(written, "fuzz_key", value) || value != "a \"quoted\" = value")
        abort();
    return 0;
}
