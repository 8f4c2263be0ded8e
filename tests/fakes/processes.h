// Fake processes: what fork, waitpid, system, execve, setuid and _exit answer. They are the real ones except in a test
// that has called `processes.take_over`.
//
//     processes.take_over({0});                            // the next fork makes us the child
//     EXPECT_EQ(end_of_child("upgrade 1"), 1);              // the status of its _exit
//     EXPECT_EVENTS({..., "fork", "system /usr/bin/rz ...", ...});
#pragma once

#include <deque>
#include <functional>
#include <string>

#include <sys/types.h>

namespace fakes {

// How a wait status says that a process ended by itself, or by a signal.
constexpr int exited(int status)
{
    return status << 8;
}
constexpr int killed(int signo)
{
    return signo;
}

struct wait_answer {
    pid_t result; // below 0: the call fails, with `error`
    int status = 0;
    int error = 0;
};

// Each list is used up from the front. Behind its end fork answers 500, waitpid a child that ended with 0, system 0.
// Events: "fork", "waitpid PID OPTIONS", "system LINE", "setuid N", "execve PATH ARG... | VARIABLE...", "exit STATUS".
struct fake_processes {
    bool taken_over = false;
    std::deque<pid_t> forks;
    std::deque<wait_answer> waits;
    std::deque<int> systems;
    std::function<void(const std::string &line)> on_system; // runs before system answers
    int setuid_result = 0;
    int execve_result = -1; // execve comes back: the program could not be started
    bool becomes = false;   // execve does not come back: it ends the process with `became`

    void take_over(std::deque<pid_t> fork_answers);
};
inline fake_processes processes;

inline constexpr int became = 1000; // a status that no process can end with

// Runs the line as `answer` does; the status with which the process ended in between. Fails the test where it did not,
// or where heap memory was not given back by then.
int end_of_child(const std::string &line);

void reset_processes();

} // namespace fakes
