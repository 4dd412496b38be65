// Turns the proxy's entries into the settings of lib/fwall/table/proxy.h.
#pragma once

// Reads the entries of `proxy_name` and applies them. Settings whose keyword is absent keep their
// values, except that `proxy_tmpdirectory` is reset to /tmp. `proxy_confp`, `policy_confp` and the
// list of `servContext` change to the new entries; the old ones are freed.
// Returns 0; or 1 and no change if there are no entries or they can't be read:
// "cfgerr: failed to get config entries for NAME" (event 11503).
// A faulty entry is reported (event 11502, with its line) and ends the process with status 1.
int proxy_load_config();
