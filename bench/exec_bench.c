/* Times whole-process runs of programs: each round runs every program once
 * (interleaved, so drift of the machine hits all alike), standard input from
 * a file, standard output to /dev/null.  Prints the median and mean wall
 * time per run of each program in microseconds.
 *
 *   exec_bench ROUNDS INPUT_FILE PROGRAM...
 * The programs inherit the environment (the CGI variables).  A PROGRAM
 * holding blanks is run with its later words as arguments ("/usr/bin/find
 * DIR -type d"); its line then names it with '+' for each blank. */
#define _GNU_SOURCE
#include <fcntl.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

extern char **environ;

static double now_us(void)
{
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return ts.tv_sec * 1e6 + ts.tv_nsec / 1e3;
}

static int compare(const void *a, const void *b)
{
    double x = *(const double *)a, y = *(const double *)b;
    return (x > y) - (x < y);
}

static double run_once(const char *command, const char *input)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, input, O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    char words[4096];
    char *argv[64];
    int count = 0;
    snprintf(words, sizeof words, "%s", command);
    for (char *word = strtok(words, " "); word != NULL && count < 63; word = strtok(NULL, " "))
        argv[count++] = word;
    argv[count] = NULL;
    const char *program = argv[0];
    const double start = now_us();
    pid_t pid;
    if (posix_spawn(&pid, program, &actions, NULL, argv, environ) != 0) {
        perror(program);
        exit(1);
    }
    int status;
    waitpid(pid, &status, 0);
    const double elapsed = now_us() - start;
    posix_spawn_file_actions_destroy(&actions);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        fprintf(stderr, "%s failed\n", program);
        exit(1);
    }
    return elapsed;
}

int main(int argc, char **argv)
{
    if (argc < 4) {
        fprintf(stderr, "usage: exec_bench ROUNDS INPUT_FILE PROGRAM...\n");
        return 2;
    }
    const int rounds = atoi(argv[1]);
    const char *input = argv[2];
    const int programs = argc - 3;
    double *times = calloc((size_t)rounds * programs, sizeof *times);
    for (int p = 0; p < programs; ++p)
        run_once(argv[3 + p], input); /* warm the page cache */
    for (int r = 0; r < rounds; ++r)
        for (int p = 0; p < programs; ++p)
            times[p * rounds + r] = run_once(argv[3 + p], input);
    for (int p = 0; p < programs; ++p) {
        double *t = times + p * rounds, sum = 0;
        for (int r = 0; r < rounds; ++r)
            sum += t[r];
        qsort(t, rounds, sizeof *t, compare);
        char name[4096];
        snprintf(name, sizeof name, "%s", argv[3 + p]);
        for (char *blank = strchr(name, ' '); blank != NULL; blank = strchr(blank, ' '))
            *blank = '+';
        printf("%s %.1f %.1f\n", name, t[rounds / 2], sum / rounds);
    }
    free(times);
    return 0;
}
