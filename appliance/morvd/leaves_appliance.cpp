// What concerns the appliance as a host: how a user gets at its shell, and the account for the devices of its chain.

#include <utility>

#include "appliance/model/account.h"
#include "appliance/morvd/leaves.h"

using text = std::optional<std::string>;
using word_span = std::span<const std::string>;

// --- appliance ------------------------------------------------------------------------------------------------------

// Names the module of the session library that runs the words behind the path. In the answer a ';' ends a field, and a
// '\' before it keeps it from doing so and stays; the module takes these off again.
static text run_by_access(std::string_view function, const target &to)
{
    std::string answer = "ci_module=access;ci_function=" + std::string(function) + ";ci_args=";
    bool first = true;
    for (const std::string &word : to.args) {
        if (!std::exchange(first, false))
            answer += ' ';
        for (char letter : word) {
            if (letter == ';')
                answer += '\\';
            answer += letter;
        }
    }
    return answer;
}

static constexpr leaf appliance_table[] = {
    {.name = "shell", .info = [](const target &to) { return run_by_access("shell", to); }},
    {.name = "scp", .info = [](const target &to) { return run_by_access("scp", to); }},
};

// --- power.global.tarnel --------------------------------------------------------------------------------------------

static constexpr leaf account_table[] = {
    {.name = "username",
     .get = [](const target &to) { return text(to.device->account->username); },
     .set = [](const target &to, word_span words) { return set_username(*to.device->account, words[0]); }},
    {.name = "password",
     .get = [](const target &to) { return text(to.device->account->password); },
     .set = [](const target &to, word_span words) { return set_password(*to.device->account, words[0]); }},
};

constinit const std::span<const leaf> appliance_leaves = appliance_table;
constinit const std::span<const leaf> account_leaves = account_table;
