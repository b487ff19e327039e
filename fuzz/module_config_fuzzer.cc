// A module's config as a package writes it: whatever the text, the scan's
// reader refuses it or registers it without crashing, the brief texts'
// walk of what it registered ends, and the documents it produced come back
// equal from the cache's compact form.

#include <stdint.h>
#include <stdlib.h>

#include <memory>
#include <string>

#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>
#include <vorn/log.h>

#include <arx/js_config_parser.h>

#include "jsconfig/js_config_parser_private.h"
#include "jsconfig/module_config.h"
#include "testing/temp_root.h"
#include "webutils/json_text.h"

namespace {

void Quiet(int, const char*, void*)
{ }

arx_testing::TempRoot* root = nullptr;

void RemoveRoot()
{
    delete root;
}

// A root with one module directory whose script files exist, for the run.
void Setup()
{
    if (root != nullptr)
        return;
    VLIBCLogSetSink(Quiet, nullptr);
    root = new arx_testing::TempRoot;
    atexit(RemoveRoot);
    root->WriteFile("/usr/vorn/vornman/webman/modules/Fuzz/app.js", "");
    root->WriteFile("/usr/vorn/vornman/webman/modules/Fuzz/texts/enu/strings", "[app]\ntitle=Fuzz\n[m]\na=b\n");
}

void RoundTrip(const Json::Value& document)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    Json::Value back;
    if (!arx::webutils::JsonFromText(back, Json::writeString(builder, document)) || !(back == document))
        abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Setup();
    const std::string text(reinterpret_cast<const char*>(data), size);
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value config;
    std::string errors;
    if (!arx::jsconfig::ParseModuleConfig(text, *reader, config, errors))
        return 0;
    VORN::PAD::GetPackageVersion(config);

    VORN::PAD::JSConfigParserPrivate parser("enu", false, false);
    Json::Value appEntry;
    Json::Value standaloneEntry;
    parser.RegisterJS("webman/modules/Fuzz", config, appEntry, standaloneEntry);
    VORN::PAD::JSConfigParserPrivate::LoadStandaloneCssInARX(standaloneEntry);
    Json::Value brief;
    parser.ParseBriefTexts("vornman", brief);
    parser.ParseTexts("vornman");
    for (const std::string& id : parser.appConfig.getMemberNames()) {
        Json::Value one;
        parser.ParseModuleTexts(parser.appConfig[id], one);
    }
    RoundTrip(parser.jsConfigs);
    RoundTrip(parser.appConfig);
    RoundTrip(parser.grantableApps);
    RoundTrip(parser.texts);
    RoundTrip(brief);
    return 0;
}
