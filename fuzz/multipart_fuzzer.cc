// The multipart reader fed in pieces the fuzzer chooses: the first eight
// bytes give the sizes of the pieces (in turn, again and again), the rest
// is the body.  Whatever the pieces, the parts and the result must be the
// ones of the body read whole, and the client's file name never keeps a
// separator.

#include <stdint.h>
#include <stdlib.h>

#include <string>

#include "cgi/request/multipart_reader.h"

namespace {

class Transcript : public vorn::MultipartSink {
public:
    std::string text;
    int OnPartBegin(const vorn::PartHeaders& headers) override
    {
        const std::string kept = vorn::LastPathElement(headers.fileName);
        if (kept.find_first_of("/\\") != std::string::npos || kept == "..")
            abort();
        text += "<" + headers.name + "|" + headers.fileName + "|" + headers.contentType + ">";
        return 0;
    }
    int OnPartData(const char* data, size_t size) override
    {
        text.append(data, size);
        return 0;
    }
    int OnPartEnd() override
    {
        text += "</>";
        return 0;
    }
};

// One reader for every input: a reader's buffer is large, and making one
// takes longer than reading a fuzzer's input.
Transcript g_transcript;
vorn::MultipartReader g_reader("XyZb", g_transcript);

int Read(const uint8_t* sizes, const char* body, size_t size, std::string& parts)
{
    Transcript& transcript = g_transcript;
    vorn::MultipartReader& reader = g_reader;
    transcript.text.clear();
    reader.Reset();
    int result = vorn::MultipartReader::kNeedInput;
    for (size_t at = 0, turn = 0; at < size && result == vorn::MultipartReader::kNeedInput; ++turn) {
        const size_t piece = sizes == nullptr ? size : static_cast<size_t>(sizes[turn % 8]) + 1;
        const size_t taken = piece < size - at ? piece : size - at;
        result = reader.Feed(body + at, taken);
        at += taken;
    }
    if (result == vorn::MultipartReader::kNeedInput)
        result = reader.Finish();
    parts = transcript.text;
    return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 8)
        return 0;
    const char* body = reinterpret_cast<const char*>(data + 8);
    std::string whole;
    std::string pieces;
    if (Read(nullptr, body, size - 8, whole) != Read(data, body, size - 8, pieces) || whole != pieces)
        abort();
    std::string boundary;
    vorn::BoundaryOf(std::string(body, size - 8).c_str(), boundary);
    return 0;
}
