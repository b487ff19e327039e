// A scratch root directory for one test: VORN_ROOT points at it while the
// object lives, and the whole tree is removed afterwards.
#ifndef ARX_TESTING_TEMP_ROOT_H
#define ARX_TESTING_TEMP_ROOT_H

#include <sys/types.h>

#include <string>

namespace arx_testing {

class TempRoot {
public:
    TempRoot();
    ~TempRoot();
    TempRoot(const TempRoot&) = delete;
    TempRoot& operator=(const TempRoot&) = delete;

    const std::string& dir() const { return dir_; }

    // Where a system path such as "/etc/vorninfo.conf" lives in this root.
    std::string Path(const std::string& systemPath) const { return dir_ + systemPath; }

    // Writes a file under the root, creating its directories.
    void WriteFile(const std::string& systemPath, const std::string& content, mode_t mode = 0644) const;
    // The whole content of a file under the root ("" when missing).
    std::string ReadFile(const std::string& systemPath) const;
    void MakeDirs(const std::string& systemPath, mode_t mode = 0755) const;

private:
    std::string dir_;
    std::string previousRoot_;
    bool hadPreviousRoot_ = false;
};

// Removes a directory tree; used by TempRoot and by tests that build their
// own scratch directories.
void RemoveTree(const std::string& dir);

// Reads a whole file; "" when it cannot be read.
std::string ReadWholeFile(const std::string& path);

}  // namespace arx_testing

#endif
