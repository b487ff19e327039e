// The exported names of the CSP rule store and the two fixed sets, built
// when the library is loaded.  The sets are defined after the names in this
// one file, so they are built from names that already exist.

#include "csp_names.h"

namespace VORN {
namespace ARX {

const std::string STYLE_SRC = "style-src";
const std::string SCRIPT_SRC = "script-src";
const std::string CONNECT_SRC = "connect-src";
const std::string IMG_SRC = "img-src";
const std::string BASE_URI = "base-uri";
const std::string FORM_ACTION = "form-action";
const std::string FONT_SRC = "font-src";
const std::string FRAME_ANCESTORS = "frame-ancestors";
const std::string FRAME_SRC = "frame-src";
const std::string CHILD_SRC = "child-src";
const std::string OBJECT_SRC = "object-src";
const std::string RULE = "rule";
const std::string RULE_STANDALONE = "rule-standalone";
const std::string JSID = "jsid";
const std::string WILDCARD = "wildcard";
const std::string MEDIA_SRC = "media-src";

namespace {

const std::set<std::string> g_knownDirectives = {
    STYLE_SRC, SCRIPT_SRC, CONNECT_SRC, IMG_SRC,   BASE_URI,   FORM_ACTION,
    FONT_SRC,  FRAME_ANCESTORS, FRAME_SRC, CHILD_SRC, OBJECT_SRC, MEDIA_SRC,
};

// Opening script-src to "*" would let any host run code in the page.
const std::set<std::string> g_noWildcardDirectives = {SCRIPT_SRC};

}  // namespace

const std::set<std::string>& KnownDirectives()
{
    return g_knownDirectives;
}

const std::set<std::string>& NoWildcardDirectives()
{
    return g_noWildcardDirectives;
}

}  // namespace ARX
}  // namespace VORN
