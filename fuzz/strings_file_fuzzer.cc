// The strings-file format: any text parses without crashing, every text
// that comes out is valid UTF-8, and the two readers agree: each text of
// the whole-file parse is what a lookup of its section and key gives.

#include <stdint.h>
#include <stdlib.h>

#include <string>

#include <json/value.h>

#include <arx/string_parser.h>

#include "strings/strings_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string raw(reinterpret_cast<const char*>(data), size);
    if (!arx::strings::IsText(raw))
        return 0;  // refused whole by the parser
    const std::string content = arx::strings::ToValidUtf8(raw);
    if (arx::strings::ToValidUtf8(content) != content)
        abort();
    const Json::Value parsed = arx::strings::ParseStringsText(content);
    for (const std::string& name : parsed.getMemberNames())
        for (const std::string& textKey : parsed[name].getMemberNames()) {
            std::string_view found;
            const bool agree = arx::strings::FindText(content, name, textKey, found) == arx::strings::Lookup::kFound &&
                               parsed[name][textKey] == VORN::PAD::StringParser::ReplaceStringText(std::string(found));
            const std::string_view cut = arx::strings::CutAtCharacter(found, 1023);
            if (!agree || arx::strings::ToValidUtf8(cut) != cut || cut.size() > 1023)
                abort();
        }
    return 0;
}
