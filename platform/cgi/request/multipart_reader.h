// The streaming multipart/form-data reader: bytes in, in pieces of any size;
// parts out, as events to a sink.  It does no input or output itself and
// holds at most its buffer: a part's header lines (up to the header limit)
// and a delimiter's length of data it cannot yet tell from a delimiter.
//
// Lines may end in CRLF or a bare LF, in headers and before delimiters
// alike; a CR directly before a delimiter's LF belongs to the delimiter.
#ifndef VORN_PLATFORM_MULTIPART_READER_H
#define VORN_PLATFORM_MULTIPART_READER_H

#include <stddef.h>
#include <stdlib.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vorn {

struct PartHeaders {
    std::string name;         // the form field's name
    std::string fileName;     // the filename parameter as sent
    bool hasFileName = false; // a filename parameter was present (a file part)
    std::string contentType;
};

// Receives the parts.  A result other than 0 stops the reader: kPause (1)
// from OnPartBegin pauses it at the part's first data byte, a negative one
// fails it with that code.
class MultipartSink {
public:
    virtual ~MultipartSink() = default;
    virtual int OnPartBegin(const PartHeaders& headers) = 0;
    virtual int OnPartData(const char* data, size_t size) = 0;
    virtual int OnPartEnd() = 0;
    // The reader is about to write into region: data passed on from it
    // must be done with (a sink that writes later waits here).
    virtual void BeforeReuse(const char* /*region*/, size_t /*size*/) { }
};

class MultipartReader {
public:
    // Results of Run, Commit and Feed; failures are the negative
    // VORN_UPLOAD_... codes (the reader's own: malformed, over a limit).
    static constexpr int kNeedInput = 0;
    static constexpr int kPause = 1;
    static constexpr int kDone = 2;  // the close delimiter was read

    // Input is best taken in pieces of kReadSize; a buffer holds one
    // piece and what the reader keeps back (a part's header lines, or the
    // bytes that may begin a delimiter, which stay short of a page).  There
    // are two buffers, taken in turn, so that data passed on from one may
    // still be written while the next piece is read into the other.
    static constexpr size_t kReadSize = 131072;
    static constexpr size_t kPage = 4096;
    static constexpr size_t kBufferSize = (kReadSize + 8192 + kPage + 128 + kPage - 1) / kPage * kPage;

    MultipartReader(std::string boundary, MultipartSink& sink);

    // Where the next input goes: room for at least one byte.
    char* Space(size_t& room);
    // Takes size bytes written at Space, then runs.
    int Commit(size_t size);
    // Copies data in and runs, for as long as the sink does not pause.
    int Feed(const char* data, size_t size);
    // Processes what the buffer holds (after a pause).
    int Run();
    // The input ended: kDone when the close delimiter was read, else the
    // body was cut short (malformed).
    int Finish() const;
    // Ready for another body (the fuzz target reads many with one reader).
    void Reset();

private:
    // A step that needs more input before it can go on.
    static constexpr int kStall = -1000;

    enum class State { kStart, kPreamble, kAfterDelimiter, kHeaders, kData, kDone, kFailed };

    int Step();
    int Fail(int code);
    int StepStart();
    int StepPreamble();
    int StepAfterDelimiter();
    int StepHeaders();
    int StepData();
    size_t FindDelimiter(std::string_view data) const;
    int HeaderLine(std::string_view line);
    int EndOfHeaders();
    std::string_view Available() const { return {buffer_.get() + begin_, end_ - begin_}; }

    std::string delimiter_;  // "\n--" + boundary
    MultipartSink& sink_;
    struct FreeBuffer {
        void operator()(char* buffer) const { free(buffer); }
    };
    using Buffer = std::unique_ptr<char, FreeBuffer>;
    static Buffer NewBuffer();

    Buffer buffer_;  // kBufferSize bytes, page-aligned, as is the spare
    Buffer spare_;  // made at the first turn
    size_t begin_ = 0;
    size_t end_ = 0;
    State state_ = State::kStart;
    int failure_ = 0;
    size_t headerBytes_ = 0;
    unsigned long long partBytes_ = 0;  // data of the current part passed on
    size_t scanned_ = 0;                // from begin_: searched, no delimiter starts before
    std::string disposition_;
    std::string contentType_;
    std::string* lastHeader_ = nullptr;  // the header a folded line continues
};

// The boundary of a multipart/form-data content type (1 to 70 characters,
// quoted or not); false when the type is another or has no usable one.
bool BoundaryOf(const char* contentType, std::string& boundary);

// The parameters of a header value ("form-data; name=\"a\"; filename=b"):
// the value's first word (lower case) and its parameters (names in lower
// case, values unquoted: \" and \\ stand for the character, any other
// backslash for itself).  The first of a name wins.  false when a quoted
// value is not closed.
struct HeaderValue {
    std::string type;
    std::vector<std::pair<std::string, std::string>> params;
    const std::string* Param(std::string_view name) const;
};
bool ParseHeaderValue(std::string_view text, HeaderValue& value);

// The last path element of a client's file name ('/' and '\\' separate);
// "" for ".", ".." and names that end in a separator.
std::string LastPathElement(std::string_view fileName);

}  // namespace vorn

#endif
