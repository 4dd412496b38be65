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

class RuleWalk : public conversion_test
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

TEST_F(RuleWalk, MakesLinksByTheTypesOfBothSides)
{
    for (case_row &c : link_cases()) {
        SCOPED_TRACE(c["case"] + " with " + c["line"]);
        start_anew();
        const std::size_t blank = c["case"].find(' ');
        load_tree(objects() + each_behind("net_", c["line"]) + "r_1_src=net_" +
                  c["case"].substr(0, blank) + "\nr_1_dst=net_" + c["case"].substr(blank + 1) +
                  "\n");
        walk("r", 0);
        EXPECT_EQ(made_links(), each_behind("", c["want"]));
    }
}

TEST_F(RuleWalk, TracesWhatItFindsAndMisses)
{
    for (case_row &c : case_rows("flatlink/rule_trace", "rule want src")) {
        SCOPED_TRACE(c["rule"]);
        start_anew();
        load_tree(objects() + each_behind("r_1_", c["rule"]));
        EXPECT_EQ(trace_of([] { walk("r", 0); }), c["want"] + "\n");
        EXPECT_EQ(fval(&def_database, "r_1_src"), c["src"]);
    }
    start_anew();
    load_tree(objects() + "r_1_src=net_ipaddr_pc\nr_1_dst=net_ipaddr_pc\n");
    EXPECT_EQ(trace_of([] { walk("r", PROXY_RULE); }), "vpn enum rule, dst not found: (<NULL>)\n")
        << "a proxy rule has dest";
}

TEST_F(RuleWalk, SetsTheStateOfEachRule)
{
    for (case_row &c : case_rows("flatlink/rule_state", "rule want")) {
        SCOPED_TRACE(c["case"]);
        start_anew();
        load_tree(c["rule"] + "\n");
        std::string state;
        nestinglevel = 3;
        enum_rule_list(&def_database, node("r"), [&](frag **db, frag *rule, const char *) {
            EXPECT_EQ(vpn_enum_link_rules(db, rule, 0), 0);
            EXPECT_EQ(nestinglevel, 0);
            state += std::to_string(rulenumber) + " " + std::to_string(ruleloglevel) + " " +
                     (rulelabel != nullptr ? '"' + std::string(rulelabel) + '"' : "-") + "\n";
            return 0;
        });
        EXPECT_EQ(state, each_behind("", c["want"]));
    }
}

TEST_F(RuleWalk, ReportsLostObjectsUpToABound)
{
    std::string lines = objects();
    for (int i = 1; i <= 2 * MAX_OBJECT_REPORTS; ++i)
        lines += "net_group_lost_elem_" + std::to_string(i) + "_obj=net_ipaddr_lost\n";
    load_tree(lines);
    const report_log log;
    vpn_check_link_pair(&def_database, node("net_group_lost"), node("net_vpnnetwork_a"));
    EXPECT_EQ(report_log::calls, MAX_OBJECT_REPORTS);
    EXPECT_EQ(report_log::text, "vhltcfgerr: Further reports about objects are left out.");
}
