// The request context: uploads into a volume's upload folder, and the
// platform's readers.

#include <arx/webman.h>

#include <stdio.h>

#include <vorn/err.h>
#include <vorn/log.h>
#include <vorn/volume.h>

#include "webman/log_source.h"

using arx::webman::kWebManLogSource;

namespace {

constexpr int kPathSize = 4096;
constexpr unsigned long long kRoomForAnUpload = 1024;

// What LoadIn answers when no upload folder could be found.
int NoFolderResult(int platformError)
{
    switch (platformError) {
    case VLIB_ERR_NO_VOLUME: return -13;
    case VLIB_ERR_NO_SPACE: return -12;
    case VLIB_ERR_VOLUME_READ_ONLY: return -2;
    default: return -9;
    }
}

}  // namespace

bool WebMan::FindUploadTmpPath(char* buffer, int size, unsigned long long neededSize)
{
    if (buffer == nullptr || size < 1)
        return false;
    VORN_VOLUME_INFO volume{};
    int status = -1;
    const int found = VolumeAvailGet(neededSize, &volume, &status, 0, neededSize);
    if (found == -1) {
        VLIBCLog(LOG_ERR, "%s:%d VolumeAvailGet() failed!! vornerr=[0x%04X]", kWebManLogSource, __LINE__,
                 VLIBCErrGet());
        return false;
    }
    if (found == 0) {
        // A read-only volume says more than a full one.
        if ((status & VORN_VOLUME_STATUS_READ_ONLY) != 0)
            VLIBCErrSet(VLIB_ERR_VOLUME_READ_ONLY);
        else if ((status & VORN_VOLUME_STATUS_NO_SPACE) != 0)
            VLIBCErrSet(VLIB_ERR_NO_SPACE);
        else
            VLIBCErrSet(VLIB_ERR_NO_VOLUME);
        return false;
    }
    char folder[kPathSize];
    if (VORNShareBinPathGet(volume.szPath, folder, sizeof folder) < 0) {
        VLIBCLog(LOG_ERR, "%s:%d Fail to get share bin path from [%s]", kWebManLogSource, __LINE__, volume.szPath);
        VLIBCErrSet(VLIB_ERR_NO_VOLUME);
        return false;
    }
    snprintf(buffer, static_cast<size_t>(size), "%s/@tmp", folder);
    return true;
}

int WebMan::LoadIn(const char* uploadPath)
{
    char directory[kPathSize];
    const char* target = uploadPath;
    if (target == nullptr && IsSliceUploadRequest())
        target = GetSliceUploadTmpFile();
    if (target == nullptr) {
        if (!FindUploadTmpPath(directory, sizeof directory, kRoomForAnUpload)) {
            const int result = NoFolderResult(VLIBCErrGet());
            VLIBCLog(LOG_ERR, "%s(%d)no path for upload", kWebManLogSource, __LINE__);
            return result;
        }
        target = directory;
    }
    const int result = VornCgiLoadUploadData(&cgi_, target, 0);
    if (result < 0)
        VLIBCLog(LOG_ERR, "%s(%d)failed to upload to path %s", kWebManLogSource, __LINE__, target);
    return result;
}

bool WebMan::IsUploadRequest()
{
    return VornCgiIsUploadRequest() == 1;
}

bool WebMan::IsSliceUploadRequest()
{
    return VornCgiIsSliceUploadRequest() == 1;
}

bool WebMan::IsSliceUploadFinish()
{
    return IsSliceUploadRequest() && VornCgiIsSliceUploadFinish() == 1;
}

int WebMan::LoadUploadParams(progressCallback callback, _tag_cgi_upload_progress_* progress, char* field,
                             int fieldSize, char* name, int nameSize, char* type, int typeSize)
{
    return VornCgiLoadUploadParams(&cgi_, callback, progress, field, fieldSize, name, nameSize, type, typeSize);
}

int WebMan::LoadUploadFile(const char* path, progressCallback callback, _tag_cgi_upload_progress_* progress,
                           char* field, char* name, char* type)
{
    return VornCgiLoadUploadFile(&cgi_, path, callback, progress, field, name, type);
}

int WebMan::LoadUploadFileBW(const char* path, progressCallback callback, _tag_cgi_upload_progress_* progress,
                             char* field, char* name, char* type, const char* limitKey)
{
    return VornCgiLoadUploadFileBW(&cgi_, path, callback, progress, field, name, type, limitKey);
}

int WebMan::LoadUploadFileNoTruncate(const char* path, progressCallback callback,
                                     _tag_cgi_upload_progress_* progress,
                                     long long (*check)(unsigned long long, unsigned long long, unsigned long long),
                                     char* field, char* name, char* type, unsigned long long* fileSize,
                                     BOOL (*cancelled)())
{
    return VornCgiLoadUploadFileNoTruncate(&cgi_, path, callback, progress, check, field, name, type, fileSize,
                                           cancelled);
}

unsigned long long WebMan::GetUploadFileSize()
{
    return VornCgiGetUploadFileSize();
}

int WebMan::RecvHup()
{
    return VornCgiRecvHup();
}
