// An add-on package's description files as a package writes them: whatever
// the text, the pair reader refuses it whole or the scan registers both
// entries, each with a text title and URL, and the documents come back
// equal from the cache's compact form.

#include <stdint.h>
#include <stdlib.h>

#include <string>

#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>
#include <vorn/file.h>
#include <vorn/hash.h>
#include <vorn/log.h>

#include <arx/js_config_parser.h>

#include "testing/temp_root.h"

static arx_testing::TempRoot* root = nullptr;
static Json::CharReader* reader = nullptr;
static Json::StreamWriterBuilder compact;  // as the cache's
static const std::string kPackage = "/usr/vorn/vornman/webman/3rdparty/Fuzz";

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    VLIBCLogSetSink([](int, const char*, void*) {}, nullptr);
    setenv("HTTP_HOST", "nas.local:5000", 1);
    root = new arx_testing::TempRoot;
    atexit([] { delete root; });
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    reader = builder.newCharReader();
    compact["indentation"] = "";
    compact["emitUTF8"] = true;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    root->WriteFile(kPackage + "/desktop.cfg", text);
    root->WriteFile(kPackage + "/application.cfg", text);
    VLIBSZHASH* hash = VLIBCSzHashAlloc(16);
    const bool readable = VLIBCFileGetPair(root->Path(kPackage + "/desktop.cfg").c_str(), hash) >= 0;
    VLIBCSzHashFree(hash);

    VORN::PAD::JSConfigParser parser("ger", false);
    parser.ParsePathFromVornman(nullptr);
    const Json::Value& apps = parser.AppConfig();
    if (apps.isObject() != readable || (readable && apps.size() != 2))
        abort();
    for (const char* id : {"VORN.PAD._ThirdParty.App.Fuzz", "VORN.PAD._ThirdParty.Desktop.Fuzz"}) {
        if (readable &&
            (!apps[id]["title"].isString() || !apps[id]["url"].isString() || !apps[id]["allUsers"].isBool()))
            abort();
    }
    const std::string written = Json::writeString(compact, apps);
    Json::Value back;
    if (!reader->parse(written.data(), written.data() + written.size(), &back, nullptr) || back != apps)
        abort();
    return 0;
}
