// String bundles: a module's UI strings through the platform's text table,
// with the product's names replaced.

#include <arx/string_bundle.h>

#include <string.h>

#include <string>

#include <arx/string_parser.h>
#include <vorn/hash.h>
#include <vorn/log.h>
#include <vorn/root.h>

namespace {

constexpr int kSlots = 6;
constexpr size_t kSlotSize = 64;

// The section names asked for in this process, one per argument position.
char g_sections[kSlots][kSlotSize];

const char* ModuleDirectory(StringBundle::STRMODULE module)
{
    switch (module) {
    case StringBundle::STR_PHOTO: return "/usr/vorn/vornman/photo";
    case StringBundle::STR_MUSIC: return "/usr/vorn/vornman/music";
    case StringBundle::STR_VIDEO: return "/usr/vorn/vornman/video";
    case StringBundle::STR_DOWNLOAD: return "/usr/vorn/vornman/download";
    case StringBundle::STR_SCRIPTS: return "/usr/vorn/vornman/scripts";
    case StringBundle::STR_MAIL: return "/usr/vorn/vornman/mail";
    default: return "/usr/vorn/vornman/webman";
    }
}

// Whether name can be a section's: it fits its slot, and is no path nor
// holds a control character.  (A name too long for its slot used to end
// the process.)
bool SectionUsable(const char* name)
{
    const size_t length = strnlen(name, kSlotSize);
    bool usable = length > 0 && length < kSlotSize && strchr(name, '/') == nullptr;
    for (size_t i = 0; usable && i < length; ++i)
        usable = static_cast<unsigned char>(name[i]) >= 0x20 && name[i] != 0x7F;
    return usable;
}

const char* SlotOrNull(int slot)
{
    return g_sections[slot][0] != '\0' ? g_sections[slot] : nullptr;
}

// Loads the named sections (the list ending at the first NULL) into cgi.
int Load(VornCgi* cgi, const char* const names[kSlots])
{
    const char* usable[kSlots + 1] = {};
    int count = 0;
    for (int i = 0; i < kSlots && names[i] != nullptr; ++i) {
        if (SectionUsable(names[i]))
            usable[count++] = names[i];
    }
    if (count == 0)
        return -1;
    return VornCgiLoadText(cgi, usable[0], usable[1], usable[2], usable[3], usable[4], usable[5], nullptr);
}

// Makes the record answer key with its placeholders replaced.
void ReplacePlaceholders(VornCgi* cgi, const char* key, const char* defaultText)
{
    const char* fetched = VornCgiGetText(cgi, key, defaultText);
    if (fetched == nullptr || key == nullptr)
        return;
    try {
        const std::string text = fetched;
        const std::string replaced = VORN::PAD::StringParser::ReplaceStringText(text);
        if (replaced != text)
            VLIBCSzHashSetValue(VornCgiGetTextTable(cgi), key, replaced.c_str());
    } catch (const std::exception&) {
        // No memory: the text stays as the file has it.
    }
}

}  // namespace

StringBundle::StringBundle(const char* s1, const char* s2, const char* s3, const char* s4, const char* s5,
                           const char* s6)
    : StringBundle(STR_WEBMAN, s1, s2, s3, s4, s5, s6)
{
}

StringBundle::StringBundle(STRMODULE module, const char* s1, const char* s2, const char* s3, const char* s4,
                           const char* s5, const char* s6)
    : record_()
{
    VornCgiInit(VORNRootPathString(ModuleDirectory(module)).c_str(), &record_);
    // The language is the session's: the record needs the request's cookies.
    VornCgiLoadInCookies(&record_);
    const char* names[kSlots] = {s1, s2, s3, s4, s5, s6};
    Load(&record_, names);
    CacheParams(s1, s2, s3, s4, s5, s6);
}

StringBundle::~StringBundle()
{
    VornCgiFree(&record_);
}

void StringBundle::CacheParams(const char* s1, const char* s2, const char* s3, const char* s4, const char* s5,
                               const char* s6)
{
    const char* names[kSlots] = {s1, s2, s3, s4, s5, s6};
    for (int i = 0; i < kSlots; ++i) {
        if (names[i] == nullptr)
            continue;
        if (SectionUsable(names[i]))
            memcpy(g_sections[i], names[i], strlen(names[i]) + 1);
        else
            VLIBCLog(LOG_ERR, "string_bundle:%d section name refused: empty, 64 bytes or longer, or not one name",
                     __LINE__);
    }
}

int StringBundle::LoadText()
{
    const char* names[kSlots];
    for (int i = 0; i < kSlots; ++i)
        names[i] = SlotOrNull(i);
    return Load(&record_, names);
}

const char* StringBundle::Text(const char* key, const char* defaultText)
{
    LoadText();
    ReplacePlaceholders(&record_, key, defaultText);
    return VornCgiGetText(&record_, key, defaultText);
}

const char* StringBundle::TextJscript(const char* key, const char* defaultText)
{
    LoadText();
    ReplacePlaceholders(&record_, key, defaultText);
    return VornCgiGetEncodeText(&record_, key, defaultText);
}
