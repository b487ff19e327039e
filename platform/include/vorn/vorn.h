/* Every header of the platform layer. */
#ifndef VORN_VORN_H
#define VORN_VORN_H

#include <vorn/app_privilege.h>
#include <vorn/cgi.h>
#include <vorn/err.h>
#include <vorn/file.h>
#include <vorn/fs.h>
#include <vorn/hash.h>
#include <vorn/log.h>
#include <vorn/net.h>
#include <vorn/root.h>
#include <vorn/session.h>
#include <vorn/task.h>
#include <vorn/upload.h>
#include <vorn/user.h>
#include <vorn/volume.h>
#include <vorn/webserver.h>
#include <vorn/exec.h>

#endif
