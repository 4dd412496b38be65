#include "flatlink/links.h"

#include "tests/flatlink/conversion_test.h"

class link_twins : public conversion_test
{
};

TEST_F(link_twins, agree_in_all_that_counts)
{
    // Two equal records, then one more line for the second.
    static const struct {
        const char *line;
        bool are_twins;
    } cases[] = {
        {"lname=other", true},
        {"description=other", true},
        {"rulenumber=77", true},
        {"rulelabel=other", true},
        {"nesting-level=1", true},
        {"ikepolicy=other", true},
        {"ipsecpolicy=other", true},
        {"gateway=192.0.2.001", true}, // one address, two texts
        {"gateway=192.0.2.2", false},
        {"legacy=On", false},
        {"fixed_remote=Off", false},
        {"xgwenforced=Enforce", false},
        {"use_xgw=On", false},
        {"logging=High", false},
        {"auth=rsa", false},
        {"lnetwork_type=Range", false},
        {"lnetwork_start_address=10.1.0.8", false},
        {"lnetwork_start_address=10.1.0.00", true},
        {"lnetwork_delimiter=255.255.0.0", false},
        {"rnetwork_type=Range", false},
        {"rnetwork_start_address=10.2.0.8", false},
        {"rnetwork_delimiter=255.255.0.0", false},
        {"modecfg=Any", false},
        {"modecfg=pool", false},
        {"df_bit=Copy", false},
        {"key=1", false},
        {"maxdepth=1", false},
        {"san_type=DNS", false},
        {"secret=other", false},
        {"scn=v", false},
        {"sou=v", false},
        {"so=v", false},
        {"sc=v", false},
        {"sst=v", false},
        {"sl=v", false},
        {"ssa=v", false},
        {"san_content=v", false},
        {"icn=v", false},
        {"iou=v", false},
        {"io=v", false},
        {"ic=v", false},
        {"ist=v", false},
        {"il=v", false},
        {"isa=v", false},
    };
    const auto add_record = [](int number) {
        for (const char *line :
             {"lname=a", "gateway=192.0.2.1", "secret=s", "auth=pre", "rulenumber=1",
              "lnetwork_start_address=10.1.0.0", "lnetwork_delimiter=255.255.255.0",
              "lnetwork_type=Subnet", "rnetwork_start_address=10.2.0.0",
              "rnetwork_delimiter=255.255.255.0", "rnetwork_type=Subnet"})
            feed("vlink_" + std::to_string(number) + "_" + line);
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.line);
        start_anew();
        add_record(1);
        add_record(2);
        feed(std::string("vlink_2_") + c.line);
        const linkinfo *second = linkinfos[1].get();
        EXPECT_EQ(c.are_twins ? linkinfos[0].get() : second, find_twin_linkinfo(second, linkinfos));
        EXPECT_EQ(linkinfos[0].get(), find_twin_linkinfo(linkinfos[0].get(), linkinfos));
        finish_linkinfos();
        EXPECT_EQ(c.are_twins ? 1u : 2u, linkinfos.size()) << "removed like found";
    }
}

TEST_F(link_twins, leave_the_first_of_their_order)
{
    feed("vlink_1_lname=later\nvlink_1_rulenumber=2\nvlink_2_lname=earlier\nvlink_2_rulenumber=1\n"
         "vlink_3_lname=between\nvlink_3_rulenumber=1\nvlink_3_secret=s\n"
         "vlink_4_lname=last\nvlink_4_rulenumber=9\n");
    finish_linkinfos();
    ASSERT_EQ(2u, linkinfos.size());
    EXPECT_EQ("earlier", linkinfos[0]->lname);
    EXPECT_EQ("between", linkinfos[1]->lname);
}

TEST_F(link_twins, include_links_whose_local_networks_were_opened)
{
    const auto add_record = [](const char *number, const char *local) {
        const std::string start = std::string("vlink_") + number + "_";
        feed(start + "lname=a\n" + start + "gateway=192.0.2.1\n" + start + "use_xgw=On\n" + start +
             "lnetwork_start_address=" + local);
    };
    add_record("1", "10.1.0.1");
    add_record("2", "10.1.0.2");
    finish_linkinfos();
    ASSERT_EQ(1u, linkinfos.size());
    EXPECT_EQ(4, linkinfos[0]->lnetwork_type);
    EXPECT_EQ(0u, linkinfos[0]->lnetwork_start);
    EXPECT_EQ(0u, linkinfos[0]->lnetwork_delimiter);
    EXPECT_EQ("10.1.0.1", linkinfos[0]->lnetwork_start_address) << "the text stays";
}

TEST(same_string, compares_presence_and_text)
{
    EXPECT_TRUE(same_string("", ""));
    EXPECT_TRUE(same_string("a", "a"));
    EXPECT_FALSE(same_string("a", "A"));
    EXPECT_FALSE(same_string("a", ""));
}
