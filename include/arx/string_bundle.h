// StringBundle: the UI strings of a module in the user's language, with the
// product's own names in place.
//
// The strings are sections of the module's "strings" files
// (MODULE/texts/LANG/strings, English behind every missing key), LANG being
// the session's language, else the browser's:
//
//   StringBundle errors("error", NULL, NULL, NULL, NULL, NULL);
//   const char* text = errors.Text("error_field_too_long", "");
//
// The section names a bundle asks for are kept per process, one slot per
// argument position, and shared by every bundle: a later bundle's names
// replace those of the same positions, a NULL leaves a position as it was,
// and LoadText (which Text runs each time) loads what the slots hold.
#ifndef ARX_STRING_BUNDLE_H
#define ARX_STRING_BUNDLE_H

#include <vorn/cgi.h>

#include <arx/export.h>

class ARX_EXPORT StringBundle {
public:
    // Whose strings: the web administration UI's, the add-on applications'
    // or the scripts'.  Other values mean STR_WEBMAN.
    enum STRMODULE {
        STR_WEBMAN = 0,    // /usr/vorn/vornman/webman
        STR_PHOTO = 1,     // /usr/vorn/vornman/photo
        STR_MUSIC = 2,     // /usr/vorn/vornman/music
        STR_VIDEO = 3,     // /usr/vorn/vornman/video
        STR_DOWNLOAD = 4,  // /usr/vorn/vornman/download
        STR_SCRIPTS = 5,   // /usr/vorn/vornman/scripts
        STR_MAIL = 6,      // /usr/vorn/vornman/mail
    };

    // s1 to s6: section names, NULL where not needed.  A name is at most 63
    // bytes of printable characters without "/"; another is refused with a
    // log line and not loaded.
    StringBundle(const char* s1, const char* s2, const char* s3, const char* s4, const char* s5, const char* s6);
    StringBundle(STRMODULE module, const char* s1, const char* s2, const char* s3, const char* s4, const char* s5,
                 const char* s6);
    ~StringBundle();
    StringBundle(const StringBundle&) = delete;
    StringBundle& operator=(const StringBundle&) = delete;

    // Keeps the non-NULL names in the process's slots.
    void CacheParams(const char* s1, const char* s2, const char* s3, const char* s4, const char* s5, const char* s6);

    // Loads the sections the slots name again: 0, or -1 when no strings
    // file could be read.
    int LoadText();

    // The text of key (or "section:key"), else defaultText, with "_HARBOR_",
    // "%HARBOR%", "_OSNAME_" and "%OSNAME%" replaced.  The text belongs to
    // the bundle and lives until its next call (which loads the texts
    // again): copy it to keep it.  NULL only for a missing key with a NULL
    // default.
    const char* Text(const char* key, const char* defaultText);

    // The same text escaped for a script string literal.
    const char* TextJscript(const char* key, const char* defaultText);

private:
    VornCgi record_;
};

#endif
