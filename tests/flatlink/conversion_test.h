// What the tests of the conversion share. Each test starts with empty records, an empty tree, and
// a host that has neither routes nor names but those that the test gives it.
#pragma once

#include "flatlink/derive/link_pairs.h"
#include "flatlink/derive/rule_walk.h"
#include "flatlink/driver.h"
#include "flatlink/records/decoder.h"
#include "flatlink/records/line.h"
#include "flatlink/records/link_sort.h"
#include "flatlink/records/links.h"
#include "flatlink/records/records.h"
#include "lib/frag/import/import.h"
#include "lib/frag/objects/pattern.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/symbol.h"
#include "tests/case_lines.h"
#include "tests/kdev/scripted_platform.h"
#include "tests/ulib/scripted_names.h"

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

// What `body` writes to the stream that it is given.
inline std::string written_by(const std::function<void(std::FILE *)> &body)
{
    char *bytes = nullptr;
    std::size_t size = 0;
    std::FILE *stream = open_memstream(&bytes, &size);
    body(stream);
    std::fclose(stream);
    const std::string text(bytes, size);
    std::free(bytes);
    return text;
}

// What `body` writes to the standard error stream.
inline std::string messages_of(const std::function<void()> &body)
{
    testing::internal::CaptureStderr();
    body();
    return testing::internal::GetCapturedStderr();
}

// What `body` writes to the trace.
inline std::string trace_of(const std::function<void()> &body)
{
    return written_by([&](std::FILE *stream) {
        fout = stream;
        body();
        fout = nullptr;
    });
}

// The lines that a writer makes of a list.
template <typename list_type>
std::string saved(void (*save)(std::FILE *, const list_type &), const list_type &list)
{
    return written_by([&](std::FILE *stream) { save(stream, list); });
}

inline std::vector<std::string> lines_of(const std::string &text)
{
    return pieces_of(text, '\n');
}

inline std::string each_behind(const std::string &start, const std::string &lines)
{
    std::string text;
    for (const std::string &line : lines_of(lines))
        text += start + line + "\n";
    return text;
}

// The values of the keys that end in `ending`, in order, each followed by a blank.
inline std::string values_of(const std::string &lines, std::string_view ending)
{
    std::string values;
    for (const std::string &line : lines_of(lines)) {
        const std::size_t equals = line.find('=');
        if (std::string_view(line).substr(0, equals).ends_with(ending))
            values += line.substr(equals + 1) + " ";
    }
    return values;
}

// The lines of `text` that `base` does not have, in order.
inline std::string new_lines(const std::string &base, const std::string &text)
{
    std::string added;
    for (const std::string &line : lines_of(text))
        if (("\n" + base).find("\n" + line + "\n") == std::string::npos)
            added += line + "\n";
    return added;
}

// Decodes lines as the reader of a flat file does.
inline void feed(const std::string &lines)
{
    for (const std::string &line : lines_of(lines))
        if (!decode_vpn_buffer(line))
            decode_nonvpn_buffer(line);
}

// Resets what an earlier row of a table left.
inline void start_anew()
{
    flatlink::reset_records();
    flatlink::invalidate_link_index();
    flatlink::clear_lookups();
    flatlink::free_replaced_patterns();
    flatlink::free_fraglist(&def_database);
    flatlink::start_rule_walk();
    rulelabel = nullptr;
    ruleloglevel = nestinglevel = 0;
    network_database = nullptr;
    fout = nullptr;
}

// Adds a configuration, in any notation, to the tree.
inline void load_tree(const std::string &config)
{
    flatlink::importer reader(&def_database, 0);
    reader.feed(config);
    reader.finish();
}

inline frag *node(const char *key)
{
    return ffind(&def_database, key);
}

// One line a link, in list order: its owner, remote and local side.
inline std::string made_links()
{
    std::string text;
    for (const auto &link : linkinfos)
        text += link->lname.substr(link->lname.find_last_of("_~") + 1) + ": " +
                link->rnetwork_start_address + " " + link->lnetwork_start_address + "\n";
    return text;
}

class conversion_test : public testing::Test
{
  protected:
    conversion_test()
    {
        start_anew();
        kernel.on_route_write = [this](byte_view message) { return answer_look_up(message); };
    }
    ~conversion_test() override { start_anew(); }

    scripted_platform kernel;
    scripted_names host_names;
    std::map<std::string, std::string> own_address_towards; // by gateway

  private:
    int answer_look_up(byte_view message)
    {
        constexpr std::size_t DESTINATION = 80;
        const std::string gateway =
            flatlink::format_address(flatlink::load<u32>(message, DESTINATION));
        const auto found = own_address_towards.find(gateway);
        if (found == own_address_towards.end())
            return ESRCH;
        kernel.readings.push_back(
            route_reply(gateway.c_str(), "0.0.0.0", "255.255.255.255", found->second.c_str()));
        return 0;
    }
};
