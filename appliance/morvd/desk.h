// The verb `desk`: what a person at the desk, or a test, tells the simulated appliance that no real one would take.
#pragma once

#include <string>
#include <vector>

struct answer;
struct service;

// `words` begins with "desk". "desk" alone lists what can be said.
answer treat_desk(service &service, const std::vector<std::string> &words);
