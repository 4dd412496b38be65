// The state of one run of the derivation, since links are made many calls below the rule that
// implies them. Each part stands here alone; start_rule_walk puts all of it back.
#pragma once

#include "lib/frag/objects/object_run.h"

#include <cstdint>

struct frag;

struct derivation_state {
    // Of the rule being walked.
    std::int32_t rulenumber = 0;      // PROXY_RULE set: a proxy rule
    const char *rulelabel = nullptr;  // text in the tree; null: none
    std::int32_t ruleloglevel = 0;    // words of debug_list, as a number
    std::int32_t nestinglevel = 0;    // peers that the current link lies inside of
    flatlink::peer_path remote_peers; // these peers

    // Of the run.
    std::int32_t linkno = 0;   // number of the last link made
    long unnumbered_links = 0; // implied beyond MAX_LINKS
    long nested_peers = 0;     // opened inside of others

    // The firewall itself as a local endpoint, and any address as a remote one: objects of the
    // tree, made on first need and kept for the rest of the run. Null until then.
    frag *vpn_flocal = nullptr;
    frag *vpn_fremote = nullptr;
};

inline derivation_state derivation;

// The parts of it that the code for links asks for by name.
inline std::int32_t &rulenumber = derivation.rulenumber;
inline const char *&rulelabel = derivation.rulelabel;
inline std::int32_t &ruleloglevel = derivation.ruleloglevel;
inline std::int32_t &nestinglevel = derivation.nestinglevel;
inline std::int32_t &linkno = derivation.linkno;
inline frag *&vpn_flocal = derivation.vpn_flocal;
inline frag *&vpn_fremote = derivation.vpn_fremote;
