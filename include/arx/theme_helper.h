// ThemeHelper: the web desktop's themes.
//
// A theme is applied by pointing files at the theme's own versions: for
// each file, a symbolic link from where the pages load it (the target) to
// the theme's file (the source).  The themes live in one JSON file,
// "/usr/vorn/theme/theme.json", owned by root and writable by no one else:
//
//   {"dark": {"apply": {"mappings": [
//        {"source": "/usr/vorn/theme/dark/desktop.css",
//         "target": "/usr/vorn/vornman/theme/desktop.css"}]}}}
//
// Theme names hold actions; an action's "mappings" replace each target by a
// link to its source.  Paths are system paths (under the system root).
//
//   VORN::PAD::ThemeHelper themes;
//   if (themes.Parse())
//       themes.Action("dark", "apply");
#ifndef ARX_THEME_HELPER_H
#define ARX_THEME_HELPER_H

#include <string>
#include <vector>

#include <json/value.h>

#include <arx/export.h>

namespace VORN {
namespace PAD {

// A theme document, or part of one.
class ARX_EXPORT ThemeGetter {
public:
    ThemeGetter();
    explicit ThemeGetter(const Json::Value& value);
    // The member key of the document, or null when it has none.
    virtual Json::Value GetThemeByKey(const std::string& key);
    // The member names of the document (theme names, or a theme's
    // actions), in name order; none when it is no object.
    std::vector<std::string> GetKeys() const;

protected:
    Json::Value value_;
};

class ARX_EXPORT JsonThemeGetter : public ThemeGetter {
public:
    explicit JsonThemeGetter(Json::Value value);
};

class ARX_EXPORT ThemeHelper : public ThemeGetter {
public:
    // Reads "/usr/vorn/theme/theme.json", or the file at path.  false
    // (logged) when it cannot be read, is not JSON, or is not root's own
    // (another owner, or others may write it): its links would be made as
    // root.
    bool Parse();
    bool Parse(const std::string& path);
    void Clear();
    // One theme's actions (null members when the theme is missing).
    ThemeGetter GetTheme(const std::string& theme);
    // Replaces the targets of the action's mappings by links to their
    // sources.  Each failure is logged and the next mapping tried; a
    // target that is a directory is never replaced.
    virtual void Action(const std::string& theme, const std::string& action);
};

}  // namespace PAD
}  // namespace VORN

#endif
