// js-config-cache: the desktop configuration's cache, for package scripts.
//
//   js-config-cache --clear                 remove the cache (after a module
//                                           was installed, removed or changed)
//   js-config-cache --warm enu,ger          build it for these languages now,
//                                           ahead of the first request
//   js-config-cache --clear --warm enu,ger  both, in that order
//   js-config-cache --warm enu --app NAME   for the page of application NAME
//
// Runs as root (the cache is root's).  Exit status: 0 done, 1 failed,
// 2 usage.  Paths are under VORN_ROOT when it is set.

#include <ctype.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <json/value.h>

#include <arx/js_config_parser.h>

namespace {

constexpr char kUsage[] = "usage: js-config-cache [--clear] [--warm LANG[,LANG...] [--app NAME]]\n"
                          "  --clear  remove every cache file (run it when modules are installed, removed or changed)\n"
                          "  --warm   build the cache for the languages (\"enu,ger\") ahead of the first request\n"
                          "  --app    build it for the page of this application instead of the desktop\n";

int Usage()
{
    fputs(kUsage, stderr);
    return 2;
}

// A language code as the desktop names its directories: "enu", "ger", ...
bool IsLanguageCode(const std::string& code)
{
    if (code.empty() || code.size() > 16)
        return false;
    for (const char c : code) {
        if (!islower(static_cast<unsigned char>(c)) && !isdigit(static_cast<unsigned char>(c)) && c != '_')
            return false;
    }
    return true;
}

bool SplitLanguages(const std::string& list, std::vector<std::string>& languages)
{
    size_t start = 0;
    for (;;) {
        const size_t comma = list.find(',', start);
        const std::string code = list.substr(start, comma == std::string::npos ? std::string::npos : comma - start);
        if (!IsLanguageCode(code))
            return false;
        languages.push_back(code);
        if (comma == std::string::npos)
            return true;
        start = comma + 1;
    }
}

// A request's whole work for one language: configuration, texts, brief
// texts.  true when the cache holds it afterwards.
bool Warm(const std::string& lang, const char* app)
{
    VORN::PAD::JSConfigParser parser(lang.c_str(), false, true);
    parser.ParsePathFromVornman(app);
    parser.GetModuleTexts();
    parser.GetBriefTexts();
    const std::string stamp = VORN::PAD::JSConfigParser::GetCacheStamp(app, lang.c_str());
    if (stamp.empty()) {
        fprintf(stderr, "js-config-cache: the cache for %s could not be written (see the system log)\n", lang.c_str());
        return false;
    }
    printf("warmed %s: %u applications (stamp %s)\n", lang.c_str(), parser.GetAppConfig().size(), stamp.c_str());
    return true;
}

}  // namespace

int main(int argc, char** argv)
{
    bool clear = false;
    std::vector<std::string> languages;
    const char* app = nullptr;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--clear") {
            clear = true;
        } else if (arg == "--warm" && i + 1 < argc) {
            if (!SplitLanguages(argv[++i], languages)) {
                fprintf(stderr, "js-config-cache: not a list of language codes: %s\n", argv[i]);
                return 2;
            }
        } else if (arg == "--app" && i + 1 < argc) {
            app = argv[++i];
        } else if (arg == "--help" || arg == "-h") {
            fputs(kUsage, stdout);
            return 0;
        } else {
            return Usage();
        }
    }
    if (!clear && languages.empty())
        return Usage();
    if (geteuid() != 0) {
        fputs("js-config-cache: the cache is root's: run it as root\n", stderr);
        return 1;
    }
    if (clear) {
        if (!VORN::PAD::JSConfigParser::ClearCache()) {
            fputs("js-config-cache: the cache could not be cleared (see the system log)\n", stderr);
            return 1;
        }
        puts("cleared");
    }
    bool ok = true;
    for (const std::string& lang : languages)
        ok = Warm(lang, app) && ok;
    return ok ? 0 : 1;
}
