/* Every header of the platform layer. */
#ifndef VORN_VORN_H
#define VORN_VORN_H

#include <vorn/acl.h>
#include <vorn/app_privilege.h>
#include <vorn/cgi.h>
#include <vorn/err.h>
#include <vorn/file.h>
#include <vorn/fs.h>
#include <vorn/hash.h>
#include <vorn/list.h>
#include <vorn/log.h>
#include <vorn/mail.h>
#include <vorn/mount.h>
#include <vorn/net.h>
#include <vorn/root.h>
#include <vorn/service.h>
#include <vorn/session.h>
#include <vorn/share.h>
#include <vorn/task.h>
#include <vorn/unicode.h>
#include <vorn/upload.h>
#include <vorn/user.h>
#include <vorn/volume.h>
#include <vorn/webserver.h>
#include <vorn/exec.h>

#endif
