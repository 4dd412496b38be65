// The lines of which the value that is read now is made: those read since the value before, or the
// ones of each part of a side's text.
#include "flatctl/account/conversion_log.h"
#include "lib/frag/objects/netobj.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/origin.h"
#include "lib/ulib/address.h"
#include "lib/ulib/text.h"

#include <cstdlib>

using namespace flatlink;

static bool is_member_type(const frag *node)
{
    if (std::string_view(node->name) != "type" || node->parent == nullptr ||
        !is_of_type(node->parent, "elem"))
        return false;
    return !same_word(node->value, "group") && !same_word(node->value, "emptygroup");
}

// Without a mask, and without the end of a range, an address has all its bits.
static bool has_all_ones(const frag *node)
{
    return std::string_view(node->value) == "255.255.255.255" ||
           (is_of_type(node->parent, "ipmask") && parse_address(node->value) == NOT_AN_ADDRESS);
}

// Whether numbers stand in the place of an address, but not as it has them.
static bool is_odd_address(std::string_view text)
{
    const u32 address_be = parse_address(text);
    const bool is_number = text.find_first_not_of("0123456789.") == std::string_view::npos;
    return (is_number || address_be != NOT_AN_ADDRESS) && !says_address(text, address_be);
}

// Octets and stars, of which some are none.
static bool is_odd_pattern(std::string_view text)
{
    constexpr int OCTETS = 4, OCTET_MAX = 255;
    if (text.find_first_not_of("0123456789.*") != std::string_view::npos)
        return false; // told where it is compiled
    int octets = 1;
    for (std::size_t at = 0; at < text.size(); ++at) {
        octets += text[at] == '.' ? 1 : 0;
        std::string_view rest = text.substr(at);
        if (rest[0] != '.' && rest[0] != '*' && take_number(rest) > OCTET_MAX)
            return true;
    }
    return octets > OCTETS;
}

// An empty text stands for every address, or a mask of all ones; others are read in their own way.
static bool is_no_address(const frag *node)
{
    const std::string_view name = node->name, text = node->value;
    if (name == "addr" &&
        (is_of_type(node->parent, "ipaddr") || is_of_type(node->parent, "ipmask")))
        return is_odd_address(text);
    return name == "pat" && is_of_type(node->parent, "pattern") &&
           (text.empty() || is_odd_pattern(text));
}

// A network and a range name an object for each part of their text.
void conversion_log::choose_part(const frag *node)
{
    const std::string_view name = node->name;
    if (is_of_type(node->parent, "ipnet") || is_of_type(node->parent, "iprange")) {
        reads_ = name == "mask" || name == "end" ? &side_->second : &side_->first;
        side_->has_first = side_->has_first || reads_ == &side_->first;
    } else if (reads_ == &side_->first) {
        side_->has_first = true;
    }
    if (name != "addr")
        return;
    side_->has_odd_part = side_->has_odd_part || is_odd_address(node->value);
    (reads_ == &side_->second ? side_->second_value : side_->first_value) = hash_of(node->value);
}

// In an entry of a pool, which takes the lines of its text from the window, a range of addresses
// and a network have a field for each part.
void conversion_log::choose_entry_part(const frag *node)
{
    const std::string_view name = node->name;
    if (is_of_type(node->parent, "iprange"))
        entry_of_parts_ = name == "start" ? "addr_" : entry_of_parts_;
    else if (is_of_type(node->parent, "ipnet"))
        entry_of_parts_ = name == "addr" ? "net_" : entry_of_parts_;
    else
        return;
    if ((name == "end" || name == "mask") && !entry_of_parts_.empty())
        second_part_ = window_.size();
}

void conversion_log::clear_window()
{
    window_.clear();
    entry_of_parts_ = {};
    second_part_ = 0;
}

// The line becomes an origin of what is made next, unless its value makes nothing.
void conversion_log::note_value_read(const frag *node, std::int32_t line)
{
    const bool is_odd = is_no_address(node);
    if (is_odd)
        add_remark(remark::NO_ADDRESS, line, node->value);
    // All but "off" counts as "on".
    const bool is_switch = std::string_view(node->name) == "include-sgo" && node->value[0] != '\0';
    if (is_switch && !same_word(node->value, "off") && !same_word(node->value, "on"))
        add_remark(remark::NO_WORD, line, node->value);
    std::uint16_t &marks = line_at(line).marks;
    marks |= LINE_READ;
    if (is_member_type(node))
        marks |= LINE_MEMBER_TYPE;
    if (has_all_ones(node))
        marks |= LINE_ALL_ONES;
    if (reads_ == &window_ && is_window_used_) {
        clear_window();
        is_window_used_ = false;
    }
    if (side_ != nullptr)
        choose_part(node);
    else if (steps_.empty())
        choose_entry_part(node);
    // In a pool, a peer stands for several entries, and each line leads to all of them.
    window_only_leads_ =
        window_only_leads_ || (steps_.empty() && is_of_type(node->parent, "vpnnetwork"));
    if (node->value[0] == '\0' || (marks & LINE_ALL_ONES) != 0)
        take_back(last_line_); // what led to it makes nothing, either
    else if ((marks & LINE_MEMBER_TYPE) == 0 && std::string_view(node->name) != "include-sgo")
        // An odd address, such as 10.1, is read as a pattern alone and as another text beside one:
        // the same may come of other objects without it.
        add_origin(window_only_leads_ || is_odd ? -line : line);
}

// Of a text that a thousand lines make, each link would keep all of them: the first tell enough.
void conversion_log::add_origin(std::int32_t line)
{
    constexpr std::size_t ORIGINS_MAX = 32;
    if (reads_->size() < ORIGINS_MAX)
        reads_->push_back(line);
}

void conversion_log::take_back(std::int32_t line)
{
    if (!reads_->empty() && reads_->back() == line)
        reads_->pop_back();
}

void conversion_log::read_no_side()
{
    side_ = nullptr;
    window_only_leads_ = false;
    reads_ = &window_;
    clear_window();
}

// One of several texts: each line leads to it, and perhaps to the others.
void text_origins::become_led_there()
{
    first.insert(first.end(), second.begin(), second.end());
    second.clear();
    for (std::int32_t &line : first)
        line = -std::abs(line);
}
