// The UI language of a request.

#include "cgi/session/language.h"

#include <stdlib.h>
#include <strings.h>

#include <algorithm>
#include <vector>

#include <vorn/err.h>
#include <vorn/session.h>

#include "cgi/cgi_private.h"
#include "cgi/session/request_session.h"
#include "lib/core/no_throw.h"

namespace vorn {

namespace {

struct LanguageTag {
    const char* tag;  // a language tag or its primary subtag, lower case
    const char* code;
};

// Full tags first: they win over their primary subtag.
constexpr LanguageTag kTags[] = {
    {"zh-tw", "cht"}, {"zh-hk", "cht"}, {"zh-mo", "cht"}, {"zh-hant", "cht"}, {"zh-cn", "chs"},
    {"zh-sg", "chs"}, {"zh-hans", "chs"}, {"pt-br", "ptb"}, {"en", "enu"},     {"de", "ger"},
    {"fr", "fre"},    {"it", "ita"},    {"es", "spn"},    {"ja", "jpn"},      {"zh", "chs"},
    {"ko", "krn"},    {"cs", "csy"},    {"da", "dan"},    {"nl", "nld"},      {"nb", "nor"},
    {"nn", "nor"},    {"no", "nor"},    {"pl", "plk"},    {"pt", "ptg"},      {"ru", "rus"},
    {"sv", "sve"},    {"tr", "trk"},    {"hu", "hun"},    {"th", "tha"},
};

std::string Lower(std::string_view text)
{
    std::string lower(text);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
        if (c == '_')
            c = '-';
    }
    return lower;
}

std::string_view Trim(std::string_view text)
{
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.remove_suffix(1);
    return text;
}

// The code of a language tag: the longest table entry that is the tag or a
// prefix of it ending at a '-'.
const char* CodeOfTag(const std::string& tag)
{
    const char* best = nullptr;
    size_t bestLength = 0;
    for (const LanguageTag& entry : kTags) {
        const std::string_view candidate(entry.tag);
        if (tag.compare(0, candidate.size(), candidate) == 0 &&
            (tag.size() == candidate.size() || tag[candidate.size()] == '-') && candidate.size() > bestLength) {
            best = entry.code;
            bestLength = candidate.size();
        }
    }
    return best;
}

// The q-value of a range's parameters ("q=0.8"); 1 when absent, -1 when
// malformed.
double Quality(std::string_view parameters)
{
    while (!parameters.empty()) {
        const size_t semicolon = parameters.find(';');
        const std::string_view parameter = Trim(parameters.substr(0, semicolon));
        parameters.remove_prefix(semicolon == std::string_view::npos ? parameters.size() : semicolon + 1);
        if (parameter.size() < 2 || (parameter[0] != 'q' && parameter[0] != 'Q') || parameter[1] != '=')
            continue;
        const std::string value(parameter.substr(2));
        char* end = nullptr;
        const double q = strtod(value.c_str(), &end);
        return end != value.c_str() && *end == '\0' && q >= 0 && q <= 1 ? q : -1;
    }
    return 1;
}

}  // namespace

bool IsSupportedLanguage(std::string_view code)
{
    for (const LanguageTag& entry : kTags) {
        if (code == entry.code)
            return true;
    }
    return false;
}

std::string LanguageFromAcceptLanguage(std::string_view header)
{
    struct Wanted {
        const char* code;
        double quality;
    };
    std::vector<Wanted> wanted;
    while (!header.empty()) {
        const size_t comma = header.find(',');
        const std::string_view range = Trim(header.substr(0, comma));
        header.remove_prefix(comma == std::string_view::npos ? header.size() : comma + 1);
        const size_t semicolon = range.find(';');
        const double quality =
            semicolon == std::string_view::npos ? 1 : Quality(range.substr(semicolon + 1));
        const char* code = CodeOfTag(Lower(Trim(range.substr(0, semicolon))));
        if (code != nullptr && quality > 0)
            wanted.push_back({code, quality});
    }
    std::stable_sort(wanted.begin(), wanted.end(),
                     [](const Wanted& a, const Wanted& b) { return a.quality > b.quality; });
    return wanted.empty() ? "" : wanted.front().code;
}

}  // namespace vorn

extern "C" const char* VornCgiGetLang(VornCgi* cgi)
{
    VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr)
        return "enu";
    return vorn::NoThrow<const char*>("enu", [&]() -> const char* {
        if (!priv->session.language.empty())
            return priv->session.language.c_str();
        const vorn::Session* session = vorn::RequestSession(*priv);
        if (session != nullptr && vorn::IsSupportedLanguage(session->language)) {
            priv->session.language = session->language;
            return priv->session.language.c_str();
        }
        const char* accept = getenv("HTTP_ACCEPT_LANGUAGE");
        priv->session.language = accept != nullptr ? vorn::LanguageFromAcceptLanguage(accept) : "";
        // The language names a directory of texts: only known codes go there.
        const std::string& configured = vorn::SettingsOf(*priv).language;
        if (priv->session.language.empty())
            priv->session.language = vorn::IsSupportedLanguage(configured) ? configured : "enu";
        return priv->session.language.c_str();
    });
}
