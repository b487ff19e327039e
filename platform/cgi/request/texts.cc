// UI texts: sections of the module's "strings" files in the request's
// language, with English behind every missing key.

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include <string>
#include <unordered_map>

#include <vorn/cgi.h>
#include <vorn/err.h>
#include <vorn/file.h>
#include <vorn/hash.h>
#include <vorn/root.h>
#include <vorn/session.h>

#include "cgi/cgi_private.h"
#include "lib/core/no_throw.h"

namespace {

constexpr char kDefaultBase[] = "/usr/vorn/vornman/webman";
constexpr char kFallbackLanguage[] = "enu";
constexpr int kMaxSections = 6;

using TextMap = std::unordered_map<std::string, std::string>;

void StoreText(const char* key, const char* value, void* context)
{
    (*static_cast<TextMap*>(context))[key] = value;
}

std::string StringsFile(const VornCgiPrivate& priv, const char* language)
{
    const std::string base = priv.texts.base.empty() ? VORNRootPathString(kDefaultBase) : priv.texts.base;
    return base + "/texts/" + language + "/strings";
}

// Loads one section: English first, the language's texts over it.  false
// when neither file could be read.
bool LoadSection(VornCgiPrivate& priv, const char* language, const char* section)
{
    TextMap texts;
    bool read = VLIBCFileEnumSection(StringsFile(priv, kFallbackLanguage).c_str(), section, StoreText, &texts) >= 0;
    if (strcmp(language, kFallbackLanguage) != 0)
        read = VLIBCFileEnumSection(StringsFile(priv, language).c_str(), section, StoreText, &texts) >= 0 || read;
    for (auto& loaded : priv.texts.sections) {
        if (loaded.first == section) {
            loaded.second = std::move(texts);
            return read;
        }
    }
    priv.texts.sections.emplace_back(section, std::move(texts));
    return read;
}

VLIBSZHASH* TableOf(VornCgiPrivate& priv)
{
    if (!priv.texts.table)
        priv.texts.table.reset(VLIBCSzHashAlloc(256));
    return priv.texts.table.get();
}

// Fills the text table from the sections: "section:key" for every text,
// and "key" from the first section, in load order, that has it (a key
// holding ':' only in the first form, where a lookup would read it).
bool RebuildTable(VornCgiPrivate& priv)
{
    VLIBSZHASH* table = TableOf(priv);
    if (table == nullptr)
        return false;
    VLIBCHashRemoveAll(table);
    for (const auto& [section, texts] : priv.texts.sections) {
        for (const auto& [key, text] : texts) {
            if (VLIBCSzHashSetValue(table, (section + ":" + key).c_str(), text.c_str()) != 0)
                return false;
            if (key.find(':') == std::string::npos && VLIBCSzHashGetValue(table, key.c_str()) == nullptr &&
                VLIBCSzHashSetValue(table, key.c_str(), text.c_str()) != 0)
                return false;
        }
    }
    return true;
}

void AppendEscape(std::string& out, unsigned code)
{
    char escaped[8];
    snprintf(escaped, sizeof escaped, "\\u%04X", code);
    out += escaped;
}

// Escapes text for a script string literal.
std::string EncodeForScript(const std::string& text)
{
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (strchr("\\\"'<>&\r\n", c) != nullptr && c != '\0') {
            AppendEscape(out, static_cast<unsigned char>(c));
        } else if (c == '\xE2' && i + 2 < text.size() && text[i + 1] == '\x80' &&
                   (text[i + 2] == '\xA8' || text[i + 2] == '\xA9')) {
            AppendEscape(out, text[i + 2] == '\xA8' ? 0x2028 : 0x2029);
            i += 2;
        } else {
            out.push_back(c);
        }
    }
    return out;
}

}  // namespace

extern "C" int VornCgiLoadText(VornCgi* cgi, const char* section, ...)
{
    VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr || section == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    const char* sections[kMaxSections] = {section};
    int count = 1;
    va_list more;
    va_start(more, section);
    for (const char* next; count < kMaxSections && (next = va_arg(more, const char*)) != nullptr;)
        sections[count++] = next;
    va_end(more);
    return vorn::NoThrow(-1, [&] {
        const std::string language = VornCgiGetLang(cgi);
        bool read = false;
        for (int i = 0; i < count; ++i)
            read = LoadSection(*priv, language.c_str(), sections[i]) || read;
        if (!RebuildTable(*priv)) {
            VLIBCErrSet(VLIB_ERR_OUT_OF_MEMORY);
            return -1;
        }
        if (!read) {
            VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
            return -1;
        }
        return 0;
    });
}

extern "C" const char* VornCgiGetText(VornCgi* cgi, const char* key, const char* defaultValue)
{
    const VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr || key == nullptr)
        return defaultValue;
    const char* text = VLIBCSzHashGetValue(priv->texts.table.get(), key);
    return text != nullptr ? text : defaultValue;
}

extern "C" VLIBSZHASH* VornCgiGetTextTable(VornCgi* cgi)
{
    VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    return priv != nullptr ? vorn::NoThrow<VLIBSZHASH*>(nullptr, [&] { return TableOf(*priv); }) : nullptr;
}

extern "C" const char* VornCgiGetEncodeText(VornCgi* cgi, const char* key, const char* defaultValue)
{
    VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    const char* text = VornCgiGetText(cgi, key, defaultValue);
    if (priv == nullptr || text == nullptr)
        return text;
    return vorn::NoThrow(defaultValue, [&] { return vorn::KeepText(*priv, EncodeForScript(text)); });
}
