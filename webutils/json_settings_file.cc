// JSON settings files read and written whole under a flock on the file.
//
// They live in directories that their users can write (preference
// directories), and the programs that read and write them usually run as
// root: a file is opened only when it is a regular file of one name, never
// through a link and never waiting on a FIFO (base/safe_open.h), and its
// directory is held open so that every file of a save is in that one
// directory.
//
// A save leaves the old document or the new one, whatever instant the
// process dies at.  The lock lives on the file itself, so the file is
// rewritten in place and never replaced; the new document is therefore
// first written whole beside it, synced and renamed to ".NAME.new" (the
// journal), then the file is rewritten and the journal removed.  A journal
// found under the lock is the newest document: a reader takes it, and
// whoever may write the file finishes the interrupted rewrite.

#include <arx/webutils.h>

#include <errno.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <vector>

#include <json/reader.h>

#include "base/descriptor.h"
#include "base/file_read.h"
#include "base/file_write.h"
#include "base/json_text.h"
#include "base/safe_open.h"

namespace {

constexpr mode_t kNewFileMode = 0644;
// Settings are a few KiB; a file this large is not ours, and reading it
// whole would only exhaust the process.
constexpr off_t kLargestSettingsFile = 16 << 20;
constexpr char kJournalSuffix[] = ".new";
constexpr char kTemporarySuffix[] = ".new.tmp";

// A lock this process holds through LockFile.  A load or save of the same
// file inside it must not wait for it: flock locks belong to open file
// descriptions, and theirs would be another one.
struct HeldLock {
    dev_t device;
    ino_t inode;
    int fd;
    bool exclusive;
};

std::vector<HeldLock>& HeldLocks()
{
    static std::vector<HeldLock> held;
    return held;
}

const HeldLock* FindHeldLock(const struct stat& st)
{
    for (const HeldLock& lock : HeldLocks()) {
        if (lock.device == st.st_dev && lock.inode == st.st_ino)
            return &lock;
    }
    return nullptr;
}

// Where a settings file is: its directory, held open, and its name there.
class Place {
public:
    explicit Place(const char* path)
    {
        const std::string text = path != nullptr ? path : "";
        const size_t slash = text.rfind('/');
        name_ = slash == std::string::npos ? text : text.substr(slash + 1);
        const std::string dir = slash == std::string::npos ? "." : slash == 0 ? "/" : text.substr(0, slash);
        if (!name_.empty() && name_ != "." && name_ != "..")
            dir_ = open(dir.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    }
    ~Place()
    {
        if (dir_ >= 0)
            close(dir_);
    }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

    bool ok() const { return dir_ >= 0; }
    int dir() const { return dir_; }
    const char* name() const { return name_.c_str(); }
    std::string journal() const { return "." + name_ + kJournalSuffix; }
    std::string temporary() const { return "." + name_ + kTemporarySuffix; }

private:
    int dir_ = -1;
    std::string name_;
};

// Opens a file of the place for reading: a regular file of one name (a
// second name would let its planter have root read another file for him).
int OpenForReading(const Place& place, const char* name, struct stat& st)
{
    const int fd = base::OpenForReadingAt(place.dir(), name, base::Links::kRefuse, &st);
    if (fd >= 0 && st.st_nlink > 1) {
        close(fd);
        errno = EMLINK;
        return -1;
    }
    return fd;
}

// The whole text of an open settings file, from its start.
bool ReadText(int fd, std::string& text)
{
    struct stat st;
    return fstat(fd, &st) == 0 && lseek(fd, 0, SEEK_SET) == 0 &&
           base::ReadWholeDescriptor(fd, st, text, kLargestSettingsFile);
}

// The text of the journal an interrupted save left, when there is one.
bool ReadJournal(const Place& place, std::string& text)
{
    struct stat st;
    const base::Descriptor fd(OpenForReading(place, place.journal().c_str(), st));
    return fd.get() >= 0 && ReadText(fd.get(), text);
}

// Rewrites the open file with text, then removes the journal: the save is
// complete.  A rewrite that fails keeps the journal for the next comer.
// The text is written over the old one and the rest cut off after: cutting
// first would make the file system wait for the old pages' writeback.
bool Finish(int fd, const Place& place, const std::string& text)
{
    if (lseek(fd, 0, SEEK_SET) != 0 || !base::WriteAll(fd, text) ||
        ftruncate(fd, static_cast<off_t>(text.size())) != 0)
        return false;
    unlinkat(place.dir(), place.journal().c_str(), 0);
    return true;
}

// A reader that found a journal finishes the rewrite when it may write the
// file: under the exclusive lock (taken in place of its shared one unless
// the caller holds one already) it reads the journal again, since a writer
// may have come between, and rewrites the file.  text is then the document
// as it stands.
void FinishForReader(int fd, const Place& place, const struct stat& st, bool convertLock, std::string& text)
{
    const base::Descriptor writable(openat(place.dir(), place.name(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat now;
    if (writable.get() < 0 || fstat(writable.get(), &now) != 0 || now.st_dev != st.st_dev || now.st_ino != st.st_ino)
        return;  // not ours to write: the journal's text is the document
    if (convertLock)
        flock(fd, LOCK_EX);
    std::string current;
    if (ReadJournal(place, current))
        Finish(writable.get(), place, current);
    else
        ReadText(writable.get(), current);
    text.swap(current);
    if (convertLock)
        flock(fd, LOCK_SH);
}

bool ParseJson(const std::string& text, Json::Value& out)
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    Json::Reader reader;
#pragma GCC diagnostic pop
    Json::Value parsed;
    if (!reader.parse(text.data(), text.data() + text.size(), parsed, false))
        return false;
    out.swap(parsed);
    return true;
}

// A settings file that root creates belongs to its directory's owner:
// settings live in their owners' directories (a user's preference
// directory), where the owner's own programs must go on writing them.
void GiveToDirectoryOwner(int fd, const Place& place, struct stat& st)
{
    struct stat dir;
    if (geteuid() != 0 || fstat(place.dir(), &dir) != 0 || (dir.st_uid == st.st_uid && dir.st_gid == st.st_gid))
        return;
    if (fchown(fd, dir.st_uid, dir.st_gid) == 0) {
        st.st_uid = dir.st_uid;
        st.st_gid = dir.st_gid;
    }
}

}  // namespace

namespace WebUtils {

int LockFile(const char* path, bool exclusive)
{
    const Place place(path);
    if (!place.ok())
        return -1;
    struct stat st;
    const int fd = OpenForReading(place, place.name(), st);
    if (fd < 0)
        return fd;
    flock(fd, exclusive ? LOCK_EX : LOCK_SH);
    try {
        HeldLocks().push_back({st.st_dev, st.st_ino, fd, exclusive});
    } catch (const std::exception&) {
        UnlockFile(fd);
        return -1;
    }
    return fd;
}

void UnlockFile(int fd)
{
    if (fd < 0)
        return;
    std::vector<HeldLock>& held = HeldLocks();
    for (auto lock = held.begin(); lock != held.end();)
        lock = lock->fd == fd ? held.erase(lock) : lock + 1;
    flock(fd, LOCK_UN);
    close(fd);
}

bool LoadJsonFile(Json::Value& out, const char* path)
{
    try {
        const Place place(path);
        struct stat st;
        const base::Descriptor fd(place.ok() ? OpenForReading(place, place.name(), st) : -1);
        if (fd.get() < 0)
            return false;
        const HeldLock* held = FindHeldLock(st);
        if (held == nullptr)
            flock(fd.get(), LOCK_SH);
        std::string text;
        bool ok = true;
        if (ReadJournal(place, text)) {
            if (held == nullptr || held->exclusive)
                FinishForReader(fd.get(), place, st, held == nullptr, text);
        } else {
            ok = ReadText(fd.get(), text);
        }
        if (held == nullptr)
            flock(fd.get(), LOCK_UN);
        return ok && ParseJson(text, out);
    } catch (const std::exception&) {
        return false;  // nesting deeper than the reader's limit, or no memory
    }
}

bool SaveJsonFile(Json::Value& value, const char* path)
{
    try {
        const Place place(path);
        if (!place.ok())
            return false;
        struct stat st;
        bool created = false;
        // The lock is taken on the very inode that is then rewritten, a
        // new file's included.
        const base::Descriptor fd(base::OpenForWritingAt(place.dir(), place.name(), kNewFileMode, &st, &created));
        if (fd.get() < 0)
            return false;
        if (created)
            GiveToDirectoryOwner(fd.get(), place, st);
        const HeldLock* held = FindHeldLock(st);
        if (held != nullptr && !held->exclusive) {
            errno = EDEADLK;  // the caller's own shared lock would keep the save waiting forever
            return false;
        }
        if (held == nullptr)
            flock(fd.get(), LOCK_EX);
        base::NewFile journal;
        journal.mode = base::CopyableMode(st.st_mode);
        if (geteuid() == 0) {
            journal.owner = st.st_uid;
            journal.group = st.st_gid;
        }
        // The text is written as it is made and then copied from the
        // journal into the file: a document of any size costs a buffer of
        // memory and no allocation.  Once the journal is in place the new
        // document is saved: a rewrite that fails after it is finished by
        // the next comer.
        base::Descriptor written;
        const bool saved = base::ReplaceFileAt(
            place.dir(), place.journal(),
            [&written, &value](int journalFd) {
                written.reset(fcntl(journalFd, F_DUPFD_CLOEXEC, 0));
                return written.get() >= 0 && base::WriteCompactJson(value, journalFd, "\n");
            },
            journal, place.temporary());
        if (saved && base::OverwriteWithFile(fd.get(), written.get()))
            unlinkat(place.dir(), place.journal().c_str(), 0);
        if (held == nullptr)
            flock(fd.get(), LOCK_UN);
        return saved;
    } catch (const std::exception&) {
        return false;
    }
}

void GetServiceEnabled(Json::Value& /*value*/)
{
}

}  // namespace WebUtils
