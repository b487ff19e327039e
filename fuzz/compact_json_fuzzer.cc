// The library's compact JSON writer against jsoncpp's own: for any document
// jsoncpp reads, the two texts are the same bytes, whether made into a
// string or written to a file through the buffer.
#include <stdint.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

#include <memory>
#include <string>

#include <json/json.h>

#include "base/json_text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const std::unique_ptr<Json::CharReader> reader([] {
        Json::CharReaderBuilder builder;
        builder["collectComments"] = false;
        builder["stackLimit"] = 200;
        return builder.newCharReader();
    }());
    const char* text = reinterpret_cast<const char*>(data);
    Json::Value value;
    if (!reader->parse(text, text + size, &value, nullptr))
        return 0;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    const std::string expected = Json::FastWriter().write(value);
#pragma GCC diagnostic pop
    std::string made;
    base::AppendCompactJson(value, made);
    if (made + "\n" != expected)
        abort();

    const int fd = memfd_create("compact_json", MFD_CLOEXEC);
    if (fd < 0 || !base::WriteCompactJson(value, fd, "\n"))
        abort();
    std::string written(expected.size() + 1, '\0');
    const ssize_t read = pread(fd, written.data(), written.size(), 0);
    close(fd);
    if (read != static_cast<ssize_t>(expected.size()) || written.compare(0, expected.size(), expected) != 0)
        abort();
    return 0;
}
