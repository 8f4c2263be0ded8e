// The leaves of a unit that flash keeps, and those that make it work on its flash or restart.

#include "appliance/morvd/leaves_flash.h"

result_code change_setting(const target &to, unit_setting which, word_span words)
{
    if (words.size() != 1)
        return result_bad_arguments;
    return to.device->set_setting(to.device->self, to.at.port, to.at.pdu, which, words[0]);
}

std::vector<std::string> on_and_off(const target &)
{
    return {"on", "off"};
}

bool can_begin_task(const target &to, unit_task task)
{
    bool known = task == unit_task::reboot ? to.unit->reboot_time.has_value() : to.unit->flash_time.has_value();
    return known && to.unit->task != task;
}

result_code begin_task(const target &to, unit_task task, word_span words)
{
    if (!words.empty())
        return result_bad_arguments;
    return to.device->begin_task(to.device->self, to.at.port, to.at.pdu, task);
}
