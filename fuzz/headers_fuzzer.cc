// Response headers: whatever name and value a program passes, a header the
// platform accepts can never end its line early.

#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "cgi/request/header_rules.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size);
    const size_t split = input.find(':');
    const std::string name = input.substr(0, split);
    const std::string value = split == std::string::npos ? "" : input.substr(split + 1);
    if (vorn::IsHttpToken(name) && name.find_first_of(":\r\n \t") != std::string::npos)
        abort();
    if (vorn::IsHeaderValue(value) && value.find_first_of(std::string("\r\n\0", 3)) != std::string::npos)
        abort();
    if (vorn::IsCookieValue(value) && value.find_first_of(";\r\n ") != std::string::npos)
        abort();
    return 0;
}
