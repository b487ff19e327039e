// Whole-file reads.
#ifndef ARX_BASE_FILE_READ_H
#define ARX_BASE_FILE_READ_H

#include <sys/stat.h>

#include <limits>
#include <string>

#include "base/safe_open.h"

namespace base {

// Reads the regular file at path whole into content (replacing it).  false
// with errno set on failure, content then empty; info, when given,
// receives the file's status.  Opens as OpenForReading does.
bool ReadWholeFile(const char* path, std::string& content, struct stat* info = nullptr,
                   Links links = Links::kFollow);

// Reads what is left of an open regular file whose status is st.  A file
// larger than most bytes, by st or by what it holds when read (it grew
// since st), is refused: false with errno EFBIG, content empty.
bool ReadWholeDescriptor(int fd, const struct stat& st, std::string& content,
                         size_t most = std::numeric_limits<size_t>::max());

// Whether two statuses are of the same version of a file: replacing a file
// (by rename) gives another inode, changing it another time or size.
bool SameVersion(const struct stat& a, const struct stat& b);

// ReadWholeFile for small files a process reads again and again (the user
// database, the configuration): the content is kept per process and read
// again only when stat tells of another version of the file.
bool ReadFileCached(const char* path, std::string& content);

}  // namespace base

#endif
