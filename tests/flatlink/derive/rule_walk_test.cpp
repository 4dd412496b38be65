#include "flatlink/derive/rule_walk.h"

#include "lib/frag/objects/object_run.h"
#include "tests/case_lines.h"
#include "tests/flatlink/conversion_test.h"
#include "tests/ulib/report_log.h"

using namespace flatlink;

static std::vector<case_row> link_cases()
{
    return case_rows("flatlink/rule_links", "objs line want");
}

// An object of each type that a rule may name. A peer has a gateway (g) and a network (n).
static std::string objects()
{
    return each_behind("net_", link_cases()[0]["objs"]);
}

class rule_walk : public conversion_test
{
  protected:
    // Walks a list of rules as read_vpndata does; `flags` as for the callback.
    static void walk(const char *key, std::uint32_t flags)
    {
        enum_rule_list(&def_database, node(key), [flags](frag **db, frag *rule, const char *) {
            return vpn_enum_link_rules(db, rule, flags);
        });
    }
};

TEST_F(rule_walk, makes_links_by_the_types_of_both_sides)
{
    for (case_row &c : link_cases()) {
        SCOPED_TRACE(c["case"] + " with " + c["line"]);
        start_anew();
        const std::size_t blank = c["case"].find(' ');
        load_tree(objects() + each_behind("net_", c["line"]) + "r_1_src=net_" +
                  c["case"].substr(0, blank) + "\nr_1_dst=net_" + c["case"].substr(blank + 1) +
                  "\n");
        walk("r", 0);
        EXPECT_EQ(each_behind("", c["want"]), made_links());
    }
}

TEST_F(rule_walk, traces_what_it_finds_and_misses)
{
    for (case_row &c : case_rows("flatlink/rule_trace", "rule want src")) {
        SCOPED_TRACE(c["rule"]);
        start_anew();
        load_tree(objects() + each_behind("r_1_", c["rule"]));
        EXPECT_EQ(c["want"] + "\n", trace_of([] { walk("r", 0); }));
        EXPECT_EQ(c["src"], fval(&def_database, "r_1_src"));
    }
    start_anew();
    load_tree(objects() + "r_1_src=net_ipaddr_pc\nr_1_dst=net_ipaddr_pc\n");
    EXPECT_EQ("vpn enum rule, dst not found: (<NULL>)\n", trace_of([] { walk("r", PROXY_RULE); }))
        << "a proxy rule has dest";
}

TEST_F(rule_walk, sets_the_state_of_each_rule)
{
    for (case_row &c : case_rows("flatlink/rule_state", "rule want")) {
        SCOPED_TRACE(c["case"]);
        start_anew();
        load_tree(c["rule"] + "\n");
        std::string state;
        nestinglevel = 3;
        enum_rule_list(&def_database, node("r"), [&](frag **db, frag *rule, const char *) {
            EXPECT_EQ(0, vpn_enum_link_rules(db, rule, 0));
            EXPECT_EQ(0, nestinglevel);
            state += std::to_string(rulenumber) + " " + std::to_string(ruleloglevel) + " " +
                     (rulelabel != nullptr ? '"' + std::string(rulelabel) + '"' : "-") + "\n";
            return 0;
        });
        EXPECT_EQ(each_behind("", c["want"]), state);
    }
}

TEST_F(rule_walk, reports_lost_objects_up_to_a_bound)
{
    std::string lines = objects();
    for (int i = 1; i <= 2 * MAX_OBJECT_REPORTS; ++i)
        lines += "net_group_lost_elem_" + std::to_string(i) + "_obj=net_ipaddr_lost\n";
    load_tree(lines);
    const report_log log;
    vpn_check_link_pair(&def_database, node("net_group_lost"), node("net_vpnnetwork_a"));
    EXPECT_EQ(MAX_OBJECT_REPORTS, report_log::calls);
    EXPECT_EQ("vhltcfgerr: Further reports about objects are left out.", report_log::text);
}
