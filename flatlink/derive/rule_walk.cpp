#include "flatlink/derive/rule_walk.h"

#include "flatlink/derive/derivation_watch.h"
#include "flatlink/derive/link_pairs.h"
#include "flatlink/records/line.h"
#include "flatlink/records/record_watch.h"
#include "lib/frag/objects/object_run.h"
#include "lib/frag/objects/pattern.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_sort.h"
#include "lib/frag/tree/tree_watch.h"
#include "lib/ulib/text.h"

#include <cstring>

using namespace flatlink;

void flatlink::start_rule_walk()
{
    derivation = derivation_state();
}

int enum_rule_list(frag **db, frag *list, const object_callback &callback)
{
    if (list == nullptr)
        return 1;
    sort_frags(&list->child);
    for (frag *rule = list->child; rule != nullptr; rule = rule->next)
        callback(db, rule, "rule");
    return 0;
}

// The number in the rule's name, or else in its child `number`; a rule without one keeps the
// number of the rule before it.
static void set_rule_number(frag *rule, std::uint32_t flags)
{
    std::int32_t number = lenient_number(rule->name);
    if (number < 1)
        if (const char *value = child_value(rule, "number"))
            number = lenient_number(value);
    if (number > 0)
        rulenumber = number;
    // The flag is a high bit, so that rules of proxies sort after those of the packet filter.
    const auto bits = static_cast<std::uint32_t>(rulenumber) & ~PROXY_RULE;
    rulenumber = static_cast<std::int32_t>(bits | (flags & PROXY_RULE));
}

static void set_rule_state(frag *rule, std::uint32_t flags)
{
    constexpr std::int32_t USUAL_LOG_LEVEL = 2;
    set_rule_number(rule, flags);
    rulelabel = child_value(rule, "rulelabel");
    const char *level = child_value(rule, "loglevel_number");
    ruleloglevel = level != nullptr ? lenient_number(level) : USUAL_LOG_LEVEL;
    if (level != nullptr)
        note_unless_number(ruleloglevel, level);
    nestinglevel = 0;
}

// The object on one side of a rule. If the name finds nothing, its last part is cut off, in the
// tree too, and the rest is tried: "net_ipaddr_gw_addr" is the object "net_ipaddr_gw".
static frag *find_side(frag **db, frag *rule, const char *key)
{
    frag *side = ffind(&rule->child, key);
    char *name = side == nullptr ? nullptr : side->value;
    if (name == nullptr)
        return nullptr;
    if (frag *obj = ffind(db, name))
        return obj;
    char *last_part = std::strrchr(name, '_');
    if (last_part == nullptr || last_part == name) {
        note_missing(name);
        return nullptr;
    }
    *last_part = '\0';
    frag *obj = ffind(db, name);
    if (obj != nullptr)
        note_shortened(rule, key);
    else
        note_missing(name);
    return obj;
}

static const char *shown_name(frag *rule, const char *key)
{
    const char *name = child_value(rule, key);
    return name != nullptr ? name : "<NULL>";
}

int vpn_enum_link_rules(frag **db, frag *rule, std::uint32_t flags)
{
    if (rule == nullptr)
        return 0;
    const step_note step(derivation_step::RULE, rule);
    free_replaced_patterns(); // no walk is under way that could hold one
    set_walk_origin(rule);
    set_rule_state(rule, flags);
    frag *src = find_side(db, rule, "src");
    if (src == nullptr) {
        note_no_side(rule, "src");
        condfprintf(fout, "vpn enum rule, src not found: (%s)\n", shown_name(rule, "src"));
        return 0;
    }
    const char *dst_key = flags & PROXY_RULE ? "dest" : "dst";
    frag *dst = find_side(db, rule, dst_key);
    if (dst == nullptr) {
        note_no_side(rule, dst_key);
        condfprintf(fout, "vpn enum rule, dst not found: (%s)\n", shown_name(rule, dst_key));
        return 0;
    }
    (void)vpn_check_link_pair(db, src, dst);
    if (fout != nullptr)
        std::fflush(fout); // the trace of a run that is killed ends with a whole rule
    return 0;
}
