// Processes that are made, waited for and ended.

#include "tests/fakes/processes.h"

#include <cerrno>
#include <cstdlib>
#include <unistd.h>

#include "tests/fakes/state.h"

using namespace fakes;

extern "C" {
pid_t __real_fork();
pid_t __real_waitpid(pid_t pid, int *status, int options);
int __real_system(const char *line);
int __real_setuid(uid_t user);
int __real_execve(const char *path, char *const *words, char *const *environment);
[[noreturn]] void __real__exit(int status);
}

namespace {

// Thrown where the process would end: the product's frames have nothing to give back on the way.
struct process_end {
    int status;
};

template <class Answer> Answer next(std::deque<Answer> &answers, Answer otherwise)
{
    if (answers.empty())
        return otherwise;
    Answer first = answers.front();
    answers.pop_front();
    return first;
}

std::string joined(char *const *words)
{
    std::string all;
    for (; *words; words++)
        all += " [" + std::string(*words) + "]";
    return all;
}

} // namespace

namespace fakes {

void fake_processes::take_over(std::deque<pid_t> fork_answers)
{
    taken_over = true;
    forks = std::move(fork_answers);
}

int end_of_child(const std::string &line)
{
    forget();
    const size_t before = heap.live();
    try {
        const std::string said = answer(line);
        ADD_FAILURE() << "\"" << line << "\" came back with \"" << said << "\"";
    } catch (const process_end &end) {
        EXPECT_EQ(heap.live(), before) << "heap memory not given back by the child of \"" << line << "\"";
        return end.status;
    }
    return -1;
}

void reset_processes()
{
    processes = {};
}

} // namespace fakes

extern "C" {

pid_t __wrap_fork()
{
    if (!processes.taken_over)
        return __real_fork();
    record_event("fork");
    const pid_t answer = next(processes.forks, 500);
    if (answer < 0)
        errno = EAGAIN;
    return answer;
}

pid_t __wrap_waitpid(pid_t pid, int *status, int options)
{
    if (!processes.taken_over)
        return __real_waitpid(pid, status, options);
    record_event("waitpid " + std::to_string(pid) + " " + std::to_string(options));
    const wait_answer answer = next(processes.waits, {500, 0, 0});
    if (answer.result > 0)
        *status = answer.status;
    if (answer.result < 0)
        errno = answer.error;
    return answer.result;
}

int __wrap_system(const char *line)
{
    if (!processes.taken_over)
        return __real_system(line);
    record_event("system " + std::string(line));
    if (processes.on_system)
        processes.on_system(line);
    return next(processes.systems, 0);
}

int __wrap_setuid(uid_t user)
{
    if (!processes.taken_over)
        return __real_setuid(user);
    record_event("setuid " + std::to_string(user));
    if (processes.setuid_result)
        errno = EPERM;
    return processes.setuid_result;
}

int __wrap_execve(const char *path, char *const *words, char *const *environment)
{
    if (!processes.taken_over)
        return __real_execve(path, words, environment);
    record_event("execve " + std::string(path) + joined(words) + " |" + joined(environment));
    if (processes.becomes)
        throw process_end{became};
    errno = ENOENT;
    return processes.execve_result;
}

[[noreturn]] void __wrap__exit(int status)
{
    if (!processes.taken_over)
        __real__exit(status);
    record_event("exit " + std::to_string(status & 0xff));
    throw process_end{status & 0xff};
}
}
