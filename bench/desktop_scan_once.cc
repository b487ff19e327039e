// One cold scan of the modules as a whole process, or its floor: the same
// config files read and parsed with jsoncpp in one loop.  Timed with
// exec_bench, the two show what a desktop request without a cache pays that
// a loop in one process does not: fresh memory for everything the scan
// keeps (the kernel maps each page on first touch) and freeing none of it.
//
//   VORN_ROOT=ROOT desktop_scan_once floor|scan
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <memory>
#include <string>

#include <json/json.h>

#include <arx/js_config_parser.h>

#include "config_floor.h"

namespace {

// Each config read whole and parsed, as the in-process floor does.
unsigned ReadAndParseConfigs()
{
    const std::unique_ptr<Json::CharReader> reader = bench::ConfigReader();
    unsigned entries = 0;
    for (const std::string& path : bench::ConfigPaths()) {
        Json::Value config;
        if (!bench::ReadAndParse(path, *reader, config))
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
