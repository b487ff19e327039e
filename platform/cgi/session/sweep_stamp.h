// Sweeps that run at most every few minutes: a stamp file's modification
// time is the last sweep, and whoever touches it first sweeps.
#ifndef VORN_PLATFORM_SWEEP_STAMP_H
#define VORN_PLATFORM_SWEEP_STAMP_H

#include <string>

namespace vorn {

constexpr long long kSweepInterval = 5 * 60;

// Whether a sweep is due at now; when it is, the stamp is touched (created
// 0600 when missing), so that the next callers see it fresh.
bool SweepIsDue(const std::string& stampPath, long long now);

}  // namespace vorn

#endif
