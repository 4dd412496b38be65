// What the tests of the conversion share. Each test starts with empty records, an empty tree, and
// a host that has neither routes nor names but those that the test gives it.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

#include "flatlink/decoder.h"
#include "flatlink/driver.h"
#include "flatlink/line.h"
#include "flatlink/link_sort.h"
#include "flatlink/links.h"
#include "flatlink/records.h"
#include "flatlink/rule_walk.h"
#include "lib/frag/frag.h"
#include "lib/frag/import.h"
#include "lib/frag/pattern.h"
#include "lib/frag/symbol.h"
#include "tests/kdev/scripted_platform.h"

// The answers of the name service (resolver.cpp): names and their addresses.
struct scripted_names {
    static inline std::map<std::string, std::string> addresses;
    static inline std::map<std::string, int> lookups; // how often each name was asked
};

// A stream whose text is at hand.
class memory_stream
{
  public:
    memory_stream() : file(open_memstream(&bytes_, &size_)) {}
    ~memory_stream()
    {
        std::fclose(file);
        std::free(bytes_);
    }
    memory_stream(const memory_stream &) = delete;
    memory_stream &operator=(const memory_stream &) = delete;

    std::string text()
    {
        std::fflush(file);
        return std::string(bytes_, size_);
    }

  private:
    char *bytes_ = nullptr;
    std::size_t size_ = 0;

  public:
    std::FILE *const file;
};

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
    memory_stream stream;
    fout = stream.file;
    body();
    fout = nullptr;
    return stream.text();
}

// The lines that a writer makes of a list.
template <typename record>
std::string saved(void (*save)(std::FILE *, const record_list<record> &),
                  const record_list<record> &list)
{
    memory_stream stream;
    save(stream.file, list);
    return stream.text();
}

inline std::vector<std::string> lines_of(const std::string &text)
{
    std::vector<std::string> lines;
    for (std::size_t pos = 0; pos < text.size();) {
        const std::size_t end = std::min(text.find('\n', pos), text.size());
        lines.push_back(text.substr(pos, end - pos));
        pos = end + 1;
    }
    return lines;
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

// Forgets what an earlier row of a table left.
inline void start_anew()
{
    reset_records();
    forget_link_numbers();
    forget_lookups();
    free_replaced_patterns();
    free_fraglist(&def_database);
    start_rule_walk();
    rulelabel = nullptr;
    ruleloglevel = nestinglevel = 0;
    network_database = nullptr;
    fout = nullptr;
}

// Adds a configuration, in any notation, to the tree.
inline frag **load_tree(const std::string &config)
{
    importer reader(&def_database, 0);
    reader.feed(config);
    reader.finish();
    return &def_database;
}

inline frag *node(const char *key)
{
    return ffind(&def_database, key);
}

// One line a link, in list order: number, name, remote and local side.
inline std::string link_summary()
{
    std::string text;
    const auto side = [](const std::string &start, u32 delimiter, int type) {
        return " " + start + "/" + dotted(delimiter) + "/" + std::to_string(type);
    };
    for (const auto &link : linkinfos)
        text += std::to_string(link->linkno) + " " + link->lname +
                side(link->rnetwork_start_address, link->rnetwork_delimiter, link->rnetwork_type) +
                side(link->lnetwork_start_address, link->lnetwork_delimiter, link->lnetwork_type) +
                "\n";
    return text;
}

class conversion_test : public testing::Test
{
  protected:
    conversion_test()
    {
        start_anew();
        scripted_names::addresses.clear();
        scripted_names::lookups.clear();
        kernel.on_route_write = [this](byte_view message) { return answer_look_up(message); };
    }
    ~conversion_test() override { start_anew(); }

    scripted_platform kernel;
    std::map<std::string, std::string> own_address_towards; // by gateway

  private:
    int answer_look_up(byte_view message)
    {
        constexpr std::size_t DESTINATION = 80;
        const std::string gateway = dotted(load<u32>(message, DESTINATION));
        const auto found = own_address_towards.find(gateway);
        if (found == own_address_towards.end())
            return ESRCH;
        kernel.readings.push_back(
            {route_reply(gateway.c_str(), "0.0.0.0", "255.255.255.255", found->second.c_str())});
        return 0;
    }
};
