#include "cgi/request/multipart_reader.h"

#include <string.h>
#include <strings.h>

#include <new>
#include <utility>

#include <vorn/upload.h>

namespace vorn {

namespace {

constexpr size_t kMaxBoundary = 70;
constexpr size_t kMaxPadding = 256;  // blanks after a delimiter

std::string_view Trim(std::string_view text)
{
    const size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::string Lower(std::string_view text)
{
    std::string lower(text);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    return lower;
}

// A quoted string starting after its opening quote; false when unclosed.
bool Unquote(std::string_view text, size_t& at, std::string& value)
{
    for (; at < text.size(); ++at) {
        const char c = text[at];
        if (c == '"') {
            ++at;
            return true;
        }
        if (c == '\\' && at + 1 < text.size() && (text[at + 1] == '"' || text[at + 1] == '\\'))
            ++at;
        value += text[at];
    }
    return false;
}

}  // namespace

const std::string* HeaderValue::Param(std::string_view name) const
{
    for (const auto& param : params) {
        if (param.first == name)
            return &param.second;
    }
    return nullptr;
}

bool ParseHeaderValue(std::string_view text, HeaderValue& value)
{
    size_t at = text.find(';');
    value.type = Lower(Trim(text.substr(0, at)));
    value.params.clear();
    while (at != std::string_view::npos && at < text.size()) {
        ++at;  // the ';'
        const size_t end = text.find_first_of(";=", at);
        std::string name = Lower(Trim(text.substr(at, end == std::string_view::npos ? end : end - at)));
        std::string param;
        at = end;
        if (at != std::string_view::npos && text[at] == '=') {
            ++at;
            while (at < text.size() && (text[at] == ' ' || text[at] == '\t'))
                ++at;
            if (at < text.size() && text[at] == '"') {
                ++at;
                if (!Unquote(text, at, param))
                    return false;
                at = text.find(';', at);
            } else {
                const size_t stop = text.find(';', at);
                param = Trim(text.substr(at, stop == std::string_view::npos ? stop : stop - at));
                at = stop;
            }
        }
        if (!name.empty() && value.Param(name) == nullptr)
            value.params.emplace_back(std::move(name), std::move(param));
    }
    return true;
}

bool BoundaryOf(const char* contentType, std::string& boundary)
{
    HeaderValue value;
    if (contentType == nullptr || !ParseHeaderValue(contentType, value) || value.type != "multipart/form-data")
        return false;
    const std::string* found = value.Param("boundary");
    if (found == nullptr || found->empty() || found->size() > kMaxBoundary)
        return false;
    for (const char c : *found) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f)
            return false;
    }
    boundary = *found;
    return true;
}

std::string LastPathElement(std::string_view fileName)
{
    const size_t separator = fileName.find_last_of("/\\");
    const std::string_view last = separator == std::string_view::npos ? fileName : fileName.substr(separator + 1);
    return last == "." || last == ".." ? std::string() : std::string(last);
}

MultipartReader::Buffer MultipartReader::NewBuffer()
{
    Buffer buffer(static_cast<char*>(aligned_alloc(kPage, kBufferSize)));
    if (!buffer)
        throw std::bad_alloc();
    return buffer;
}

MultipartReader::MultipartReader(std::string boundary, MultipartSink& sink)
    : delimiter_("\n--" + boundary), sink_(sink), buffer_(NewBuffer())
{
}

void MultipartReader::Reset()
{
    begin_ = end_ = 0;
    state_ = State::kStart;
    failure_ = 0;
}

char* MultipartReader::Space(size_t& room)
{
    // What is kept moves to the front of the other buffer only when a whole
    // read would not fit behind it: input in small pieces moves it once in
    // many pieces.
    if (begin_ > 0 && kBufferSize - end_ < kReadSize) {
        if (!spare_)
            spare_ = NewBuffer();
        sink_.BeforeReuse(spare_.get(), kBufferSize);
        memcpy(spare_.get(), buffer_.get() + begin_, end_ - begin_);
        std::swap(buffer_, spare_);
        end_ -= begin_;
        begin_ = 0;
    }
    room = kBufferSize - end_;
    return buffer_.get() + end_;
}

int MultipartReader::Commit(size_t size)
{
    end_ += size;
    return Run();
}

int MultipartReader::Feed(const char* data, size_t size)
{
    int result = Run();
    while (result == kNeedInput && size > 0) {
        size_t room;
        char* space = Space(room);
        const size_t taken = size < room ? size : room;
        memcpy(space, data, taken);
        data += taken;
        size -= taken;
        result = Commit(taken);
    }
    return result;
}

int MultipartReader::Finish() const
{
    if (state_ == State::kFailed)
        return failure_;
    return state_ == State::kDone ? kDone : VORN_UPLOAD_MALFORMED;
}

int MultipartReader::Fail(int code)
{
    state_ = State::kFailed;
    failure_ = code;
    return code;
}

int MultipartReader::Run()
{
    for (;;) {
        if (state_ == State::kFailed)
            return failure_;
        if (state_ == State::kDone) {
            begin_ = end_;  // the epilogue
            return kDone;
        }
        const int result = Step();
        if (result == kStall)
            return kNeedInput;
        if (result < 0)
            return Fail(result);
        if (result != kNeedInput)
            return result;
    }
}

int MultipartReader::Step()
{
    switch (state_) {
    case State::kStart: return StepStart();
    case State::kPreamble: return StepPreamble();
    case State::kAfterDelimiter: return StepAfterDelimiter();
    case State::kHeaders: return StepHeaders();
    case State::kData: return StepData();
    case State::kDone:
    case State::kFailed: break;
    }
    return kStall;
}

// The body normally opens with the first delimiter, without a line end
// before it.
int MultipartReader::StepStart()
{
    const std::string_view opening = std::string_view(delimiter_).substr(1);
    const std::string_view data = Available();
    const size_t compared = data.size() < opening.size() ? data.size() : opening.size();
    if (data.substr(0, compared) != opening.substr(0, compared)) {
        state_ = State::kPreamble;
        return kNeedInput;
    }
    if (compared < opening.size())
        return kStall;
    begin_ += opening.size();
    state_ = State::kAfterDelimiter;
    return kNeedInput;
}

// glibc's memmem is about twice as fast as a search for the delimiter's
// first byte followed by a comparison, which data with many line ends makes
// stop often.
size_t MultipartReader::FindDelimiter(std::string_view data) const
{
    const void* hit = memmem(data.data(), data.size(), delimiter_.data(), delimiter_.size());
    return hit == nullptr ? std::string_view::npos : static_cast<size_t>(static_cast<const char*>(hit) - data.data());
}

int MultipartReader::StepPreamble()
{
    const std::string_view data = Available();
    const size_t hit = FindDelimiter(data);
    if (hit != std::string_view::npos) {
        begin_ += hit + delimiter_.size();
        state_ = State::kAfterDelimiter;
        return kNeedInput;
    }
    if (data.size() >= delimiter_.size())
        begin_ += data.size() - delimiter_.size() + 1;
    return kStall;
}

// "--" closes the body; otherwise blanks and a line end open a part.
int MultipartReader::StepAfterDelimiter()
{
    const std::string_view data = Available();
    if (data.size() < 2)
        return kStall;
    if (data[0] == '-' && data[1] == '-') {
        begin_ += 2;
        state_ = State::kDone;
        return kDone;
    }
    size_t at = 0;
    while (at < data.size() && (data[at] == ' ' || data[at] == '\t'))
        ++at;
    if (at > kMaxPadding)
        return VORN_UPLOAD_MALFORMED;
    if (at < data.size() && data[at] == '\r')
        ++at;
    if (at >= data.size())
        return kStall;
    if (data[at] != '\n')
        return VORN_UPLOAD_MALFORMED;
    begin_ += at + 1;
    state_ = State::kHeaders;
    headerBytes_ = 0;
    disposition_.clear();
    contentType_.clear();
    lastHeader_ = nullptr;
    return kNeedInput;
}

int MultipartReader::StepHeaders()
{
    const std::string_view data = Available();
    const size_t newline = data.find('\n');
    if (newline == std::string_view::npos) {
        if (headerBytes_ + data.size() > VORN_UPLOAD_MAX_HEADER_SIZE)
            return VORN_UPLOAD_OVER_LIMIT;
        return kStall;
    }
    headerBytes_ += newline + 1;
    if (headerBytes_ > VORN_UPLOAD_MAX_HEADER_SIZE)
        return VORN_UPLOAD_OVER_LIMIT;
    std::string_view line = data.substr(0, newline);
    begin_ += newline + 1;
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    if (line.find('\0') != std::string_view::npos)
        return VORN_UPLOAD_MALFORMED;
    return line.empty() ? EndOfHeaders() : HeaderLine(line);
}

int MultipartReader::HeaderLine(std::string_view line)
{
    if (line[0] == ' ' || line[0] == '\t') {  // a folded line continues the header before
        if (lastHeader_ != nullptr)
            lastHeader_->append(" ").append(Trim(line));
        return kNeedInput;
    }
    const size_t colon = line.find(':');
    if (colon == std::string_view::npos || Trim(line.substr(0, colon)).size() != colon || colon == 0)
        return VORN_UPLOAD_MALFORMED;
    const std::string name = Lower(line.substr(0, colon));
    lastHeader_ = nullptr;
    if (name == "content-disposition")
        lastHeader_ = &disposition_;
    else if (name == "content-type")
        lastHeader_ = &contentType_;
    if (lastHeader_ != nullptr) {
        if (!lastHeader_->empty())
            return VORN_UPLOAD_MALFORMED;  // given twice
        lastHeader_->assign(Trim(line.substr(colon + 1)));
    }
    return kNeedInput;
}

int MultipartReader::EndOfHeaders()
{
    HeaderValue disposition;
    if (!ParseHeaderValue(disposition_, disposition) || disposition.type != "form-data")
        return VORN_UPLOAD_MALFORMED;
    const std::string* name = disposition.Param("name");
    if (name == nullptr)
        return VORN_UPLOAD_MALFORMED;
    PartHeaders headers;
    headers.name = *name;
    if (const std::string* fileName = disposition.Param("filename")) {
        headers.hasFileName = true;
        headers.fileName = *fileName;
    }
    headers.contentType = contentType_;
    state_ = State::kData;
    partBytes_ = 0;
    scanned_ = 0;
    return sink_.OnPartBegin(headers);
}

int MultipartReader::StepData()
{
    const std::string_view data = Available();
    // What was searched before holds no delimiter's start: only the bytes
    // kept back at its end need searching again.
    const size_t from = scanned_ <= data.size() ? scanned_ : 0;
    size_t hit = FindDelimiter(data.substr(from));
    if (hit != std::string_view::npos)
        hit += from;
    if (hit == std::string_view::npos) {
        // The last delimiter's length may be the start of one (with a CR).
        // Of the rest, whole pages of the part go on, so that each write
        // ends on a page of the file: the file system's cheapest.
        if (data.size() <= delimiter_.size())
            return kStall;
        const size_t clear = data.size() - delimiter_.size();
        scanned_ = clear + 1;
        const unsigned long long end = (partBytes_ + clear) / kPage * kPage;
        if (end <= partBytes_)
            return kStall;
        const size_t safe = static_cast<size_t>(end - partBytes_);
        begin_ += safe;
        partBytes_ += safe;
        scanned_ -= safe;
        return sink_.OnPartData(data.data(), safe);
    }
    scanned_ = 0;
    size_t size = hit;
    if (size > 0 && data[size - 1] == '\r')
        --size;
    begin_ += hit + delimiter_.size();
    state_ = State::kAfterDelimiter;
    int result = size > 0 ? sink_.OnPartData(data.data(), size) : 0;
    if (result == 0)
        result = sink_.OnPartEnd();
    return result;
}

}  // namespace vorn
