// desktop.cgi: the web desktop's configuration for the session's language
// (logged-in users, GET).
//
//   GET desktop.cgi?part=version
//       -> {"success": true, "lang": "ger", "version": "STAMP"}
//   GET desktop.cgi?part=config&lang=ger&v=STAMP
//       -> {"success": true, "lang": "ger", "version": "STAMP",
//           "apps": {...}, "jsConfigs": {...}, "css": [...], "grantable": {...}}
//   GET desktop.cgi?part=texts&lang=ger&v=STAMP
//       -> {"success": true, "lang": "ger", "version": "STAMP", "texts": {...}}
//
// A module whose strings have no directory for the language gives its
// English texts.  The version is the stamp of the cache, which changes
// whenever the cache is built again (js-config-cache --clear, after a
// module changed).  A URL that names the current version and the session's
// language always gets the same document: it carries an ETag, and a
// request whose If-None-Match holds that tag is answered "304 Not
// Modified" without reading the cache.  Any other URL is answered with
// the current document and "Cache-control: no-store": the page asks for
// the version first, then for the documents of that version.

#include <stdio.h>

#include <memory>
#include <sstream>
#include <string>

#include <json/json.h>

#include <arx/js_config_parser.h>
#include <arx/webman.h>
#include <arx/webutils.h>

namespace {

using VORN::PAD::JSConfigParser;

enum class Part { kVersion, kConfig, kTexts, kUnknown };

Part PartNamed(const std::string& name)
{
    if (name == "version")
        return Part::kVersion;
    if (name == "config")
        return Part::kConfig;
    if (name == "texts")
        return Part::kTexts;
    return Part::kUnknown;
}

// The documents are large: compact, UTF-8 as it is, and written piece by
// piece from the parser's own documents, never copied into a reply.
class Reply {
public:
    void Add(const char* name, const Json::Value& value)
    {
        out_ << (empty_ ? "{\"" : ",\"") << name << "\":";
        writer_->write(value, &out_);
        empty_ = false;
    }
    void Write()
    {
        out_ << "}\n";
        const std::string text = out_.str();
        fwrite(text.data(), 1, text.size(), stdout);
    }

private:
    static Json::StreamWriter* NewWriter()
    {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        builder["emitUTF8"] = true;
        return builder.newStreamWriter();
    }

    std::ostringstream out_;
    const std::unique_ptr<Json::StreamWriter> writer_ {NewWriter()};
    bool empty_ = true;
};

}  // namespace

int main()
{
    WebMan web(true);
    web.AddSecurityHeaders(nullptr);
    if (!web.IsAuthorized(nullptr, VORN_AUTH_USER, CGI_POSITION_DESKTOP))
        return 0;
    const Part part = PartNamed(web.In("part", "config"));
    if (part == Part::kUnknown) {
        Json::Value reply;
        reply["success"] = false;
        reply["error"] = "part";
        web.AddHeader("Status", "400 Bad Request");
        web.AddHeader("Cache-control", "no-store");
        web.WriteHeader("application/json; charset=\"UTF-8\"");
        web.WriteBody(reply);
        return 0;
    }

    // The session's language names the cache and the strings directories.
    const std::string lang = web.GetUILanguage();
    std::string version = JSConfigParser::GetCacheStamp(nullptr, lang.c_str());
    // Only a URL naming what it gets may be cached: the version and the
    // language are in it.
    const bool stable =
        part != Part::kVersion && !version.empty() && version == web.In("v", "") && lang == web.In("lang", "");
    if (stable && WebUtils::OutputNotModifiedIfMatch(WebUtils::CreateCGIETag()))
        return 0;

    JSConfigParser parser(lang.c_str(), false, true);
    parser.ParsePathFromVornman(nullptr);
    if (version.empty())
        version = JSConfigParser::GetCacheStamp(nullptr, lang.c_str());  // built just now
    Reply reply;
    if (part == Part::kConfig) {
        reply.Add("apps", parser.AppConfig());
        reply.Add("jsConfigs", parser.JSConfigs());
        reply.Add("css", parser.CSSFiles());
        reply.Add("grantable", parser.GrantableApps());
    } else if (part == Part::kTexts) {
        reply.Add("texts", parser.ModuleTexts());
    }
    reply.Add("lang", lang);
    reply.Add("success", true);
    reply.Add("version", version);

    const std::string etag = stable ? WebUtils::CreateCGIETag() : "";
    if (!etag.empty()) {
        // Revalidated on every use: a private document, cached by the
        // browser that asked for it only.
        web.AddHeader("ETag", etag.c_str());
        web.AddHeader("Cache-control", "private, no-cache");
    } else {
        web.AddHeader("Cache-control", "no-store");
    }
    web.WriteHeader("application/json; charset=\"UTF-8\"");
    reply.Write();
    return 0;
}
