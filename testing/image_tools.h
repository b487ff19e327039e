// The image tool, the copy program and the image policy inside a scratch
// root, where the library looks them up ("/usr/bin/convert", "/bin/cp",
// "/etc/ImageMagick-6/policy.xml").
#ifndef ARX_TESTING_IMAGE_TOOLS_H
#define ARX_TESTING_IMAGE_TOOLS_H

#include <string>
#include <vector>

#include "testing/temp_root.h"

namespace arx_testing {

// The system's real tools (links to them) and the appliance's policy.
void InstallImageTools(const TempRoot& root);

// Stand-ins that record each run's arguments after the program's name, one
// per line, in RecordedRuns's file, then copy their input (the first
// argument that names a file) to their last argument, or exit with
// failStatus when it is not 0.
void InstallRecordingTools(const TempRoot& root, int failStatus = 0);

// The recorded runs, each "PROGRAM ARG1 ARG2 ...".
std::vector<std::string> RecordedRuns(const TempRoot& root);

}  // namespace arx_testing

#endif
