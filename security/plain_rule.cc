#include "security/plain_rule.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "base/json_cursor.h"

namespace arx::security {

namespace {

using Directive = std::pair<std::string, std::vector<std::string>>;

// Arrays of strings without "\u" escapes; an empty array is one.
bool ReadStrings(base::JsonCursor& reader, std::vector<std::string>& out)
{
    if (!reader.Take('['))
        return false;
    if (reader.Take(']'))
        return true;
    do {
        out.emplace_back();
        if (!reader.String(out.back(), base::JsonCursor::Escapes::kNoUnicode))
            return false;
    } while (reader.Take(','));
    return reader.Take(']');
}

bool ReadDirectives(std::string_view text, std::vector<Directive>& directives)
{
    base::JsonCursor reader(text);
    if (!reader.Take('{'))
        return false;
    if (!reader.Take('}')) {
        do {
            directives.emplace_back();
            Directive& directive = directives.back();
            if (!reader.String(directive.first, base::JsonCursor::Escapes::kNoUnicode) || !reader.Take(':') ||
                !ReadStrings(reader, directive.second))
                return false;
        } while (reader.Take(','));
        if (!reader.Take('}'))
            return false;
    }
    return reader.AtEnd();
}

}  // namespace

bool RenderPlainRule(std::string_view text, std::string& header)
{
    std::vector<Directive> directives;
    if (!ReadDirectives(text, directives))
        return false;
    std::sort(directives.begin(), directives.end(),
              [](const Directive& a, const Directive& b) { return a.first < b.first; });
    // The JSON reader keeps the last of repeated names; leave that to it.
    const auto repeated = std::adjacent_find(directives.begin(), directives.end(),
                                             [](const Directive& a, const Directive& b) { return a.first == b.first; });
    if (repeated != directives.end())
        return false;
    std::string policy;
    for (const Directive& directive : directives) {
        if (!directive.second.empty()) {
            policy += directive.first;
            for (const std::string& source : directive.second) {
                policy.push_back(' ');
                policy += source;
            }
            policy.push_back(';');
        }
        policy.push_back(' ');
    }
    header.swap(policy);
    return true;
}

}  // namespace arx::security
