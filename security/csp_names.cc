// The exported names of the CSP rule store, built when the library is
// loaded, and the two fixed sets of directives.

#include "security/csp_names.h"

#include <arx/csp_rule.h>

namespace VORN {
namespace ARX {

const std::string STYLE_SRC = arx::security::STYLE_SRC;
const std::string SCRIPT_SRC = arx::security::SCRIPT_SRC;
const std::string CONNECT_SRC = arx::security::CONNECT_SRC;
const std::string IMG_SRC = arx::security::IMG_SRC;
const std::string BASE_URI = arx::security::BASE_URI;
const std::string FORM_ACTION = arx::security::FORM_ACTION;
const std::string FONT_SRC = arx::security::FONT_SRC;
const std::string FRAME_ANCESTORS = arx::security::FRAME_ANCESTORS;
const std::string FRAME_SRC = arx::security::FRAME_SRC;
const std::string CHILD_SRC = arx::security::CHILD_SRC;
const std::string OBJECT_SRC = arx::security::OBJECT_SRC;
const std::string RULE = arx::security::RULE;
const std::string RULE_STANDALONE = arx::security::RULE_STANDALONE;
const std::string JSID = arx::security::JSID;
const std::string WILDCARD = arx::security::WILDCARD;

}  // namespace ARX
}  // namespace VORN

namespace arx::security {

// Built on first use rather than at load: a request that sends no policy
// pays nothing for them.
const std::set<std::string>& KnownDirectives()
{
    static const std::set<std::string> directives = {
        STYLE_SRC, SCRIPT_SRC, CONNECT_SRC, IMG_SRC,   BASE_URI,   FORM_ACTION,
        FONT_SRC,  FRAME_ANCESTORS, FRAME_SRC, CHILD_SRC, OBJECT_SRC, MEDIA_SRC,
    };
    return directives;
}

const std::set<std::string>& NoWildcardDirectives()
{
    // Opening script-src to "*" would let any host run code in the page.
    static const std::set<std::string> directives = {SCRIPT_SRC};
    return directives;
}

}  // namespace arx::security
