// The multipart reader: the same bodies in every chunking give the same
// parts and the same result.

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vorn/upload.h>

#include "cgi/request/multipart_reader.h"

namespace {

using namespace std::string_literals;
using vorn::MultipartReader;
using vorn::PartHeaders;

// Writes the parts as "<name|filename>data</>", "<name>" for a field.
class Transcript : public vorn::MultipartSink {
public:
    std::string text;
    int OnPartBegin(const PartHeaders& headers) override
    {
        text += "<" + headers.name + (headers.hasFileName ? "|" + headers.fileName : "") +
                (headers.contentType.empty() ? "" : ";" + headers.contentType) + ">";
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

struct Outcome {
    std::string parts;
    int result;
};

Outcome Read(const std::string& body, size_t chunk)
{
    Transcript transcript;
    MultipartReader reader("XyZb", transcript);
    int result = MultipartReader::kNeedInput;
    for (size_t at = 0; at < body.size() && result == MultipartReader::kNeedInput; at += chunk)
        result = reader.Feed(body.data() + at, std::min(chunk, body.size() - at));
    if (result == MultipartReader::kNeedInput)
        result = reader.Finish();
    return {transcript.text, result};
}

const std::string kDisposition = "Content-Disposition: form-data; ";

TEST(MultipartReaderTest, SameBodiesInEveryChunking)
{
    const int kDone = MultipartReader::kDone;
    struct Row {
        const char* description;
        std::string body;
        std::string parts;
        int result;
    };
    const std::string longHeader = "Content-Type: " + std::string(VORN_UPLOAD_MAX_HEADER_SIZE, 'a') + "\r\n";
    const Row rows[] = {
        {"CRLF body, a field and a file", "--XyZb\r\n" + kDisposition + "name=\"a\"\r\n\r\nvalue\r\n--XyZb\r\n" +
             kDisposition + "name=\"f\"; filename=\"x.txt\"\r\nContent-Type: text/plain\r\n\r\nline1\r\nline2\r\n--XyZb--\r\n",
         "<a>value</><f|x.txt;text/plain>line1\r\nline2</>", kDone},
        {"bare LF body", "--XyZb\n" + kDisposition + "name=a\n\nv\n--XyZb\n" + kDisposition +
                             "name=f; filename=y\n\nl1\nl2\n--XyZb--\n",
         "<a>v</><f|y>l1\nl2</>", kDone},
        {"unquoted and quoted parameters, escapes, odd blanks and case",
         "--XyZb\r\ncontent-DISPOSITION:form-data;NAME = a ;filename= \"a\\\"b\\\\c\\d.txt\"\r\n\r\n\r\n--XyZb--",
         "<a|a\"b\\c\\d.txt></>", kDone},
        {"a file part with no file name, an empty file",
         "--XyZb\r\n" + kDisposition + "name=\"f\"; filename=\"\"\r\n\r\n\r\n--XyZb\r\n" + kDisposition +
             "name=\"g\"; filename=\"e\"\r\n\r\n\r\n--XyZb--\r\n",
         "<f|></><g|e></>", kDone},
        {"preamble, transport padding, epilogue",
         "preamble\r\n--XyZb \t\r\n" + kDisposition + "name=\"a\"\r\n\r\nv\r\n--XyZb--\r\nepilogue --XyZb\r\n",
         "<a>v</>", kDone},
        {"near delimiters and CRs in the data stay data",
         "--XyZb\r\n" + kDisposition + "name=\"f\"; filename=\"n\"\r\n\r\n\r\r\n--XyZ\r\n-XyZb\r\r\n--XyZb--",
         "<f|n>\r\r\n--XyZ\r\n-XyZb\r</>", kDone},
        {"a folded header line", "--XyZb\r\n" + kDisposition + "name=\"a\";\r\n filename=\"w\"\r\n\r\nv\r\n--XyZb--",
         "<a|w>v</>", kDone},
        {"missing final boundary", "--XyZb\r\n" + kDisposition + "name=\"a\"\r\n\r\nvalue\r\n",
         "<a>", VORN_UPLOAD_MALFORMED},
        {"no delimiter at all", "just text", "", VORN_UPLOAD_MALFORMED},
        {"a part without a name", "--XyZb\r\n" + kDisposition + "filename=\"x\"\r\n\r\nv\r\n--XyZb--", "",
         VORN_UPLOAD_MALFORMED},
        {"a part without Content-Disposition", "--XyZb\r\nContent-Type: text/plain\r\n\r\nv\r\n--XyZb--", "",
         VORN_UPLOAD_MALFORMED},
        {"an unclosed quote", "--XyZb\r\n" + kDisposition + "name=\"a\r\n\r\nv\r\n--XyZb--", "",
         VORN_UPLOAD_MALFORMED},
        {"a header line without a colon", "--XyZb\r\nnonsense\r\n\r\nv\r\n--XyZb--", "", VORN_UPLOAD_MALFORMED},
        {"a NUL in the part's headers", "--XyZb\r\n" + kDisposition + "name=\"a\"; filename=\"x\0y\"\r\n\r\n--XyZb--"s,
         "", VORN_UPLOAD_MALFORMED},
        {"junk after a delimiter", "--XyZb\r\n" + kDisposition + "name=\"a\"\r\n\r\nv\r\n--XyZbjunk\r\n", "<a>v</>",
         VORN_UPLOAD_MALFORMED},
        {"a part's headers over the limit", "--XyZb\r\n" + kDisposition + "name=\"a\"\r\n" + longHeader + "\r\nv",
         "", VORN_UPLOAD_OVER_LIMIT},
    };
    for (const Row& row : rows) {
        for (const size_t chunk : {size_t{1}, size_t{2}, size_t{7}, size_t{13}, size_t{64}, row.body.size()}) {
            const Outcome outcome = Read(row.body, chunk);
            EXPECT_EQ(outcome.parts, row.parts) << row.description << ", in pieces of " << chunk;
            EXPECT_EQ(outcome.result, row.result) << row.description << ", in pieces of " << chunk;
        }
    }
}

// Keeps what it is given where the reader put it, as a sink that writes
// later does, and checks that it is still there when the reader reuses it.
class LateSink : public Transcript {
public:
    struct Held {
        const char* data;
        std::string copy;
    };
    std::vector<Held> held;
    int overwritten = 0;
    int OnPartData(const char* data, size_t size) override
    {
        held.push_back({data, std::string(data, size)});
        return Transcript::OnPartData(data, size);
    }
    void BeforeReuse(const char* region, size_t size) override
    {
        std::vector<Held> kept;
        for (const Held& piece : held) {
            if (piece.data < region + size && region < piece.data + piece.copy.size())
                overwritten += std::string(piece.data, piece.copy.size()) != piece.copy;
            else
                kept.push_back(piece);
        }
        held.swap(kept);
    }
};

TEST(MultipartReaderTest, DataPassedOnStaysUntilItsBufferIsReused)
{
    // Delimiters just before, across and just after the ends of reads.
    std::string body;
    std::string parts;
    for (const long shift : {-40L, -3L, 0L, 1L, 2L, 5000L}) {
        const std::string head = "--XyZb\r\n" + kDisposition + "name=\"f\"; filename=\"n\"\r\n\r\n";
        const long room = static_cast<long>(MultipartReader::kReadSize) -
                          static_cast<long>((body.size() + head.size()) % MultipartReader::kReadSize);
        std::string data(static_cast<size_t>(room + shift + static_cast<long>(MultipartReader::kReadSize)), 'd');
        for (size_t i = 0; i < data.size(); i += 997)
            data[i] = static_cast<char>('a' + i % 26);
        body += head + data + "\r\n";
        parts += "<f|n>" + data + "</>";
    }
    body += "--XyZb--\r\n";
    for (const size_t piece : {MultipartReader::kReadSize, size_t{100003}}) {
        LateSink sink;
        MultipartReader reader("XyZb", sink);
        int result = MultipartReader::kNeedInput;
        for (size_t at = 0; at < body.size() && result == MultipartReader::kNeedInput;) {
            size_t room;
            char* space = reader.Space(room);
            const size_t taken = std::min({room, piece, body.size() - at});
            body.copy(space, taken, at);
            at += taken;
            result = reader.Commit(taken);
        }
        EXPECT_EQ(result, MultipartReader::kDone) << "pieces of " << piece;
        EXPECT_TRUE(sink.text == parts) << "pieces of " << piece;
        for (const LateSink::Held& held : sink.held)  // not reused yet
            sink.overwritten += std::string(held.data, held.copy.size()) != held.copy;
        EXPECT_EQ(sink.overwritten, 0) << "pieces of " << piece;
    }
}

TEST(MultipartReaderTest, BoundariesAndClientFileNames)
{
    struct Row { const char* contentType; const char* boundary; };
    const Row types[] = {
        {"multipart/form-data; boundary=----WebKitFormBoundary7MA4", "----WebKitFormBoundary7MA4"},
        {"Multipart/Form-Data;boundary=\"a b:c\"; charset=utf-8", "a b:c"},
        {"multipart/form-data", nullptr},
        {"multipart/mixed; boundary=x", nullptr},
        {"multipart/form-data; boundary=\"\"", nullptr},
        {"multipart/form-data; boundary=\"a\rb\"", nullptr},
    };
    for (const Row& row : types) {
        std::string boundary;
        EXPECT_EQ(vorn::BoundaryOf(row.contentType, boundary), row.boundary != nullptr) << row.contentType;
        EXPECT_EQ(boundary, row.boundary != nullptr ? row.boundary : "") << row.contentType;
    }
    std::string boundary;
    EXPECT_FALSE(vorn::BoundaryOf(("multipart/form-data; boundary=" + std::string(71, 'b')).c_str(), boundary));

    const std::vector<std::pair<std::string, std::string>> names = {
        {"photo.jpg", "photo.jpg"},   {"../../etc/passwd", "passwd"}, {"C:\\Users\\a\\b.txt", "b.txt"},
        {"dir/..", ""},               {".", ""},                      {"a/", ""},
    };
    for (const auto& [sent, kept] : names)
        EXPECT_EQ(vorn::LastPathElement(sent), kept) << sent;
}

}  // namespace
