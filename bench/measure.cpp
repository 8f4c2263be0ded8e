// Runs two programs in turn on one processor and prints what a run of each takes.
//
//     measure REPETITIONS STATUS PROGRAM [ARGUMENT ...] -- STATUS PROGRAM [ARGUMENT ...]
//
// STATUS is what a run of the program ends with; another one ends the measurement. Prints one line a program: medians
// of user and system time and of wall time in microseconds, and the peak of its memory in KiB.
// Their input and output are /dev/null. The memory is read from the kernel when the program is about to end: what wait4
// tells would include that of the process which started it.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sched.h>
#include <string>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

struct command {
    int status;
    char **words;
};

struct sample {
    double cpu_us;
    double wall_us;
};

[[noreturn]] static void fail(const char *what)
{
    perror(what);
    exit(1);
}

static double microseconds(const timeval &time)
{
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec);
}

static pid_t start(const command &given, bool traced)
{
    const pid_t child = fork();
    if (child < 0)
        fail("measure: cannot fork");
    if (child > 0)
        return child;
    const int null = open("/dev/null", O_RDWR);
    for (int fd : {STDIN_FILENO, STDOUT_FILENO})
        dup2(null, fd);
    if (traced)
        ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    execv(given.words[0], given.words);
    fail(given.words[0]);
}

static void expect_status(const command &of, int status)
{
    if (WIFEXITED(status) && WEXITSTATUS(status) == of.status)
        return;
    fprintf(stderr, "measure: '%s' ended otherwise than with %d: %#x\n", of.words[0], of.status,
            static_cast<unsigned>(status));
    exit(1);
}

static sample run(const command &given)
{
    const auto begin = std::chrono::steady_clock::now();
    const pid_t child = start(given, false);
    int status = 0;
    rusage used{};
    if (wait4(child, &status, 0, &used) != child)
        fail("measure: cannot wait");
    const std::chrono::duration<double, std::micro> wall = std::chrono::steady_clock::now() - begin;
    expect_status(given, status);
    return {microseconds(used.ru_utime) + microseconds(used.ru_stime), wall.count()};
}

static long status_field(pid_t process, const std::string &name)
{
    std::ifstream lines("/proc/" + std::to_string(process) + "/status");
    for (std::string line; std::getline(lines, line);)
        if (line.starts_with(name))
            return strtol(line.c_str() + name.size(), nullptr, 10);
    return 0;
}

static long peak_memory(const command &given)
{
    const pid_t child = start(given, true);
    int status = 0;
    long peak = 0;
    waitpid(child, &status, 0); // stands before its first instruction
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACEEXIT | PTRACE_O_EXITKILL);
    for (long signo = 0; ptrace(PTRACE_CONT, child, nullptr, signo) == 0;) {
        if (waitpid(child, &status, 0) != child || !WIFSTOPPED(status))
            break;
        const bool ending = status >> 8 == (SIGTRAP | PTRACE_EVENT_EXIT << 8);
        if (ending)
            peak = status_field(child, "VmHWM:");
        signo = ending ? 0 : WSTOPSIG(status);
    }
    expect_status(given, status);
    return peak;
}

static void stay_on_one_processor()
{
    cpu_set_t allowed, one;
    sched_getaffinity(0, sizeof allowed, &allowed);
    int last = CPU_SETSIZE - 1;
    while (last > 0 && !CPU_ISSET(last, &allowed))
        last--;
    CPU_ZERO(&one);
    CPU_SET(last, &one);
    if (sched_setaffinity(0, sizeof one, &one) != 0)
        fail("measure: cannot stay on one processor");
}

static double median(std::vector<sample> &samples, double sample::*field)
{
    const auto middle = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
    std::nth_element(samples.begin(), middle, samples.end(),
                     [field](const sample &a, const sample &b) { return a.*field < b.*field; });
    return (*middle).*field;
}

int main(int argc, char **argv)
{
    int divide = 2;
    while (divide < argc && strcmp(argv[divide], "--") != 0)
        divide++;
    const int repetitions = argc > 2 ? atoi(argv[1]) : 0;
    if (repetitions < 1 || divide < 4 || divide + 2 >= argc) {
        fputs("usage: measure REPETITIONS STATUS PROGRAM [ARGUMENT ...] -- STATUS PROGRAM [ARGUMENT ...]\n", stderr);
        return 2;
    }
    argv[divide] = nullptr;
    const command commands[] = {{atoi(argv[2]), argv + 3}, {atoi(argv[divide + 1]), argv + divide + 2}};

    stay_on_one_processor();
    std::vector<sample> samples[2];
    for (int i = 0; i < repetitions; i++)
        for (int which : {0, 1})
            samples[which].push_back(run(commands[which]));
    for (int which : {0, 1})
        printf("%.0f %.0f %ld\n", median(samples[which], &sample::cpu_us), median(samples[which], &sample::wall_us),
               peak_memory(commands[which]));
}
