#include "lib/kdev/route_access.h"

#include "tests/kdev/scripted_platform.h"

#include <array>

namespace
{

byte_list usual_reply()
{
    return route_reply("10.2.0.0", "10.1.0.9", "255.255.0.0", "10.1.0.1");
}

byte_list strange_reply(std::size_t offset)
{
    byte_list reply = usual_reply();
    store<std::int32_t>(reply, offset, 1);
    return reply;
}

byte_list reply_with(std::size_t offset, std::int32_t value)
{
    byte_list reply = usual_reply();
    store(reply, offset, value);
    return reply;
}

byte_list cut_reply(std::int32_t addrs, std::size_t size_bytes)
{
    byte_list reply = reply_with(12, addrs);
    reply.resize(size_bytes);
    return reply;
}

using reading = scripted_platform::reading;

} // namespace

TEST(ra_lookup_route, question_has_its_fixed_layout)
{
    scripted_platform script;
    script.readings = {{usual_reply()}};
    std::array<std::uint8_t, RA_REPLY_SIZE> buffer;
    ASSERT_EQ(RA_DONE, ra_lookup_route(inet_addr("10.2.3.4"), buffer));

    ASSERT_EQ(1u, script.written.size());
    const byte_list &asked = script.written[0];
    byte_list wanted(92);
    store<std::uint16_t>(wanted, 0, 92);
    wanted[2] = 3;
    wanted[3] = 4;
    store<std::int32_t>(wanted, 12, 49);
    store<std::int32_t>(wanted, 16, getpid());
    store<std::int32_t>(wanted, 20, gettid());
    store<std::uint16_t>(wanted, 76, AF_INET);
    store(wanted, 80, inet_addr("10.2.3.4"));
    EXPECT_EQ(wanted, asked);
}

TEST(ra_lookup_route, judges_what_it_reads)
{
    const byte_list stranger = strange_reply(16);
    const struct {
        const char *label;
        std::deque<reading> readings;
        int code, error;
        std::size_t unread;
    } cases[] = {
        {"own answer", {{usual_reply()}, {stranger}}, RA_DONE, 0, 1},
        {"after two strangers", {{stranger}, {strange_reply(20)}, {usual_reply()}}, RA_DONE, 0, 0},
        {"after three", {{stranger}, {stranger}, {stranger}, {usual_reply()}}, RA_FAILED, EIO, 1},
        {"failed read", {{{}, ENOBUFS}, {usual_reply()}}, RA_FAILED, ENOBUFS, 1},
        {"failed after a stranger", {{stranger}, {{}, EINTR}}, RA_FAILED, EINTR, 0},
        {"an error inside", {{reply_with(24, ENETDOWN)}, {usual_reply()}}, RA_FAILED, EIO, 1},
        {"not done", {{reply_with(8, 0x801)}}, RA_FAILED, EIO, 0},
        {"no destination", {{reply_with(12, 0x36)}}, RA_FAILED, EIO, 0},
        {"no gateway", {{reply_with(12, 0x35)}}, RA_FAILED, EIO, 0},
        {"no netmask", {{reply_with(12, 0x33)}}, RA_FAILED, EIO, 0},
        {"no interface", {{reply_with(12, 0x27)}}, RA_FAILED, EIO, 0},
        {"no source", {{cut_reply(0x17, 376)}}, RA_DONE, 0, 0},
        {"cut in the interface", {{cut_reply(0x17, 375)}}, RA_FAILED, EIO, 0},
        {"cut in the source", {{cut_reply(0x37, 391)}}, RA_FAILED, EIO, 0},
        {"header only", {{cut_reply(0x37, 76)}}, RA_FAILED, EIO, 0},
        {"half a header is nobody's", {{cut_reply(0x37, 18)}, {usual_reply()}}, RA_DONE, 0, 0},
        {"nothing, three times", {{{}}, {{}}, {{}}}, RA_FAILED, EIO, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        scripted_platform script;
        script.readings = c.readings;
        std::array<std::uint8_t, RA_REPLY_SIZE> buffer;
        errno = 0;
        EXPECT_EQ(c.code, ra_lookup_route(inet_addr("10.2.3.4"), buffer));
        if (c.code != RA_DONE) {
            EXPECT_EQ(c.error, errno);
        }
        EXPECT_EQ(c.unread, script.readings.size());
        EXPECT_EQ(1, script.route_closes);
    }
}

TEST(ra_lookup_route, nothing_of_an_earlier_message_stays)
{
    scripted_platform script;
    byte_list stranger = strange_reply(16);
    stranger.resize(1024, 0xAA);
    script.readings = {{stranger}, {cut_reply(0x17, 376)}};
    u32 out = 1;
    EXPECT_EQ(RA_DONE, ra_get_route_address(inet_addr("10.2.3.4"), &out));
    EXPECT_EQ(0u, out);
}

TEST(ra_lookup_route, refused_before_reading)
{
    const struct {
        const char *label;
        int open_error, write_error;
        ssize_t left_out;
        int code, error;
    } cases[] = {
        {"no socket", EMFILE, 0, 0, RA_FAILED, EMFILE},
        {"no socket, odd error", ESRCH, 0, 0, RA_FAILED, ESRCH},
        {"no route", 0, ESRCH, 0, RA_NO_ROUTE, ESRCH},
        {"no right", 0, EPERM, 0, RA_FAILED, EPERM},
        {"half written", 0, 0, 1, RA_FAILED, EIO},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        scripted_platform script;
        script.route_open_error = c.open_error;
        script.on_route_write = [&c](byte_view) { return c.write_error; };
        script.route_write_short = c.left_out;
        script.readings = {{usual_reply()}};
        u32 out = 5;
        EXPECT_EQ(c.code, ra_get_route_address(inet_addr("10.2.3.4"), &out));
        EXPECT_EQ(c.error, errno);
        EXPECT_EQ(5u, out);
        EXPECT_EQ(1u, script.readings.size());
    }
}

TEST(ra_get_route_address, gives_the_source)
{
    scripted_platform script;
    script.readings = {{usual_reply()}};
    u32 out = 0;
    EXPECT_EQ(RA_DONE, ra_get_route_address(inet_addr("10.2.3.4"), &out));
    EXPECT_EQ(inet_addr("10.1.0.1"), out);
}

TEST(ra_get_route_interface, cuts_long_names)
{
    const struct {
        const char *label;
        std::uint8_t length;
        std::size_t room;
        const char *name;
    } cases[] = {
        {"none", 0, 16, ""},
        {"usual", 4, 16, "abcd"},
        {"fifteen", 15, 16, "abcdefghijklmno"},
        {"sixteen", 16, 17, "abcdefghijklmnop"},
        {"sixteen without room", 16, 16, "abcdefghijklmno"},
        {"seventeen", 17, 32, "abcdefghijklmno"},
        {"longest", 255, 300, "abcdefghijklmno"},
        {"one byte of room", 4, 1, ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        scripted_platform script;
        byte_list reply = usual_reply();
        reply[124 + 5] = c.length;
        std::copy_n("abcdefghijklmnopqrstuvwxyz", 26, reply.begin() + 124 + 8);
        script.readings = {{reply}};
        // Exactly the room, so that the sanitizer sees a byte too many.
        std::vector<char> name(c.room, '?');
        EXPECT_EQ(RA_DONE, ra_get_route_interface(inet_addr("10.2.3.4"), name));
        EXPECT_STREQ(c.name, name.data());
    }
}

TEST(ra_add_route, message_follows_the_flags)
{
    scripted_platform script;
    const u32 dst = inet_addr("10.2.0.0"), gateway = inet_addr("10.1.0.9");
    EXPECT_EQ(RA_DONE, ra_add_route(dst, gateway, inet_addr("255.255.0.0"), 0x803));
    EXPECT_EQ(RA_DONE, ra_add_route(dst, gateway, inet_addr("255.255.0.0"), 0x807));
    EXPECT_EQ(RA_DONE, ra_remove_route(dst, gateway, inet_addr("255.255.0.0"), 0x4));
    const struct {
        const char *label;
        std::size_t size_bytes;
        std::uint8_t type;
        std::int32_t flags, addrs;
    } cases[] = {
        {"network", 124, 1, 0x803, 7}, {"host", 108, 1, 0x807, 3}, {"remove", 124, 2, 0x4, 7}};
    ASSERT_EQ(std::size(cases), script.written.size());
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(cases[i].label);
        const byte_list &sent = script.written[i];
        ASSERT_EQ(cases[i].size_bytes, sent.size());
        EXPECT_EQ(cases[i].size_bytes, at<std::uint16_t>(sent, 0));
        EXPECT_EQ(3, sent[2]);
        EXPECT_EQ(cases[i].type, sent[3]);
        EXPECT_EQ(cases[i].flags, at<std::int32_t>(sent, 8));
        EXPECT_EQ(cases[i].addrs, at<std::int32_t>(sent, 12));
        EXPECT_EQ(dst, at<u32>(sent, 80));
        EXPECT_EQ(gateway, at<u32>(sent, 96));
        if (sent.size() == 124) {
            EXPECT_EQ(inet_addr("255.255.0.0"), at<u32>(sent, 112));
        }
    }
}

TEST(ra_add_route, failures_become_codes)
{
    const struct {
        const char *label;
        int open_error, write_error;
        ssize_t left_out;
        int add_code, remove_code;
    } cases[] = {
        {"done", 0, 0, 0, RA_DONE, RA_DONE},
        {"exists", 0, EEXIST, 0, RA_EXISTS, RA_FAILED},
        {"exists, said otherwise", 0, ENOENT, 0, RA_EXISTS, RA_FAILED},
        {"no errno", 0, -1, 0, RA_EXISTS, RA_FAILED},
        {"no such", 0, ESRCH, 0, RA_FAILED, RA_NO_ROUTE},
        {"no right", 0, EPERM, 0, RA_FAILED, RA_FAILED},
        {"half written", 0, 0, 1, RA_FAILED, RA_FAILED},
        {"no socket", EEXIST, 0, 0, RA_FAILED, RA_FAILED},
        {"no socket either", ESRCH, 0, 0, RA_FAILED, RA_FAILED},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        scripted_platform script;
        script.route_open_error = c.open_error;
        script.on_route_write = [&c](byte_view) { return c.write_error; };
        script.route_write_short = c.left_out;
        errno = EEXIST; // an old error must not count
        EXPECT_EQ(c.add_code, ra_add_route(1, 2, 3, 0x803));
        errno = ESRCH;
        EXPECT_EQ(c.remove_code, ra_remove_route(1, 2, 3, 0));
    }
}

TEST(ra_delete_route, takes_only_the_exact_destination)
{
    const struct {
        const char *label, *addr, *dst, *mask;
        int remove_error, code;
        bool removes;
        std::int32_t flags;
    } cases[] = {
        {"host", "10.2.3.4", "10.2.3.4", "255.255.255.255", 0, RA_DONE, true, 4},
        {"network", "10.2.0.0", "10.2.0.0", "255.255.0.0", 0, RA_DONE, true, 0},
        {"covered by a network", "10.2.3.4", "10.2.0.0", "255.255.0.0", 0, RA_NO_ROUTE, false, 0},
        {"covered by the default", "10.2.3.4", "0.0.0.0", "0.0.0.0", 0, RA_NO_ROUTE, false, 0},
        {"gone meanwhile", "10.2.3.4", "10.2.3.4", "255.255.255.255", ESRCH, RA_NO_ROUTE, true, 4},
        {"no right", "10.2.3.4", "10.2.3.4", "255.255.255.255", EPERM, RA_FAILED, true, 4},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        scripted_platform script;
        script.readings = {{route_reply(c.dst, "10.1.0.9", c.mask, "10.1.0.1")}};
        script.on_route_write = [&c](byte_view message) {
            return message[3] == 2 ? c.remove_error : 0;
        };
        EXPECT_EQ(c.code, ra_delete_route(inet_addr(c.addr)));
        ASSERT_EQ(c.removes ? 2u : 1u, script.written.size());
        if (!c.removes)
            continue;
        const byte_list &sent = script.written[1];
        EXPECT_EQ(2, sent[3]);
        EXPECT_EQ(c.flags, at<std::int32_t>(sent, 8));
        EXPECT_EQ(inet_addr(c.addr), at<u32>(sent, 80));
        EXPECT_EQ(inet_addr("10.1.0.9"), at<u32>(sent, 96));
        EXPECT_EQ(inet_addr(c.mask), at<u32>(sent, 112));
    }
    scripted_platform script;
    script.on_route_write = [](byte_view) { return ESRCH; };
    EXPECT_EQ(RA_NO_ROUTE, ra_delete_route(1));
    EXPECT_EQ(1u, script.written.size());
}
