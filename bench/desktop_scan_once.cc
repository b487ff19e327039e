// One cold scan of the modules as a whole process, or its floor: the same
// config files read and parsed with jsoncpp in one loop.  Timed with
// exec_bench, the two show what a desktop request without a cache pays that
// a loop in one process does not: fresh memory for everything the scan
// keeps (the kernel maps each page on first touch) and freeing none of it.
//
//   VORN_ROOT=ROOT desktop_scan_once floor|scan
#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <json/json.h>

#include <arx/js_config_parser.h>

namespace {

// Each config read whole and parsed, as the in-process floor does.
unsigned ReadAndParseConfigs()
{
    const char* root = getenv("VORN_ROOT");
    const std::string modules = std::string(root != nullptr ? root : "") + "/usr/vorn/vornman/webman/modules";
    std::vector<std::string> paths;
    if (DIR* dir = opendir(modules.c_str())) {
        while (const dirent* entry = readdir(dir)) {
            if (entry->d_name[0] != '.')
                paths.push_back(modules + "/" + entry->d_name + "/config");
        }
        closedir(dir);
    }
    std::sort(paths.begin(), paths.end());
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    unsigned entries = 0;
    for (const std::string& path : paths) {
        const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        struct stat st;
        if (fd < 0 || fstat(fd, &st) != 0)
            exit(1);
        std::string text(static_cast<size_t>(st.st_size), '\0');
        if (read(fd, text.data(), text.size()) != st.st_size)
            exit(1);
        close(fd);
        Json::Value config;
        if (!reader->parse(text.data(), text.data() + text.size(), &config, nullptr))
            exit(1);
        entries += config.size();
    }
    return entries;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc == 2 && strcmp(argv[1], "floor") == 0) {
        printf("%u\n", ReadAndParseConfigs());
        return 0;
    }
    if (argc == 2 && strcmp(argv[1], "scan") == 0) {
        VORN::PAD::JSConfigParser parser("enu", false, false);
        parser.ParsePathFromVornman(nullptr);
        printf("%u\n", parser.GetCSSFiles().size());  // one style sheet per module
        return 0;
    }
    fprintf(stderr, "usage: desktop_scan_once floor|scan\n");
    return 2;
}
