// The level of each event, by which a rule chooses what is logged about its connections.
#pragma once

#include "lib/ulib/events.h"

#include <cstdint>

// The level of `event`, from 0 (always logged) to 5; 0 for an event that is not in the table.
std::int32_t lookup_loglevel_byid(events event);
