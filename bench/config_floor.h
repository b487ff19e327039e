// The floor of the module scan: the generated tree's config files, each read
// whole and parsed with jsoncpp.  Shared by the in-process benchmark and the
// whole-process one, so that both measure the same loop.
#ifndef ARX_BENCH_CONFIG_FLOOR_H
#define ARX_BENCH_CONFIG_FLOOR_H

#include <dirent.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <json/json.h>

namespace bench {

// VORN_ROOT's modules directory (bench/make_module_tree.sh).
inline std::string ModulesDirectory()
{
    const char* root = getenv("VORN_ROOT");
    return std::string(root != nullptr ? root : "") + "/usr/vorn/vornman/webman/modules";
}

inline std::vector<std::string> ConfigPaths()
{
    const std::string modules = ModulesDirectory();
    std::vector<std::string> paths;
    if (DIR* dir = opendir(modules.c_str())) {
        while (const dirent* entry = readdir(dir)) {
            if (entry->d_name[0] != '.')
                paths.push_back(modules + "/" + entry->d_name + "/config");
        }
        closedir(dir);
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

// jsoncpp's reader as the library's fallback is set up.
inline std::unique_ptr<Json::CharReader> ConfigReader()
{
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    return std::unique_ptr<Json::CharReader>(builder.newCharReader());
}

// One config read whole in one read and parsed; false when either fails.
inline bool ReadAndParse(const std::string& path, Json::CharReader& reader, Json::Value& config)
{
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat st;
    if (fd < 0 || fstat(fd, &st) != 0)
        return false;
    std::string text(static_cast<size_t>(st.st_size), '\0');
    const bool read = ::read(fd, text.data(), text.size()) == st.st_size;
    close(fd);
    return read && reader.parse(text.data(), text.data() + text.size(), &config, nullptr);
}

}  // namespace bench

#endif
