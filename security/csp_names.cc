// The exported names of the CSP rule store, built when the library is
// loaded, and the two fixed sets of directives.

#include "csp_names.h"

#include <arx/csp_rule.h>

namespace VORN {
namespace ARX {

const std::string STYLE_SRC = arx::csp::STYLE_SRC;
const std::string SCRIPT_SRC = arx::csp::SCRIPT_SRC;
const std::string CONNECT_SRC = arx::csp::CONNECT_SRC;
const std::string IMG_SRC = arx::csp::IMG_SRC;
const std::string BASE_URI = arx::csp::BASE_URI;
const std::string FORM_ACTION = arx::csp::FORM_ACTION;
const std::string FONT_SRC = arx::csp::FONT_SRC;
const std::string FRAME_ANCESTORS = arx::csp::FRAME_ANCESTORS;
const std::string FRAME_SRC = arx::csp::FRAME_SRC;
const std::string CHILD_SRC = arx::csp::CHILD_SRC;
const std::string OBJECT_SRC = arx::csp::OBJECT_SRC;
const std::string RULE = arx::csp::RULE;
const std::string RULE_STANDALONE = arx::csp::RULE_STANDALONE;
const std::string JSID = arx::csp::JSID;
const std::string WILDCARD = arx::csp::WILDCARD;

}  // namespace ARX
}  // namespace VORN

namespace arx::csp {

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

}  // namespace arx::csp
