// The fixture of tests that really switch identities: they need root (CI
// runs as root) and are skipped otherwise, and afterwards the process must
// be root again with the groups it had.  "nobody" is the unprivileged
// system user they switch to.
#ifndef ARX_TESTING_AS_ROOT_H
#define ARX_TESTING_AS_ROOT_H

#include <sys/types.h>

#include <vector>

#include <gtest/gtest.h>

namespace arx_testing {

class AsRootTest : public ::testing::Test {
protected:
    // A derived SetUp calls this first and returns when IsSkipped().
    void SetUp() override;
    void TearDown() override;

    uid_t nobodyUid() const { return nobodyUid_; }
    gid_t nobodyGid() const { return nobodyGid_; }

private:
    uid_t nobodyUid_ = 0;
    gid_t nobodyGid_ = 0;
    std::vector<gid_t> groups_;
};

}  // namespace arx_testing

#endif
