// The words of the desk for what stands around the outlets: probes, fuses, hardware protection, links.
#pragma once

#include <span>
#include <string>

#include "appliance/morvd/answer.h"

struct service;

// `rest` is what stands behind the word.
answer treat_sensor(service &service, std::span<const std::string> rest);
answer treat_fuse(service &service, std::span<const std::string> rest);
answer treat_hwocp(service &service, std::span<const std::string> rest);
answer treat_link(service &service, std::span<const std::string> rest);
