// Desktop modules for tests: a module's config, style sheet and strings
// files under the root's web root ("/usr/vorn/vornman/webman/modules").
#ifndef ARX_TESTING_MODULE_TREE_H
#define ARX_TESTING_MODULE_TREE_H

#include <map>
#include <string>

#include "testing/temp_root.h"

namespace arx_testing {

inline const char kModulesDir[] = "/usr/vorn/vornman/webman/modules";

struct TestModule {
    std::string name;  // the module's directory
    std::string config;  // "config" (not written when empty)
    std::map<std::string, std::string> strings;  // language -> "texts/LANG/strings"
    bool style = false;  // a "style.css"
};

// The system path of a file of a module: ModulePath("Files", "config").
inline std::string ModulePath(const std::string& module, const std::string& file)
{
    return std::string(kModulesDir) + "/" + module + "/" + file;
}

inline void WriteModule(const TempRoot& root, const TestModule& module)
{
    root.MakeDirs(std::string(kModulesDir) + "/" + module.name);
    if (!module.config.empty())
        root.WriteFile(ModulePath(module.name, "config"), module.config);
    for (const auto& [lang, content] : module.strings)
        root.WriteFile(ModulePath(module.name, "texts/" + lang + "/strings"), content);
    if (module.style)
        root.WriteFile(ModulePath(module.name, "style.css"), "body { margin: 0; }\n");
}

// A module of one application "Test.NAME" (type app, texts in "texts")
// whose strings hold [app] title in each language given.
inline TestModule AppModule(const std::string& name, std::map<std::string, std::string> titles)
{
    TestModule module;
    module.name = name;
    module.config = "{\".url\": {\"Test." + name +
                    "\": {\"type\": \"app\", \"texts\": \"texts\", "
                    "\"title\": \"app:title\"}}}";
    for (const auto& [lang, title] : titles)
        module.strings[lang] = "[app]\ntitle = " + title + "\n";
    module.style = true;
    return module;
}

}  // namespace arx_testing

#endif
