/* Times whole-process runs of programs: each round runs every program once
 * (interleaved, so drift of the machine hits all alike), standard input from
 * a file, standard output to /dev/null.  Prints the median and mean wall
 * time per run of each program in microseconds.
 *
 *   exec_bench ROUNDS INPUT_FILE PROGRAM...
 * The programs inherit the environment (the CGI variables). */
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

static double run_once(const char *program, const char *input)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, input, O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    char *argv[] = {(char *)program, NULL};
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
        printf("%s %.1f %.1f\n", argv[3 + p], t[rounds / 2], sum / rounds);
    }
    free(times);
    return 0;
}
