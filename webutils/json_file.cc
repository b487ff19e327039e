// Whole-file JSON load and atomic save.

#include <arx/json_file.h>

#include <json/writer.h>

#include "base/file_read.h"
#include "base/file_write.h"
#include "base/json_read.h"
#include "webutils/json_text.h"

namespace VORN {

namespace {

constexpr mode_t kNewFileMode = 0644;

}  // namespace

bool JsonFromFile(Json::Value& value, const std::string& path)
{
    try {
        std::string content;
        return base::ReadWholeFile(path.c_str(), content) && arx::webutils::JsonFromText(value, content);
    } catch (const std::exception&) {
        return false;  // no memory
    }
}

bool JsonToFile(const Json::Value& value, const std::string& path)
{
    std::string text;
    try {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "    ";
        text = Json::writeString(builder, value);
        text.push_back('\n');
    } catch (const std::exception&) {
        return false;
    }
    // The temporary file is hidden, so that readers that enumerate the
    // directory and skip hidden names never see it.
    return base::WriteFileAtomically(path, text, kNewFileMode, base::Temporary::kHidden);
}

}  // namespace VORN

namespace arx::webutils {

bool JsonFromText(Json::Value& value, std::string_view text)
{
    try {
        base::JsonReader reader(true);
        Json::Value parsed;
        if (!reader.Parse(text, parsed))
            return false;
        value.swap(parsed);
        return true;
    } catch (const std::exception&) {
        return false;  // nesting deeper than the reader's limit, or no memory
    }
}

}  // namespace arx::webutils
