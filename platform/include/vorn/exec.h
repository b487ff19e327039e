/*
 * Running programs.
 *
 * A program runs from an argument vector through posix_spawn, never through
 * a shell, so no text given to it is ever interpreted.  The child gets:
 * standard input from /dev/null; standard output to /dev/null unless the
 * caller captures it (it must never reach a CGI process's response);
 * standard error read by the platform, whose first line is logged when the
 * program fails; no other descriptor; default signal handling with nothing
 * blocked; a process group of its own; the environment the caller gives or
 * the platform's plain one ("PATH=/usr/bin:/bin", "LANG=C").
 *
 * A process whose effective ids differ from its real ids (a CGI process
 * started as root and switched to its user) starts the child with real,
 * effective and saved ids all those effective ones, so the child cannot
 * take back the identity its parent put aside.
 *
 * Every run has a time limit.  When it is up, the program's whole process
 * group is killed, one line is logged and the run fails.
 *
 * Paths are used as given: map fixed system paths with VORNRootPath first.
 */
#ifndef VORN_EXEC_H
#define VORN_EXEC_H

#include <stdio.h>

#include <vorn/export.h>

/* The time limit of a run that names none, in seconds. */
#define VLIBC_EXEC_DEFAULT_SECONDS 60
/* What VLIBCPopen keeps of a program's output; the rest is read and dropped. */
#define VLIBC_POPEN_MAX_OUTPUT (1024 * 1024)

typedef struct _tag_vlibc_exec_options {
    int seconds;                     /* the time limit; 0: VLIBC_EXEC_DEFAULT_SECONDS */
    const char *const *environment;  /* NULL-terminated "NAME=value" list; NULL: the platform's */
    char *output;                    /* non-NULL: standard output is captured here, NUL-terminated */
    int output_size;                 /* the size of output; what does not fit is read and dropped */
    int output_length;               /* set by the run: the bytes kept in output */
} VLIBCEXECOPTIONS;

VORN_BEGIN_DECLS

/* Runs program with the arguments that follow (a NULL ends them; argv[0] is
 * program) and waits for it, within the default time limit.  Returns the
 * exit status (0 to 255), or -1 when it could not be started
 * (VLIB_ERR_EXEC_FAILED), was ended by a signal (VLIB_ERR_EXEC_FAILED), ran
 * out of time (VLIB_ERR_EXEC_TIMEOUT), or an argument is missing
 * (VLIB_ERR_BAD_PARAMETERS). */
VORN_EXPORT int VLIBCExec(const char *program, ...);

/* The same with a NULL-terminated argument vector (argv[0] included) and
 * options (NULL: the defaults). */
VORN_EXPORT int VLIBCExecv(const char *program, const char *const argv[], VLIBCEXECOPTIONS *options);

/* Runs program as VLIBCExecv does and reads its standard output (at most
 * VLIBC_POPEN_MAX_OUTPUT bytes kept) until it ends or its time is up;
 * returns a stream over that output, to be read like a pipe and closed with
 * VLIBCPclose, or NULL when the program could not be started (last error as
 * VLIBCExecv).  mode must be "r". */
VORN_EXPORT FILE *VLIBCPopen(const char *program, const char *mode, const char *const argv[],
                             VLIBCEXECOPTIONS *options);

/* Closes a stream of VLIBCPopen: the program's exit status, or -1 when it
 * was ended by a signal or ran out of time, or stream is not one of
 * VLIBCPopen's. */
VORN_EXPORT int VLIBCPclose(FILE *stream);

VORN_END_DECLS

#endif
