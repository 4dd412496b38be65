// The upgrade from layout 4.1, or an older one, to the current layout. It runs once, right after
// the import and before anything reads the tree.
#pragma once

struct frag;

// Brings a tree to the current layout, in place:
// - the client address in `gui_client` becomes an entry of the administrators' list, if there is
//   a group `fw-admin`; without it, or without an address, it stays
// - each config set of the plug relay becomes a proxy of its own with a copy of the relay's
//   settings; when all copies would need 256 MB, the last sets stay with the relay
// - states of the list `proxy` move into the proxies' nodes, and ports, types and programs are
//   filled in by the platform's map (lib/frag/layout/proxy_map.h)
//   head  address of the tree's head
// Returns 1 if the tree has no `def_proxy` and only the first step was done, else 0.
// Reports the sets that stayed, once, and nothing else. Call it only for a tree that needs it,
// which `gui_client` or `def_proxy_plug-relay` shows: the last step changes trees of the current
// layout too.
int up41(frag **head);
