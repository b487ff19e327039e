// Request paths and new names from clients: the text checks of the file
// programs never crash, and what they accept can name nothing outside a
// share ("..", ".", "//"), holds no control character and no byte that
// cannot stand in UTF-8, and keeps to the lengths; the element and
// file-name checks agree with them; the order of names is antisymmetric.

#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <string>
#include <string_view>

#include <arx/webman_file_share.h>
#include <vorn/unicode.h>

namespace {

// Bytes that never occur in UTF-8, and controls.
bool HasForbiddenByte(std::string_view text)
{
    for (const char c : text) {
        const unsigned char u = static_cast<unsigned char>(c);
        if (u < 0x20 || u == 0x7f || u == 0xc0 || u == 0xc1 || u >= 0xf5)
            return true;
    }
    return false;
}

void CheckAcceptedPath(std::string_view path)
{
    if (path.empty() || path[0] != '/' || path.size() > 4095 || HasForbiddenByte(path))
        abort();
    std::string_view rest = path.substr(1);
    if (!rest.empty() && rest.back() == '/')
        rest.remove_suffix(1);
    while (!rest.empty()) {
        const size_t slash = rest.find('/');
        const std::string_view element = rest.substr(0, slash);
        if (element.empty() || element == "." || element == ".." || element.size() > 255)
            abort();
        rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash + 1);
    }
}

void CheckAcceptedName(std::string_view name)
{
    if (name.empty() || name.size() > 255 || name == "." || name == ".." ||
        name.find('/') != std::string_view::npos || HasForbiddenByte(name))
        abort();
}

int Sign(int value)
{
    return (value > 0) - (value < 0);
}

// A directory on the relaxed file system of the machine, for the file
// system's rules; removed when the process ends.
struct ScratchDirectory {
    std::string path;
    ScratchDirectory()
    {
        char pattern[] = "/tmp/arx-fuzz-names.XXXXXX";
        const char* made = mkdtemp(pattern);
        path = made != nullptr ? made : "/tmp";
    }
    ~ScratchDirectory()
    {
        if (path != "/tmp")
            rmdir(path.c_str());
    }
};

std::string& Directory()
{
    static ScratchDirectory dir;
    return dir.path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string input(reinterpret_cast<const char*>(data), size);
    const char* text = input.c_str();  // what a C string of it holds: up to a NUL
    static WebmanFileShare fs;

    if (fs.WfmCheckRequestPath(text) == 0)
        CheckAcceptedPath(text);
    if (fs.WfmCheckNewName(text) == 0)
        CheckAcceptedName(text);

    for (const BOOL first : {true, false}) {
        char* token = fs.WfmLibGetTokOfPath(text, first);
        if (token != nullptr && (token[0] == '\0' || strchr(token, '/') != nullptr))
            abort();
        free(token);
    }

    const bool reserved = !fs.WfmCheckReservedName(text);
    if (text[0] != '\0' && (strncmp(text, "._", 2) == 0 || strcmp(text, ".") == 0 || strcmp(text, "..") == 0) &&
        !reserved)
        abort();
    if (fs.WfmCheckFileName(&Directory()[0], text) == 0 &&
        (reserved || text[0] == '\0' || strpbrk(text, ":/") != nullptr))
        abort();

    const size_t half = input.size() / 2;
    const std::string a = input.substr(0, half).c_str();
    const std::string b = input.substr(half).c_str();
    if (VLIBCUnicodeUTF8StrCaseCmp(a.c_str(), a.c_str()) != 0 ||
        Sign(VLIBCUnicodeUTF8StrCaseCmp(a.c_str(), b.c_str())) != -Sign(VLIBCUnicodeUTF8StrCaseCmp(b.c_str(), a.c_str())))
        abort();
    return 0;
}
