/*
 * Mail from templates, handed to the system's sendmail.
 *
 * A template is the root's /usr/vorn/etc/mail/NAME.tmpl: a "Subject:" line,
 * an empty line, then the body.  Every "%KEY%" whose whole text (percent
 * signs included) is a key of the values hash is replaced by its value;
 * other text stays as written, and values are not scanned again.
 */
#ifndef VORN_MAIL_H
#define VORN_MAIL_H

#include <vorn/export.h>
#include <vorn/hash.h>

/* Where templates live (before root mapping). */
#define VORN_MAIL_TEMPLATE_DIR "/usr/vorn/etc/mail"

VORN_BEGIN_DECLS

/* Fills the template name with values and hands the message to the
 * program of the system configuration's mail_sendmail_path
 * ([/usr/sbin/sendmail]) as "PROGRAM -i -- RECIPIENT", the message on its
 * standard input, in a detached child (its own session, no shell, a bare
 * environment, standard output and error to /dev/null), so that the caller
 * never waits for delivery.  flags: reserved, 0.
 *
 * Refused before anything is started, -1 with one log line:
 * VLIB_ERR_BAD_PARAMETERS (a template name that is not letters, digits,
 * '_', '-' or '.' not first, no values), VLIB_ERR_HEADER_REFUSED (a
 * recipient that is not one plain address "local@domain" of printable
 * ASCII without blanks, quotes, commas, semicolons, angle brackets,
 * parentheses or backslashes, not beginning with '-', at most 254 bytes;
 * a subject that holds a control character once filled), VLIB_ERR_OPEN_FAILED
 * (no such template), VLIB_ERR_FORMAT (no "Subject:" line first),
 * VLIB_ERR_NOT_FOUND (the sendmail program is missing: the mail is
 * dropped), VLIB_ERR_SYSTEM (the child could not be started).  0 once the
 * child runs. */
VORN_EXPORT int VORNMailSendMessageWithoutBlock(const char *name, const VLIBSZHASH *values, const char *recipient,
                                                int flags);

VORN_END_DECLS

#endif
