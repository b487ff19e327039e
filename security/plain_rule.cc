#include "plain_rule.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace arx::security {

namespace {

using Directive = std::pair<std::string, std::vector<std::string>>;

// A cursor over the rule text; every reader returns false on anything
// outside the plain form.
class PlainReader {
public:
    explicit PlainReader(std::string_view text) : text_(text) {}

    void SkipSpaces()
    {
        while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\t' || text_[at_] == '\n' || text_[at_] == '\r'))
            ++at_;
    }

    bool Take(char c)
    {
        SkipSpaces();
        if (at_ < text_.size() && text_[at_] == c) {
            ++at_;
            return true;
        }
        return false;
    }

    bool AtEnd()
    {
        SkipSpaces();
        return at_ == text_.size();
    }

    bool String(std::string& out)
    {
        if (!Take('"'))
            return false;
        out.clear();
        while (at_ < text_.size()) {
            const char c = text_[at_++];
            if (c == '"')
                return true;
            if (static_cast<unsigned char>(c) < 0x20)
                return false;
            if (c != '\\') {
                out.push_back(c);
                continue;
            }
            if (at_ == text_.size())
                return false;
            const char escaped = Unescape(text_[at_++]);
            if (escaped == 0)
                return false;
            out.push_back(escaped);
        }
        return false;
    }

    // Arrays of strings; an empty array is one.
    bool Strings(std::vector<std::string>& out)
    {
        if (!Take('['))
            return false;
        if (Take(']'))
            return true;
        do {
            out.emplace_back();
            if (!String(out.back()))
                return false;
        } while (Take(','));
        return Take(']');
    }

private:
    // The character of a one-letter escape; 0 for "\u" and invalid ones.
    static char Unescape(char c)
    {
        switch (c) {
        case '"': return '"';
        case '\\': return '\\';
        case '/': return '/';
        case 'b': return '\b';
        case 'f': return '\f';
        case 'n': return '\n';
        case 'r': return '\r';
        case 't': return '\t';
        default: return 0;
        }
    }

    std::string_view text_;
    size_t at_ = 0;
};

bool ReadDirectives(std::string_view text, std::vector<Directive>& directives)
{
    PlainReader reader(text);
    if (!reader.Take('{'))
        return false;
    if (!reader.Take('}')) {
        do {
            directives.emplace_back();
            Directive& directive = directives.back();
            if (!reader.String(directive.first) || !reader.Take(':') || !reader.Strings(directive.second))
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
