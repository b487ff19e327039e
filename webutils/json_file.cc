// Whole-file JSON load and atomic save.

#include <arx/json_file.h>

#include "json_text.h"

#include <errno.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <sstream>

#include <json/reader.h>
#include <json/writer.h>

namespace VORN {

namespace {

constexpr mode_t kNewFileMode = 0644;

bool WriteAll(int fd, const std::string& text)
{
    size_t done = 0;
    while (done < text.size()) {
        const ssize_t written = write(fd, text.data() + done, text.size() - done);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        done += static_cast<size_t>(written);
    }
    return true;
}

}  // namespace

bool JsonFromFile(Json::Value& value, const std::string& path)
{
    try {
        std::string content;
        return arx::ReadTextFile(path, content) && arx::JsonFromText(value, content);
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

    struct stat st;
    const mode_t mode = stat(path.c_str(), &st) == 0 ? (st.st_mode & 07777) : kNewFileMode;
    // The temporary file is hidden (".NAME.XXXXXX"), so that readers that
    // enumerate the directory and skip hidden names never see it.
    const size_t slash = path.rfind('/');
    const size_t nameStart = slash == std::string::npos ? 0 : slash + 1;
    std::string temporary = path.substr(0, nameStart) + "." + path.substr(nameStart) + ".XXXXXX";
    const int fd = mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0)
        return false;
    bool ok = WriteAll(fd, text) && fchmod(fd, mode) == 0 && fsync(fd) == 0;
    ok = close(fd) == 0 && ok;
    ok = ok && rename(temporary.c_str(), path.c_str()) == 0;
    if (!ok)
        unlink(temporary.c_str());
    return ok;
}

}  // namespace VORN

namespace arx {

bool ReadTextFile(const std::string& path, std::string& content)
{
    content.clear();
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    // Straight into the string: no buffer on the stack, whose pages a short
    // process would touch for this read alone.
    size_t length = 0;
    ssize_t got;
    do {
        if (length == content.size())
            content.resize(length < 4096 ? 4096 : length * 2);
        got = read(fd, &content[length], content.size() - length);
        if (got > 0)
            length += static_cast<size_t>(got);
    } while (got > 0 || (got < 0 && errno == EINTR));
    close(fd);
    content.resize(got == 0 ? length : 0);
    return got == 0;
}

bool JsonFromText(Json::Value& value, std::string_view text)
{
    try {
        Json::CharReaderBuilder builder;
        builder["collectComments"] = false;
        builder["failIfExtra"] = true;
        const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
        Json::Value parsed;
        if (!reader->parse(text.data(), text.data() + text.size(), &parsed, nullptr))
            return false;
        value.swap(parsed);
        return true;
    } catch (const std::exception&) {
        return false;  // nesting deeper than the reader's limit, or no memory
    }
}

}  // namespace arx
