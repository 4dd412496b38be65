// From the entries of the proxy to the settings of lib/fwall/table/proxy.h.
#pragma once

// Reads the entries of `proxy_name` and takes over what they set. Settings whose keyword is absent
// stay as they were, but `proxy_tmpdirectory` becomes /tmp again. `proxy_confp`, `policy_confp`
// and the list of `servContext` change to the new entries; the old ones are freed.
// Returns 0; or 1 with all as it was, if there are no entries or they can't be read:
// "cfgerr: failed to get config entries for NAME" (event 11503).
// An entry with a fault is reported (event 11502, with its line) and ends the process with
// status 1.
int proxy_load_config();
