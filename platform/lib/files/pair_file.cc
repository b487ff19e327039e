// Key-value files read whole into a string hash.  The files this reads are
// often a package's (add-on descriptions): they are bounded, and anything
// that is not text refuses the whole file rather than giving part of it.

#include <errno.h>

#include <string>

#include <vorn/err.h>
#include <vorn/file.h>
#include <vorn/hash.h>

#include "base/file_read.h"
#include "base/text.h"
#include "lib/core/no_throw.h"
#include "lib/files/keyvalue_format.h"

namespace {

// Whether a line may stand in a key-value file: not longer than the
// longest, no control character but a tab (a trailing CR is a line end).
bool IsTextLine(std::string_view line)
{
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    if (line.size() > VLIB_PAIR_LONGEST_LINE)
        return false;
    for (const char c : line) {
        const unsigned char byte = static_cast<unsigned char>(c);
        if ((byte < 0x20 && byte != '\t') || byte == 0x7f)
            return false;
    }
    return true;
}

}  // namespace

extern "C" int VLIBCFileGetPair(const char* file, VLIBSZHASH* hash)
{
    if (file == nullptr || hash == nullptr) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return -1;
    }
    return vorn::NoThrow(-1, [&] {
        std::string content;
        struct stat st;
        if (!base::ReadWholeFile(file, content, &st)) {
            VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
            return -1;
        }
        if (content.size() > VLIB_PAIR_LARGEST_FILE) {
            VLIBCErrSet(VLIB_ERR_FORMAT);
            return -1;
        }
        if (content.compare(0, 3, "\xEF\xBB\xBF") == 0)
            content.erase(0, 3);
        bool text = true;
        base::ForEachLine(content, [&](std::string_view line) {
            text = IsTextLine(line);
            return text;
        });
        if (!text) {
            VLIBCErrSet(VLIB_ERR_FORMAT);
            return -1;
        }
        int stored = 0;
        bool failed = false;
        base::ForEachLine(content, [&](std::string_view line) {
            vorn::KeyValueLine parsed;
            if (!vorn::ParseKeyValueLine(line, parsed) || parsed.key.empty())
                return true;
            failed = VLIBCSzHashSetValue(hash, std::string(parsed.key).c_str(), std::string(parsed.value).c_str()) != 0;
            ++stored;
            return !failed;
        });
        return failed ? -1 : stored;
    });
}
