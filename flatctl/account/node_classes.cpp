#include "flatctl/account/node_classes.h"

#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/origin.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <unordered_set>
#include <utility>

using namespace flatlink;

namespace
{

// A node of the tree in the account, on the way from the top to the node that is looked at: what
// was met until there, and what was seen below.
struct tree_place {
    const frag *node = nullptr;
    const frag *next_child = nullptr; // still to be looked at
    std::int32_t last_line = 0;       // at or below the node; 0 for none
    std::uint16_t last_depth = 0;     // of that line's node
    std::uint16_t depth = 0;     // 1 at the top; what lies deeper than it can hold has its maximum
    bool has_many_lines = false; // at or below the node
    bool is_met = false;
    bool is_met_for_link = false;
    bool is_for_layout = false;
    bool is_needed = false; // without its only line, what was met would not be there
    bool is_of_idle_rule = false;
    bool is_of_object = false; // below `net`
};

class tree_walk
{
  public:
    tree_walk(const conversion_log &log, const frag *tree)
        : log_(log), tree_(tree), lines_(log.lines().size())
    {
    }

    std::vector<node_class> run();

  private:
    void find_idle_rules();
    bool knows_all_tops() const;
    tree_place place_of(const frag *node, const tree_place &above) const;
    void look_below(const frag *top);
    void look_at_line(tree_place &place);
    void note_sole_line(const tree_place &place);

    const conversion_log &log_;
    const frag *tree_;
    std::vector<node_class> lines_;
    std::unordered_set<const frag *> idle_rules_;
};

} // namespace

static bool is_objects(const frag *top)
{
    return std::string_view(top->name) == "net";
}

// Nodes that a program made may have no parent, though they are not at the top.
bool tree_walk::knows_all_tops() const
{
    std::size_t known = 0;
    for (const frag *node = tree_; node != nullptr; node = node->next)
        known += log_.met_tops().contains(node) ? 1U : 0U;
    return known == log_.met_tops().size();
}

void tree_walk::find_idle_rules()
{
    for (const rule_note &rule : log_.rules())
        if (rule.link_count == 0 && !rule.meets_peer)
            idle_rules_.insert(rule.rule);
}

tree_place tree_walk::place_of(const frag *node, const tree_place &above) const
{
    const met_note &met = log_.met_note_of(node);
    tree_place place;
    place.node = node;
    place.next_child = node->child;
    place.depth = static_cast<std::uint16_t>(std::min(above.depth + 1, UINT16_MAX));
    place.is_met = met.is_met || above.is_met;
    place.is_met_for_link = met.is_met ? met.is_met_for_link : above.is_met_for_link;
    place.is_for_layout = met.is_met_for_layout || above.is_for_layout;
    place.is_needed = met.is_met_for_link || met.is_met_for_layout;
    place.is_of_idle_rule = above.is_of_idle_rule || idle_rules_.contains(node);
    place.is_of_object = above.is_of_object;
    return place;
}

void tree_walk::look_at_line(tree_place &place)
{
    const std::int32_t line = origin_line(place.node);
    if (place.node->value == nullptr || line == 0)
        return;
    place.last_line = line;
    place.last_depth = place.depth;
    node_class &other = lines_[static_cast<std::size_t>(line)];
    if (place.depth < other.depth)
        return;
    other.depth = place.depth;
    const std::uint16_t marks = log_.lines()[static_cast<std::size_t>(line)].marks;
    if ((marks & LINE_READ) != 0)
        other.kind = place.is_of_idle_rule ? line_class::NO_LINK : line_class::DECIDES;
    else if (place.is_met)
        other.kind = place.is_met_for_link ? line_class::NEVER_ASKED : line_class::UNREACHED;
    else if (place.is_for_layout || (marks & LINE_FOR_LAYOUT) != 0)
        other.kind = line_class::LAYOUT;
    else
        other.kind = place.is_of_object ? line_class::UNREACHED : line_class::NEVER_ASKED;
}

// The only line below something that was met.
void tree_walk::note_sole_line(const tree_place &place)
{
    node_class &other = lines_[static_cast<std::size_t>(place.last_line)];
    if (other.depth == place.last_depth && other.kind != line_class::NO_LINK)
        other.kind = line_class::DECIDES;
}

void tree_walk::look_below(const frag *top)
{
    tree_place above;
    above.is_of_object = is_objects(top);
    std::vector<tree_place> path{place_of(top, above)};
    look_at_line(path.back());
    while (!path.empty()) {
        tree_place &place = path.back();
        if (const frag *child = place.next_child; child != nullptr) {
            place.next_child = child->next;
            path.push_back(place_of(child, place));
            look_at_line(path.back());
            continue;
        }
        const tree_place done = place;
        path.pop_back();
        if (done.last_line == 0)
            continue;
        if (done.is_needed && !done.has_many_lines)
            note_sole_line(done);
        if (!path.empty()) {
            tree_place &parent = path.back();
            parent.has_many_lines =
                done.has_many_lines || parent.has_many_lines || parent.last_line != 0;
            parent.last_line = done.last_line;
            parent.last_depth = done.last_depth;
        }
    }
}

std::vector<node_class> tree_walk::run()
{
    find_idle_rules();
    const bool knows_tops = knows_all_tops();
    for (const frag *top = tree_; top != nullptr; top = top->next)
        // Nothing was met below the others: what holds is what no walk has to find out.
        if (!knows_tops || log_.met_tops().contains(top) || is_objects(top))
            look_below(top);
    return std::move(lines_);
}

std::vector<node_class> flatlink::classes_of_nodes(const conversion_log &log, const frag *tree)
{
    return tree_walk(log, tree).run();
}

std::int32_t flatlink::first_line_below(const frag *top)
{
    std::int32_t first = 0;
    std::vector<const frag *> open{top};
    while (!open.empty()) {
        const frag *node = open.back();
        open.pop_back();
        const std::int32_t line = node->value != nullptr ? origin_line(node) : 0;
        if (line != 0 && (first == 0 || line < first))
            first = line;
        for (const frag *child = node->child; child != nullptr; child = child->next)
            open.push_back(child);
    }
    return first;
}
