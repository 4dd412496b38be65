#include "flatlink/derive/link_pairs.h"

#include "flatlink/derive/link_lines.h"
#include "flatlink/derive/peer.h"
#include "lib/frag/objects/object_run.h"
#include "lib/ulib/bounds.h"
#include "tests/case_lines.h"
#include "tests/flatlink/conversion_test.h"
#include "tests/ulib/report_log.h"

using namespace flatlink;

static std::vector<case_row> side_cases()
{
    return case_rows("flatlink/link_sides", "objs far near");
}

static std::string objects()
{
    return each_behind("net_", side_cases()[0]["objs"]);
}

class TrustedLink : public conversion_test
{
  protected:
    static void add(const char *remote, const char *local, const char *vpnobj = "vpnnetwork_quay")
    {
        const auto object = [](const char *key) {
            return node((std::string("net_") + key).c_str());
        };
        vpn_add_trusted_link(&def_database, object(vpnobj), object(remote), object(local));
    }

    // "start/delimiter/type" of one side of each link.
    static std::string sides(std::string linkinfo::*start, u32 linkinfo::*delimiter,
                             std::uint8_t linkinfo::*type)
    {
        std::string text;
        for (const auto &link : linkinfos)
            text +=
                (text.empty() ? "" : " ") + (*link).*start + "/" +
                ((*link).*delimiter == NOT_AN_ADDRESS ? "-" : format_address((*link).*delimiter)) +
                "/" + std::to_string((*link).*type);
        return text;
    }
    static std::string remotes()
    {
        return sides(&linkinfo::rnetwork_start_address, &linkinfo::rnetwork_delimiter,
                     &linkinfo::rnetwork_type);
    }
    static std::string locals()
    {
        return sides(&linkinfo::lnetwork_start_address, &linkinfo::lnetwork_delimiter,
                     &linkinfo::lnetwork_type);
    }
};

TEST_F(TrustedLink, ExpandsBothSides)
{
    for (case_row &c : side_cases()) {
        const char *const object = c["case"].c_str();
        SCOPED_TRACE(object);
        start_anew();
        load_tree(objects());
        add(object, "ipaddr_pc");
        EXPECT_EQ(remotes(), c["far"]);
        EXPECT_EQ(linkinfos.size(), static_cast<std::size_t>(linkno)) << "no number is lost";
        linkinfos.clear();
        add("ipaddr_first", object);
        EXPECT_EQ(locals(), c["near"]);
    }
    start_anew();
    load_tree(objects());
    add("pattern_two", "pattern_two");
    EXPECT_EQ(made_links(), "q: 10.5.0.7 10.5.0.7\nq: 10.5.0.7 10.6.0.0\nq: 10.6.0.0 10.5.0.7\n"
                            "q: 10.6.0.0 10.6.0.0\n");
}

TEST_F(TrustedLink, CutsWhatIsTooLong)
{
    // Stored names hold 127 bytes, so a key of 150 takes two. Cut, it names another object.
    const std::string long_key = "ipaddr_" + std::string(117, 'k');
    ASSERT_EQ(long_key.size(), LINK_TEXT_SIZE - 4);
    const std::string name(200, 'n');
    const std::string text(200, 't');
    load_tree(objects() + "net_" + long_key + "_addr=10.7.0.1\nnet_" + long_key +
              "x_addr=10.7.0.2\nnet_dns_long_addr=" + text + "\nnet_vpnnetwork_long_name=" + name +
              "\nnet_vpnnetwork_long_secret=" + std::string(9000, 's') + "\n");
    fset(&def_database, ("net_" + long_key + "x_addr").c_str(), "10.7.0.2");
    const std::string trace = trace_of([&] {
        add((long_key + "x").c_str(), "dns_long", "vpnnetwork_long");
        add("dns_long", "ipaddr_pc", "vpnnetwork_long");
    });
    EXPECT_EQ(remotes(), "10.7.0.1/-/1 " + text.substr(0, 128) + "/-/2");
    EXPECT_EQ(locals(), text + "/-/2 10.1.0.7/-/1") << "the local text is not cut";
    EXPECT_EQ(linkinfos[0]->lname, "~" + name.substr(0, 128));
    EXPECT_EQ(linkinfos[0]->peer.secret.size(), LINE_SIZE - 1 - std::string("1_secret=").size());
    EXPECT_EQ(trace.find("TRACE trusted(net_" + long_key + "(" + name.substr(0, 128) + "), "), 0u);
}

TEST_F(TrustedLink, StopsAtTheBoundOfARun)
{
    load_tree(objects());
    const report_log log;
    start_bounds();
    set_walk_origin(node("net_ipaddr_pc"));
    linkno = MAX_LINKS - 1;
    for (const int reports : {0, 1, 1}) { // reported once
        add("ipaddr_first", "ipaddr_pc");
        EXPECT_EQ(report_log::calls, reports);
    }
    EXPECT_EQ(linkno, MAX_LINKS);
    EXPECT_EQ(messages_of([] { EXPECT_FALSE(report_bounds()); }),
              "flatlink: more than 65535 links, seen 65537; the first left out at "
              "net_ipaddr_pc, net_vpnnetwork_quay\n");
    set_walk_origin(nullptr);

    start_bounds();
    linkno = 0;
    {
        const object_run run;
        (void)take_steps(MAX_OBJECT_STEPS, nullptr);
        add("ipaddr_first", "ipaddr_pc");
    }
    EXPECT_EQ(linkno, 0);
    EXPECT_EQ(struck_bounds().size(), 1U);
}

// ---- peers inside of peers

// A chain p1, p2, ... of peers, each the network of the one before; the last one's is `end`.
static std::string chain(int length, const std::string &end)
{
    std::string lines = objects() + "net_ipaddr_far_addr=10.2.0.7\n";
    for (int i = 1; i <= length; ++i) {
        const std::string number = std::to_string(i);
        const std::string next = "net_vpnnetwork_p" + std::to_string(i + 1);
        lines += "net_ipaddr_g" + number + "_addr=192.0.2." + number + "\n" +
                 each_behind("net_vpnnetwork_p" + number + "_",
                             "ip-address=net_ipaddr_g" + number +
                                 "\ninclude-sgo=off\nnetwork=" + (i < length ? next : end));
    }
    return lines;
}

static void walk_chain(const std::string &lines)
{
    load_tree(lines);
    vpn_add_link(&def_database, node("net_vpnnetwork_p1"), node("net_ipaddr_pc"));
}

TEST_F(TrustedLink, PutsInnerPeersFirst)
{
    walk_chain(chain(3, "net_ipaddr_far"));
    EXPECT_EQ(made_links(),
              "p3: 10.2.0.7 10.1.0.7\np2: 10.2.0.7 10.1.0.7\np1: 10.2.0.7 10.1.0.7\n");
    EXPECT_EQ(linkinfos[0]->nesting_level, 2u);
    vpn_add_link(&def_database, node("net_vpnnetwork_p1"), node("net_ipaddr_pc"));
    EXPECT_EQ(linkinfos.size(), 6u) << "the next rule opens them again";

    start_anew();
    walk_chain(chain(2, "net_ipaddr_far") + "net_vpnnetwork_p2_ip-address=lost\n");
    EXPECT_EQ(made_links(), "") << "an inner peer without a gateway";
}

TEST_F(TrustedLink, EndsWherePeersLieInsideOfThemselves)
{
    static const struct {
        int length;
        const char *end, *links;
    } cases[] = {
        {1, "net_vpnnetwork_p1", "p1: 0.0.0.0 10.1.0.7\n"},
        {3, "net_vpnnetwork_p2", "p2: 0.0.0.0 10.1.0.7\np1: 0.0.0.0 10.1.0.7\n"},
        {2, "net_group_ring",
         "p1: 0.0.0.0 10.1.0.7\np2: 0.0.0.0 10.1.0.7\np1: 0.0.0.0 10.1.0.7\n"}, // which ends the
                                                                                // ring itself, at
                                                                                // its second visit
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.length);
        start_anew();
        const report_log log;
        walk_chain(chain(c.length, c.end) + "net_group_ring_elem_1_type=vpnnetwork\n"
                                            "net_group_ring_elem_1_obj=net_vpnnetwork_p1\n");
        EXPECT_EQ(made_links(), c.links);
        EXPECT_GT(report_log::calls, 0);
        EXPECT_NE(report_log::text.find(" is recursive."), std::string::npos);
        const std::size_t before = linkinfos.size();
        add("ipaddr_first", "ipaddr_pc");
        EXPECT_EQ(linkinfos.size(), before + 1) << "the walk goes on";
    }
}

TEST_F(TrustedLink, BoundsTheDepthOfPeersAndItsReports)
{
    const report_log log;
    start_bounds();
    walk_chain(chain(60, "net_ipaddr_far"));
    EXPECT_EQ(report_log::text, "vhltcfgerr: Object net_vpnnetwork_p14 is nested too deeply.");
    EXPECT_EQ(report_log::calls, 1);
    ASSERT_EQ(struck_bounds().size(), 1U);
    EXPECT_EQ(struck_bounds()[0].where, "net_vpnnetwork_p14");
    EXPECT_EQ(nestinglevel, 0);

    start_anew();
    std::string lines = chain(MAX_PEER_NESTING + 1, "net_group_many");
    for (int i = 1; i <= 2 * MAX_OBJECT_REPORTS; ++i)
        lines += each_behind("net_group_many_elem_" + std::to_string(i) + "_",
                             "type=vpnnetwork\nobj=net_vpnnetwork_quay");
    report_log::calls = 0;
    walk_chain(lines);
    EXPECT_EQ(report_log::calls, MAX_OBJECT_REPORTS);
    EXPECT_EQ(report_log::text, "vhltcfgerr: Further reports about objects are left out.");
}
