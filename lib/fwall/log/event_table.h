// The level of each event, by which a rule chooses what is logged about its connections.
#pragma once

#include "lib/ulib/events.h"

#include <cstdint>

// The level of `event`, 0 (always of interest) to 5; 0 for an event that the table does not have.
std::int32_t lookup_loglevel_byid(events event);
