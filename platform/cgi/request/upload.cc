// Uploads: the multipart body read from standard input as it arrives, form
// fields into the record, file parts into files.

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include <vorn/err.h>
#include <vorn/file.h>
#include <vorn/log.h>
#include <vorn/upload.h>

#include "cgi/cgi_private.h"
#include "cgi/request/background_writer.h"
#include "cgi/request/multipart_reader.h"
#include "cgi/request/request_body.h"
#include "cgi/request/upload_files.h"
#include "lib/core/no_throw.h"

namespace vorn {

namespace {

volatile sig_atomic_t g_signalled = 0;

void OnHangup(int)
{
    g_signalled = 1;
}

// The web server ends a request whose client went away: while the body is
// read, that ends the read instead of the process, so that nothing half
// stored stays behind.
class HangupSignals {
public:
    HangupSignals()
    {
        struct sigaction action {};
        action.sa_handler = OnHangup;
        sigemptyset(&action.sa_mask);
        for (size_t i = 0; i < kCount; ++i)
            sigaction(kSignals[i], &action, &old_[i]);
    }
    ~HangupSignals()
    {
        for (size_t i = 0; i < kCount; ++i)
            sigaction(kSignals[i], &old_[i], nullptr);
    }
    HangupSignals(const HangupSignals&) = delete;
    HangupSignals& operator=(const HangupSignals&) = delete;

private:
    static constexpr size_t kCount = 3;
    static constexpr int kSignals[kCount] = {SIGTERM, SIGHUP, SIGPIPE};
    struct sigaction old_[kCount];
};

bool IsNoSpace(int error)
{
    return error == ENOSPC || error == EDQUOT;
}

struct StoredFile {
    std::string field;
    std::string name;  // the client's, last element
    std::string path;
    unsigned long long size = 0;
};

// Receives the parts: form fields into the record, file parts into the
// destination the operation chose.
class UploadSink : public MultipartSink {
public:
    enum class OnFile { kPause, kStoreInDirectory, kAppend };

    OnFile onFile = OnFile::kPause;
    ParamList* fields = nullptr;
    VORN_UPLOAD_PROGRESS* progress = nullptr;
    int dirFd = -1;        // kStoreInDirectory
    std::string dirPath;
    int fileFd = -1;       // kAppend, and the part a paused operation stores
    PartHeaders pending;   // the file part the reader paused at
    std::vector<StoredFile> stored;
    std::vector<std::string> created;  // names in dirFd, removed on failure

    int OnPartBegin(const PartHeaders& headers) override
    {
        part_ = headers;
        value_.clear();
        written_ = 0;
        if (!headers.hasFileName) {
            kind_ = Kind::kField;
            fieldBytes_ += headers.name.size();
            if (++fieldCount_ > VORN_UPLOAD_MAX_FIELDS || fieldBytes_ > VORN_UPLOAD_MAX_FIELDS_SIZE)
                return VORN_UPLOAD_OVER_LIMIT;
            return 0;
        }
        kind_ = Kind::kSkipped;  // "no file chosen"
        if (headers.fileName.empty())
            return 0;
        if (++fileCount_ > VORN_UPLOAD_MAX_FILES)
            return VORN_UPLOAD_OVER_LIMIT;
        kind_ = Kind::kFile;
        switch (onFile) {
        case OnFile::kPause:
            pending = headers;
            return MultipartReader::kPause;
        case OnFile::kAppend:
            return 0;
        case OnFile::kStoreInDirectory:
            break;
        }
        std::string name;
        fileFd = CreateUploadFile(dirFd, name);
        if (fileFd < 0) {
            VLIBCLog(LOG_ERR, "upload:%d cannot create an upload file in %s: %m", __LINE__, dirPath.c_str());
            return IsNoSpace(errno) ? VORN_UPLOAD_NO_SPACE : VORN_UPLOAD_SYSTEM_ERROR;
        }
        created.push_back(name);
        return 0;
    }

    int OnPartData(const char* data, size_t size) override
    {
        if (kind_ == Kind::kField) {
            fieldBytes_ += size;
            if (value_.size() + size > VORN_UPLOAD_MAX_FIELD_SIZE || fieldBytes_ > VORN_UPLOAD_MAX_FIELDS_SIZE)
                return VORN_UPLOAD_OVER_LIMIT;
            value_.append(data, size);
            return 0;
        }
        if (kind_ != Kind::kFile || fileFd < 0)
            return 0;
        if (!writer.Write(fileFd, data, size, written_))
            return WriteFailed();
        written_ += size;
        if (progress != nullptr)
            progress->stored = written_;
        return 0;
    }

    int OnPartEnd() override
    {
        if (kind_ == Kind::kField) {
            // As decoded form pairs: none holding a NUL, none in the
            // platform's own names.
            if (value_.find('\0') == std::string::npos && part_.name.find('\0') == std::string::npos &&
                !part_.name.empty() && !IsUploadParamName(part_.name))
                fields->Add(part_.name, value_);
            return 0;
        }
        if (kind_ != Kind::kFile)
            return 0;
        if (!writer.Drain())
            return WriteFailed();
        const std::string clientName = LastPathElement(part_.fileName);
        fields->Add(part_.name, clientName);
        lastFileSize = written_;
        if (progress != nullptr)
            ++progress->files;
        if (onFile == OnFile::kStoreInDirectory) {
            const int result = close(fileFd);
            fileFd = -1;
            if (result != 0) {
                VLIBCLog(LOG_ERR, "upload:%d cannot write an upload file: %m", __LINE__);
                return IsNoSpace(errno) ? VORN_UPLOAD_NO_SPACE : VORN_UPLOAD_SYSTEM_ERROR;
            }
            stored.push_back({part_.name, clientName, dirPath + "/" + created.back(), written_});
        } else if (onFile == OnFile::kAppend) {
            stored.push_back({part_.name, clientName, "", written_});
        } else {
            fileFd = -1;  // the operation that set it closes it
            onFile = OnFile::kPause;
        }
        return 0;
    }

    void BeforeReuse(const char* region, size_t size) override { writer.Release(region, size); }

    // The paused file part is now to be stored into fd.
    void StoreCurrentInto(int fd)
    {
        fileFd = fd;
        kind_ = Kind::kFile;
        part_ = pending;
    }

    static unsigned long long lastFileSize;
    BackgroundWriter writer;

private:
    static int WriteFailed()
    {
        VLIBCLog(LOG_ERR, "upload:%d cannot write an upload file: %m", __LINE__);
        return IsNoSpace(errno) ? VORN_UPLOAD_NO_SPACE : VORN_UPLOAD_SYSTEM_ERROR;
    }

    enum class Kind { kField, kFile, kSkipped };
    Kind kind_ = Kind::kSkipped;
    PartHeaders part_;
    std::string value_;
    unsigned long long written_ = 0;
    int fieldCount_ = 0;
    int fileCount_ = 0;
    size_t fieldBytes_ = 0;
};

unsigned long long UploadSink::lastFileSize = 0;

struct PumpOptions {
    progressCallback callback = nullptr;
    VORN_UPLOAD_PROGRESS* progress = nullptr;
    unsigned long long bytesPerSecond = 0;
    VornCgiUploadCancelled cancelled = nullptr;
};

// The body of this process: read once, as it arrives.
class UploadBody {
public:
    // Ready to read (or reading): 0, or a VORN_UPLOAD_... code.
    int Start();
    // Reads and feeds the reader until it pauses, finishes or fails.
    int Pump(const PumpOptions& options);
    bool AtFilePart() const { return atFilePart_; }
    bool hungUp() const { return hungUp_; }
    unsigned long long length() const { return length_; }
    UploadSink sink;

private:
    int Finished(int result);
    void Throttle(unsigned long long bytesPerSecond, const timespec& start, unsigned long long bytes);

    enum class State { kUnread, kReading, kDone, kFailed };
    State state_ = State::kUnread;
    int failure_ = 0;
    bool atFilePart_ = false;
    bool hungUp_ = false;
    unsigned long long length_ = 0;
    unsigned long long received_ = 0;
    std::unique_ptr<MultipartReader> reader_;
};

UploadBody g_upload;

bool ParseLength(const char* text, unsigned long long& length)
{
    if (text == nullptr || *text == '\0' || strlen(text) > 18 || strspn(text, "0123456789") != strlen(text))
        return false;
    length = strtoull(text, nullptr, 10);
    return true;
}

int UploadBody::Start()
{
    if (state_ == State::kReading)
        return 0;
    if (state_ == State::kFailed)
        return failure_;
    if (state_ == State::kDone) {
        VLIBCLog(LOG_ERR, "upload:%d the body was read before", __LINE__);
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return VORN_UPLOAD_SYSTEM_ERROR;
    }
    std::string boundary;
    const char* type = getenv("CONTENT_TYPE");
    if (VornCgiIsUploadRequest() != 1 || !BoundaryOf(type, boundary)) {
        VLIBCLog(LOG_ERR, "upload:%d not a multipart/form-data POST with a usable boundary [%.64s]", __LINE__,
                 type != nullptr ? type : "");
        VLIBCErrSet(VLIB_ERR_BODY_MALFORMED);
        return VORN_UPLOAD_MALFORMED;
    }
    const char* lengthText = getenv("CONTENT_LENGTH");
    if (!ParseLength(lengthText, length_)) {
        VLIBCLog(LOG_ERR, "upload:%d bad CONTENT_LENGTH [%.64s]", __LINE__, lengthText != nullptr ? lengthText : "");
        VLIBCErrSet(VLIB_ERR_BODY_MALFORMED);
        state_ = State::kFailed;
        return failure_ = VORN_UPLOAD_MALFORMED;
    }
    reader_ = std::make_unique<MultipartReader>(boundary, sink);
    state_ = State::kReading;
    return 0;
}

int UploadBody::Finished(int result)
{
    atFilePart_ = result == MultipartReader::kPause;
    if (result == MultipartReader::kPause)
        return result;
    if (result == MultipartReader::kDone) {
        // The epilogue, to the announced end, is the client's business.
        char discard[4096];
        while (received_ < length_) {
            const unsigned long long left = length_ - received_;
            const ssize_t n = read(STDIN_FILENO, discard, left < sizeof discard ? left : sizeof discard);
            if (n <= 0)
                break;
            received_ += static_cast<unsigned long long>(n);
        }
        state_ = State::kDone;
        return result;
    }
    static const struct {
        int code;
        int error;
        const char* what;
    } kFailures[] = {
        {VORN_UPLOAD_MALFORMED, VLIB_ERR_BODY_MALFORMED, "malformed multipart body"},
        {VORN_UPLOAD_OVER_LIMIT, VLIB_ERR_BODY_TOO_LARGE, "multipart body over the limits of a form"},
        {VORN_UPLOAD_NO_SPACE, VLIB_ERR_NO_SPACE, "no space left for the upload"},
        {VORN_UPLOAD_SYSTEM_ERROR, VLIB_ERR_WRITE_FAILED, "upload failed"},
    };
    for (const auto& failure : kFailures) {
        if (failure.code == result && !hungUp_) {
            VLIBCLog(LOG_ERR, "upload:%d %s after %llu of %llu bytes", __LINE__, failure.what, received_, length_);
            VLIBCErrSet(failure.error);
        }
    }
    state_ = State::kFailed;
    return failure_ = result;
}

void UploadBody::Throttle(unsigned long long bytesPerSecond, const timespec& start, unsigned long long bytes)
{
    if (bytesPerSecond == 0)
        return;
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    const double elapsed = static_cast<double>(now.tv_sec - start.tv_sec) + (now.tv_nsec - start.tv_nsec) / 1e9;
    const double due = static_cast<double>(bytes) / static_cast<double>(bytesPerSecond);
    if (due > elapsed) {
        const double wait = due - elapsed;
        timespec pause{static_cast<time_t>(wait), static_cast<long>((wait - static_cast<time_t>(wait)) * 1e9)};
        while (nanosleep(&pause, &pause) != 0 && errno == EINTR && g_signalled == 0) {
        }
    }
}

int UploadBody::Pump(const PumpOptions& options)
{
    const int started = Start();
    if (started != 0)
        return started;
    HangupSignals signals;
    if (options.progress != nullptr) {
        options.progress->total = length_;
        options.progress->received = received_;
    }
    sink.progress = options.progress;
    timespec start;
    clock_gettime(CLOCK_MONOTONIC, &start);
    const unsigned long long startReceived = received_;
    int result = reader_->Run();
    while (result == MultipartReader::kNeedInput) {
        if (g_signalled != 0 || (options.cancelled != nullptr && options.cancelled())) {
            hungUp_ = g_signalled != 0;
            VLIBCLog(LOG_ERR, "upload:%d the upload was ended after %llu of %llu bytes", __LINE__, received_, length_);
            VLIBCErrSet(VLIB_ERR_CLIENT_GONE);
            result = VORN_UPLOAD_MALFORMED;
            break;
        }
        if (received_ == length_) {
            result = reader_->Finish();
            break;
        }
        size_t room;
        char* space = reader_->Space(room);
        const unsigned long long left = length_ - received_;
        const size_t want = room < MultipartReader::kReadSize ? room : MultipartReader::kReadSize;
        const ssize_t n = read(STDIN_FILENO, space, left < want ? static_cast<size_t>(left) : want);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            hungUp_ = true;
            VLIBCLog(LOG_ERR, "upload:%d body ended after %llu of %llu bytes", __LINE__, received_, length_);
            VLIBCErrSet(VLIB_ERR_CLIENT_GONE);
            result = VORN_UPLOAD_MALFORMED;
            break;
        }
        received_ += static_cast<unsigned long long>(n);
        if (options.progress != nullptr)
            options.progress->received = received_;
        if (options.callback != nullptr)
            options.callback(received_, length_);
        Throttle(options.bytesPerSecond, start, received_ - startReceived);
        result = reader_->Commit(static_cast<size_t>(n));
    }
    // Nothing is written after the read ends: a failed upload's files are
    // removed or cut back next, and the process has one thread again.
    sink.writer.Drain();
    sink.writer.Stop();
    return Finished(result);
}

// The offset the request names for a slice, or -1 when it names none.
bool RequestedOffset(unsigned long long& offset)
{
    const char* text = getenv("HTTP_X_SLICE_OFFSET");
    return text != nullptr && *text != '\0' && ParseLength(text, offset);
}

int RefuseOffset(unsigned long long offset, unsigned long long size, const std::string& path)
{
    VLIBCLog(LOG_ERR, "upload:%d slice offset %llu is not the size %llu of %s", __LINE__, offset, size,
             path.c_str());
    VLIBCErrSet(VLIB_ERR_SLICE_OFFSET);
    return VORN_UPLOAD_MALFORMED;
}

void RecordStoredFiles(VornCgiPrivate& priv, const std::vector<StoredFile>& files)
{
    ParamList& list = priv.upload.files;
    list.Clear();
    list.Add("_upload_count", std::to_string(files.size()));
    for (size_t i = 0; i < files.size(); ++i) {
        const std::string prefix = "_upload_" + std::to_string(i) + "_";
        list.Add(prefix + "field", files[i].field);
        list.Add(prefix + "name", files[i].name);
        list.Add(prefix + "path", files[i].path);
        list.Add(prefix + "size", std::to_string(files[i].size));
    }
}

// Appends every file part to the slice's collecting file; cut back on failure.
int AppendSlice(VornCgiPrivate& priv, const std::string& path, const struct stat& checked)
{
    const int fd = open(path.c_str(), O_WRONLY | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    struct stat st;
    if (fd < 0 || fstat(fd, &st) != 0 || st.st_dev != checked.st_dev || st.st_ino != checked.st_ino) {
        VLIBCLog(LOG_ERR, "upload:%d cannot open the slice file %s: %m", __LINE__, path.c_str());
        if (fd >= 0)
            close(fd);
        VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
        return VORN_UPLOAD_SYSTEM_ERROR;
    }
    const unsigned long long size = static_cast<unsigned long long>(st.st_size);
    unsigned long long offset;
    if (RequestedOffset(offset) && offset != size) {
        close(fd);
        return RefuseOffset(offset, size, path);
    }
    UploadSink& sink = g_upload.sink;
    sink.onFile = UploadSink::OnFile::kAppend;
    sink.fileFd = fd;
    sink.fields = &priv.request.params;
    int result = g_upload.Pump({});
    if (result == MultipartReader::kDone && close(fd) != 0) {
        result = IsNoSpace(errno) ? VORN_UPLOAD_NO_SPACE : VORN_UPLOAD_SYSTEM_ERROR;
    } else if (result != MultipartReader::kDone) {
        if (ftruncate(fd, static_cast<off_t>(size)) != 0)
            VLIBCLog(LOG_ERR, "upload:%d cannot cut %s back to %llu bytes: %m", __LINE__, path.c_str(), size);
        close(fd);
    }
    sink.fileFd = -1;
    if (result != MultipartReader::kDone)
        return result;
    for (StoredFile& file : sink.stored)
        file.path = path;
    RecordStoredFiles(priv, sink.stored);
    return static_cast<int>(sink.stored.size());
}

int StoreInDirectory(VornCgiPrivate& priv, const std::string& dir)
{
    unsigned long long offset;
    if (VornCgiIsSliceUploadRequest() == 1 && RequestedOffset(offset) && offset != 0)
        return RefuseOffset(offset, 0, dir + "/(a new file)");
    const int dirFd = OpenUploadDirectory(dir);
    if (dirFd < 0) {
        VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
        return VORN_UPLOAD_SYSTEM_ERROR;
    }
    UploadSink& sink = g_upload.sink;
    sink.onFile = UploadSink::OnFile::kStoreInDirectory;
    sink.dirFd = dirFd;
    sink.dirPath = dir;
    sink.fields = &priv.request.params;
    const int result = g_upload.Pump({});
    if (result != MultipartReader::kDone) {
        if (sink.fileFd >= 0)
            close(sink.fileFd);
        sink.fileFd = -1;
        for (const std::string& name : sink.created)
            unlinkat(dirFd, name.c_str(), 0);
        sink.stored.clear();
    }
    close(dirFd);
    sink.dirFd = -1;
    if (result != MultipartReader::kDone)
        return result;
    RecordStoredFiles(priv, sink.stored);
    return static_cast<int>(sink.stored.size());
}

void CopyText(const std::string& text, char* buffer, size_t size)
{
    if (buffer != nullptr && size > 0)
        snprintf(buffer, size, "%s", text.c_str());
}

// Reads on from a file part (or the start) to the next file part.
int ToNextFilePart(VornCgiPrivate& priv, const PumpOptions& options, char* field, size_t fieldSize, char* name,
                   size_t nameSize, char* type, size_t typeSize)
{
    UploadSink& sink = g_upload.sink;
    sink.fields = &priv.request.params;
    const int result = g_upload.Pump(options);
    if (result == MultipartReader::kPause) {
        CopyText(sink.pending.name, field, fieldSize);
        CopyText(LastPathElement(sink.pending.fileName), name, nameSize);
        CopyText(sink.pending.contentType, type, typeSize);
        return 1;
    }
    return result == MultipartReader::kDone ? 0 : result;
}

unsigned long long RateLimit(const char* key)
{
    char value[32];
    unsigned long long kib = 0;
    if (VLIBCINFOGetKeyValue(key != nullptr && *key != '\0' ? key : "upload_bw_limit", value, sizeof value) > 0 &&
        ParseLength(value, kib))
        return kib * 1024;
    return 0;
}

// Stores the paused file part into path through a new file beside it.
int StoreFilePart(VornCgi* cgi, const char* path, const PumpOptions& options, char* field, char* name, char* type)
{
    VornCgiPrivate* priv = PrivateOf(cgi);
    if (priv == nullptr || path == nullptr || *path == '\0' || !g_upload.AtFilePart()) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return VORN_UPLOAD_SYSTEM_ERROR;
    }
    std::string temporary = std::string(path) + ".XXXXXX";
    const int fd = mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0) {
        VLIBCLog(LOG_ERR, "upload:%d cannot create a file beside %s: %m", __LINE__, path);
        VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
        return IsNoSpace(errno) ? VORN_UPLOAD_NO_SPACE : VORN_UPLOAD_SYSTEM_ERROR;
    }
    g_upload.sink.StoreCurrentInto(fd);
    int result = ToNextFilePart(*priv, options, field, VORN_UPLOAD_TEXT_SIZE, name, VORN_UPLOAD_TEXT_SIZE, type,
                                VORN_UPLOAD_TEXT_SIZE);
    if (close(fd) != 0 && result >= 0)
        result = IsNoSpace(errno) ? VORN_UPLOAD_NO_SPACE : VORN_UPLOAD_SYSTEM_ERROR;
    if (result >= 0 && rename(temporary.c_str(), path) != 0) {
        VLIBCLog(LOG_ERR, "upload:%d cannot rename the upload to %s: %m", __LINE__, path);
        VLIBCErrSet(VLIB_ERR_WRITE_FAILED);
        result = VORN_UPLOAD_SYSTEM_ERROR;
    }
    if (result < 0)
        unlink(temporary.c_str());
    return result;
}


// Writes the paused file part into path at the offset the check allows,
// without truncating it; cut back (or removed, when created) on failure.
int AppendFilePart(VornCgiPrivate& priv, const char* path, const PumpOptions& options, VornCgiUploadOffsetCheck check,
                   char* field, char* name, char* type, unsigned long long* fileSize)
{
    bool created = true;
    int fd = open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
    if (fd < 0 && errno == EEXIST) {
        created = false;
        fd = open(path, O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    }
    struct stat st;
    if (fd < 0 || fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_nlink != 1) {
        VLIBCLog(LOG_ERR, "upload:%d cannot open %s to add to it: %s", __LINE__, path,
                 fd < 0 ? strerror(errno) : "not a regular file of one name");
        if (fd >= 0)
            close(fd);
        VLIBCErrSet(VLIB_ERR_OPEN_FAILED);
        return VORN_UPLOAD_SYSTEM_ERROR;
    }
    if (created)
        fchmod(fd, 0600);
    const unsigned long long size = static_cast<unsigned long long>(st.st_size);
    unsigned long long requested = size;
    RequestedOffset(requested);
    const long long at = check != nullptr ? check(size, requested, g_upload.length())
                                          : (requested == size ? static_cast<long long>(size) : -1);
    int result;
    if (at < 0 || static_cast<unsigned long long>(at) > size || lseek(fd, at, SEEK_SET) < 0) {
        result = RefuseOffset(requested, size, path);
    } else {
        g_upload.sink.StoreCurrentInto(fd);
        result = ToNextFilePart(priv, options, field, VORN_UPLOAD_TEXT_SIZE, name, VORN_UPLOAD_TEXT_SIZE, type,
                                VORN_UPLOAD_TEXT_SIZE);
    }
    if (result >= 0 && fileSize != nullptr && fstat(fd, &st) == 0)
        *fileSize = static_cast<unsigned long long>(st.st_size);
    if (result < 0 && (created ? unlink(path) : ftruncate(fd, static_cast<off_t>(size))) != 0)
        VLIBCLog(LOG_ERR, "upload:%d cannot undo the part written to %s: %m", __LINE__, path);
    if (close(fd) != 0 && result >= 0)
        result = IsNoSpace(errno) ? VORN_UPLOAD_NO_SPACE : VORN_UPLOAD_SYSTEM_ERROR;
    return result;
}

}  // namespace

}  // namespace vorn

using vorn::g_upload;

extern "C" int VornCgiIsSliceUploadRequest(void)
{
    const char* id = getenv("HTTP_X_TMP_FILE");
    return VornCgiIsUploadRequest() == 1 && id != nullptr && *id != '\0' ? 1 : 0;
}

extern "C" int VornCgiIsSliceUploadFinish(void)
{
    const char* finish = getenv("HTTP_X_SLICE_FINISH");
    return finish != nullptr && strcmp(finish, "1") == 0 ? 1 : 0;
}

extern "C" const char* VornCgiSliceUploadTmpFile(void)
{
    static std::string s_path;
    return vorn::NoThrow<const char*>(nullptr, []() -> const char* {
        const char* path = getenv("VORN_SLICE_TMP_FILE");
        if (path == nullptr || *path == '\0')
            return nullptr;
        struct stat st;
        std::string why;
        if (!vorn::IsOwnUploadFile(path, st, why)) {
            VLIBCLog(LOG_ERR, "upload:%d refused the slice file %.256s: %s", __LINE__, path, why.c_str());
            return nullptr;
        }
        s_path = path;
        return s_path.c_str();
    });
}

extern "C" int VornCgiLoadUploadData(VornCgi* cgi, const char* target, int /*flags*/)
{
    VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr || target == nullptr || *target == '\0') {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return VORN_UPLOAD_SYSTEM_ERROR;
    }
    return vorn::NoThrow(VORN_UPLOAD_SYSTEM_ERROR, [&] {
        if (g_upload.AtFilePart()) {  // part by part already
            VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
            return VORN_UPLOAD_SYSTEM_ERROR;
        }
        const std::string path = target;
        struct stat st;
        std::string why;
        if (VornCgiIsSliceUploadRequest() == 1 && lstat(path.c_str(), &st) == 0 && !S_ISDIR(st.st_mode)) {
            const char* collecting = VornCgiSliceUploadTmpFile();
            if (collecting == nullptr || path != collecting || !vorn::IsOwnUploadFile(path, st, why)) {
                VLIBCLog(LOG_ERR, "upload:%d %.256s is not this slice upload's file", __LINE__, target);
                VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
                return VORN_UPLOAD_SYSTEM_ERROR;
            }
            vorn::SweepAbandonedUploads(path.substr(0, path.rfind('/')), path.substr(path.rfind('/') + 1));
            return vorn::AppendSlice(*priv, path, st);
        }
        // Into a volume's upload folder, any upload first removes what was
        // abandoned there: a program that never moved its file leaves it.
        vorn::SweepAbandonedUploads(path, "");
        return vorn::StoreInDirectory(*priv, path);
    });
}

extern "C" int VornCgiLoadUploadParams(VornCgi* cgi, progressCallback callback, VORN_UPLOAD_PROGRESS* progress,
                                       char* field, int fieldSize, char* name, int nameSize, char* type,
                                       int typeSize)
{
    VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr || fieldSize < 0 || nameSize < 0 || typeSize < 0) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return VORN_UPLOAD_SYSTEM_ERROR;
    }
    return vorn::NoThrow(VORN_UPLOAD_SYSTEM_ERROR, [&] {
        if (g_upload.AtFilePart()) {  // asked again: the part it stands at
            VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
            return VORN_UPLOAD_SYSTEM_ERROR;
        }
        vorn::PumpOptions options;
        options.callback = callback;
        options.progress = progress;
        return vorn::ToNextFilePart(*priv, options, field, static_cast<size_t>(fieldSize), name,
                                    static_cast<size_t>(nameSize), type, static_cast<size_t>(typeSize));
    });
}

extern "C" int VornCgiLoadUploadFile(VornCgi* cgi, const char* path, progressCallback callback,
                                     VORN_UPLOAD_PROGRESS* progress, char* field, char* name, char* type)
{
    return vorn::NoThrow(VORN_UPLOAD_SYSTEM_ERROR, [&] {
        vorn::PumpOptions options;
        options.callback = callback;
        options.progress = progress;
        return vorn::StoreFilePart(cgi, path, options, field, name, type);
    });
}

extern "C" int VornCgiLoadUploadFileBW(VornCgi* cgi, const char* path, progressCallback callback,
                                       VORN_UPLOAD_PROGRESS* progress, char* field, char* name, char* type,
                                       const char* limitKey)
{
    return vorn::NoThrow(VORN_UPLOAD_SYSTEM_ERROR, [&] {
        vorn::PumpOptions options;
        options.callback = callback;
        options.progress = progress;
        options.bytesPerSecond = vorn::RateLimit(limitKey);
        return vorn::StoreFilePart(cgi, path, options, field, name, type);
    });
}

extern "C" int VornCgiLoadUploadFileNoTruncate(VornCgi* cgi, const char* path, progressCallback callback,
                                               VORN_UPLOAD_PROGRESS* progress, VornCgiUploadOffsetCheck check,
                                               char* field, char* name, char* type, unsigned long long* fileSize,
                                               VornCgiUploadCancelled cancelled)
{
    VornCgiPrivate* priv = vorn::PrivateOf(cgi);
    if (priv == nullptr || path == nullptr || *path == '\0' || !g_upload.AtFilePart()) {
        VLIBCErrSet(VLIB_ERR_BAD_PARAMETERS);
        return VORN_UPLOAD_SYSTEM_ERROR;
    }
    return vorn::NoThrow(VORN_UPLOAD_SYSTEM_ERROR, [&] {
        vorn::PumpOptions options;
        options.callback = callback;
        options.progress = progress;
        options.cancelled = cancelled;
        return vorn::AppendFilePart(*priv, path, options, check, field, name, type, fileSize);
    });
}

extern "C" unsigned long long VornCgiGetUploadFileSize(void)
{
    return vorn::UploadSink::lastFileSize;
}

extern "C" int VornCgiRecvHup(void)
{
    if (g_upload.hungUp())
        return 1;
    // The web server closes its end of standard output for a client gone.
    struct pollfd out = {STDOUT_FILENO, POLLOUT, 0};
    return poll(&out, 1, 0) == 1 && (out.revents & (POLLERR | POLLHUP)) != 0 ? 1 : 0;
}
