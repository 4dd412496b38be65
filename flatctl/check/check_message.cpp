#include "flatctl/check/check_message.h"

#include "lib/ulib/text.h"

#include <algorithm>
#include <cstdlib>

using namespace flatlink;

// In the place of a finding's code.
static constexpr std::string_view FACTS = "facts", STEP = "step", CAUSE = "cause";

// Texts with a NUL terminator each.
static void pack(std::string &bytes, std::string_view text)
{
    bytes += text;
    std::replace(bytes.end() - static_cast<std::ptrdiff_t>(text.size()), bytes.end(), '\0', ' ');
    bytes += '\0';
}

static std::string unpack(std::string_view &bytes)
{
    const std::string_view text = bytes.substr(0, bytes.find('\0'));
    bytes.remove_prefix(std::min(text.size() + 1, bytes.size()));
    return std::string(text);
}

static std::string packed_lines(const std::vector<std::int32_t> &lines)
{
    std::string text;
    for (const std::int32_t line : lines)
        text += std::to_string(line) + " ";
    return text;
}

static std::vector<std::int32_t> unpack_lines(std::string_view text)
{
    std::vector<std::int32_t> lines;
    while (!text.empty()) {
        lines.push_back(lenient_number(text));
        text.remove_prefix(std::min(text.find(' '), text.size() - 1) + 1);
    }
    return lines;
}

std::string flatlink::packed_finding(const finding &found)
{
    std::string bytes;
    pack(bytes, found.row->code);
    for (const std::int32_t number : {found.line, found.column, found.end, found.count})
        pack(bytes, std::to_string(number));
    pack(bytes, packed_lines(found.related));
    pack(bytes, found.detail);
    pack(bytes, found.quoted);
    return bytes;
}

bool flatlink::unpack_finding(std::string_view bytes, finding &found)
{
    const finding_row *row = find_code(unpack(bytes));
    if (row == nullptr)
        return false;
    found = {.row = row};
    for (std::int32_t *number : {&found.line, &found.column, &found.end, &found.count})
        *number = lenient_number(unpack(bytes));
    found.related = unpack_lines(unpack(bytes));
    found.detail = unpack(bytes);
    found.quoted = unpack(bytes);
    return true;
}

std::string flatlink::packed_facts(const input_facts &facts)
{
    std::string bytes;
    pack(bytes, FACTS);
    for (const std::string &text : {facts.kind, facts.notation, facts.layout, facts.sha256})
        pack(bytes, text);
    for (const std::int64_t number : {facts.lines, facts.keys})
        pack(bytes, std::to_string(number));
    for (const std::string &name : facts.names)
        pack(bytes, name);
    return bytes;
}

bool flatlink::unpack_facts(std::string_view bytes, input_facts &facts)
{
    if (unpack(bytes) != FACTS)
        return false;
    facts = {};
    for (std::string *text : {&facts.kind, &facts.notation, &facts.layout, &facts.sha256})
        *text = unpack(bytes);
    for (std::int64_t *number : {&facts.lines, &facts.keys})
        *number = std::strtoll(unpack(bytes).c_str(), nullptr, 10);
    while (!bytes.empty())
        facts.names.push_back(unpack(bytes));
    return true;
}

std::string flatlink::packed_step(int step)
{
    std::string bytes;
    pack(bytes, STEP);
    pack(bytes, std::to_string(step));
    return bytes;
}

bool flatlink::unpack_step(std::string_view bytes, int &step)
{
    if (unpack(bytes) != STEP)
        return false;
    step = lenient_number(unpack(bytes));
    return true;
}

std::string flatlink::packed_cause(const finding &found)
{
    std::string bytes;
    pack(bytes, CAUSE);
    return bytes + packed_finding(found);
}

bool flatlink::unpack_cause(std::string_view bytes, finding &found)
{
    return unpack(bytes) == CAUSE && unpack_finding(bytes, found);
}
