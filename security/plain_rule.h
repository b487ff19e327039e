// The policy text of a rule file in the plain form that the rule store
// writes, without building a JSON value: an ordinary request reads one rule
// file, and the general JSON reader is the larger part of its cost.
#ifndef ARX_SECURITY_PLAIN_RULE_H
#define ARX_SECURITY_PLAIN_RULE_H

#include <string>
#include <string_view>

namespace arx::security {

// The policy text of text when it is one JSON object whose members are
// arrays of strings, with no comments, no "\u" escapes, no control
// characters in strings, no trailing commas and no repeated names: each
// directive with sources as "name source source;", directives in byte
// order of their names, each followed by a space.  false for any other
// text, which the caller then gives to the JSON reader.  The header is
// only written on success.
bool RenderPlainRule(std::string_view text, std::string& header);

}  // namespace arx::security

#endif
