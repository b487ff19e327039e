// A module's config as a package writes it: whatever the text, the scan's
// reader refuses it or registers it without crashing, the walks of what it
// registered (the package version, the brief texts) end, and the documents
// it produced come back equal from the cache's compact form.

#include <stdint.h>
#include <stdlib.h>

#include <string>

#include <json/value.h>
#include <json/writer.h>
#include <vorn/log.h>

#include <arx/js_config_parser.h>

#include "jsconfig/js_config_parser_private.h"
#include "jsconfig/module_config.h"
#include "testing/temp_root.h"
#include "webutils/json_text.h"

static arx_testing::TempRoot* root = nullptr;
static base::JsonReader reader(false, &arx::jsconfig::ModuleConfigNames(), arx::jsconfig::kModuleConfigBounds);  // as the scan's
static Json::StreamWriterBuilder compact;  // as the cache's

// A quiet log and, for the whole run, a root with one module whose script
// file is there.
extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    VLIBCLogSetSink([](int, const char*, void*) {}, nullptr);
    root = new arx_testing::TempRoot;
    atexit([] { delete root; });
    root->WriteFile("/usr/vorn/vornman/webman/modules/Fuzz/app.js", "");
    compact["indentation"] = "";
    compact["emitUTF8"] = true;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Json::Value config, brief, back;
    std::string errors;
    if (!arx::jsconfig::ParseModuleConfig(std::string_view(reinterpret_cast<const char*>(data), size), reader, config,
                                          errors))
        return 0;
    VORN::PAD::GetPackageVersion(config);
    VORN::PAD::JSConfigParserPrivate parser("enu", false, false);
    parser.RegisterJS("webman/modules/Fuzz", config);
    parser.ParseBriefTexts("vornman", brief);
    for (const Json::Value* document : {&parser.jsConfigs, &parser.appConfig, &parser.grantableApps, &brief})
        if (!arx::webutils::JsonFromText(back, Json::writeString(compact, *document)) || back != *document)
            abort();
    return 0;
}
