// A fake terminal on descriptor 0: its attributes, what is typed at it, and calls that fail. It is there from
// `terminal.take_over` to the end of the test; otherwise the calls are the real ones.
//
//     terminal.take_over("secret\nsecret\n");
//     EXPECT_EQ(answer("passwd"), ...);
//     EXPECT_EQ(terminal.current.c_lflag & ECHO, ECHO);
#pragma once

#include <string>
#include <vector>

#include <termios.h>

namespace fakes {

// Events: "tcgetattr FD", "tcsetattr FD ACTION", "write TEXT" (to descriptor 1), "prep N" and "deprep" (the hold that
// the editor has on the terminal).
struct fake_terminal {
    bool taken_over = false;
    termios current = {};
    std::string typed;           // behind it is the end of input
    int fail_get = 0;            // the n-th tcgetattr from now fails
    int fail_set = 0;            // the n-th tcsetattr from now fails
    std::vector<termios> set_to; // by each tcsetattr that did not fail

    void take_over(const std::string &input = "");
};
inline fake_terminal terminal;

void reset_terminal();

} // namespace fakes
