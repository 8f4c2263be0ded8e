// The terminal of the user, and the editor's hold on it.

#include "tests/fakes/terminal.h"

#include <cerrno>
#include <unistd.h>

#include "tests/fakes/state.h"

using namespace fakes;

extern "C" {
int __real_tcgetattr(int file, termios *attributes);
int __real_tcsetattr(int file, int action, const termios *attributes);
ssize_t __real_read(int file, void *buffer, size_t size);
ssize_t __real_write(int file, const void *buffer, size_t size);
void __real_rl_prep_terminal(int meta);
void __real_rl_deprep_terminal();
}

namespace {

bool comes_due(int &countdown)
{
    if (countdown == 0 || --countdown > 0)
        return false;
    errno = EIO;
    return true;
}

const char *action_name(int action)
{
    return action == TCSANOW ? "TCSANOW" : action == TCSAFLUSH ? "TCSAFLUSH" : "TCSADRAIN";
}

} // namespace

namespace fakes {

void fake_terminal::take_over(const std::string &input)
{
    *this = {};
    taken_over = true;
    typed = input;
    current.c_lflag = ECHO | ECHONL | ICANON;
    cfsetospeed(&current, B9600);
    cfsetispeed(&current, B9600);
}

void reset_terminal()
{
    terminal = {};
}

} // namespace fakes

extern "C" {

int __wrap_tcgetattr(int file, termios *attributes)
{
    if (!terminal.taken_over)
        return __real_tcgetattr(file, attributes);
    record_event("tcgetattr " + std::to_string(file));
    if (comes_due(terminal.fail_get))
        return -1;
    *attributes = terminal.current;
    return 0;
}

int __wrap_tcsetattr(int file, int action, const termios *attributes)
{
    if (!terminal.taken_over)
        return __real_tcsetattr(file, action, attributes);
    record_event("tcsetattr " + std::to_string(file) + " " + action_name(action));
    if (comes_due(terminal.fail_set))
        return -1;
    terminal.current = *attributes;
    terminal.set_to.push_back(*attributes);
    return 0;
}

ssize_t __wrap_read(int file, void *buffer, size_t size)
{
    if (!terminal.taken_over || file != STDIN_FILENO)
        return __real_read(file, buffer, size);
    if (terminal.typed.empty() || size == 0)
        return 0;
    *static_cast<char *>(buffer) = terminal.typed[0];
    terminal.typed.erase(0, 1);
    return 1;
}

ssize_t __wrap_write(int file, const void *buffer, size_t size)
{
    if (!terminal.taken_over || file != STDOUT_FILENO)
        return __real_write(file, buffer, size);
    record_event("write " + std::string(static_cast<const char *>(buffer), size));
    return static_cast<ssize_t>(size);
}

void __wrap_rl_prep_terminal(int meta)
{
    if (!terminal.taken_over)
        return __real_rl_prep_terminal(meta);
    record_event("prep " + std::to_string(meta));
}

void __wrap_rl_deprep_terminal()
{
    if (!terminal.taken_over)
        return __real_rl_deprep_terminal();
    record_event("deprep");
}
}
