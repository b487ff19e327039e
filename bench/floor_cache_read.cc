// Floor of a desktop request served from the cache: the two cache files of
// the desktop in one language read into jsoncpp, a short answer printed.
// A C++ program linking libstdc++ and jsoncpp only.
//
//   VORN_ROOT=ROOT DESKTOP_LANG=enu floor_cache_read
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <string>

#include <json/json.h>

namespace {

// The file whole in one read, parsed in place, as the library reads it.
Json::Value Read(const std::string& path)
{
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat st;
    if (fd < 0 || fstat(fd, &st) != 0)
        exit(1);
    std::string text(static_cast<size_t>(st.st_size), '\0');
    if (read(fd, text.data(), text.size()) != st.st_size)
        exit(1);
    close(fd);
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    if (!reader->parse(text.data(), text.data() + text.size(), &value, nullptr))
        exit(1);
    return value;
}

}  // namespace

int main()
{
    const char* root = getenv("VORN_ROOT");
    const char* lang = getenv("DESKTOP_LANG");
    const std::string cache = std::string(root != nullptr ? root : "") + "/var/cache/js_config_parser";
    const Json::Value config = Read(cache + "/config/ARX.json");
    const Json::Value texts = Read(cache + "/texts/ARX_" + (lang != nullptr ? lang : "enu") + ".json");
    printf("Content-type: application/json\r\n\r\n{\"apps\":%u,\"texts\":%u}\n", config["_apps"].size(),
           texts["_moduleTexts"].size());
    return 0;
}
