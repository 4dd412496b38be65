#include "flatlink/links.h"

#include "tests/flatlink/conversion_test.h"

class links_of_vlinks : public conversion_test
{
};

TEST_F(links_of_vlinks, store_each_field)
{
    // What a record with nothing but a name prints, and what a line changes in it.
    feed("vlink_1_lname=x");
    const std::string plain = saved(save_linkinfos, linkinfos);
    static const struct {
        const char *in, *out;
    } cases[] = {
        {"description=d=e f", "description=d=e f"},
        {"lnetwork_start_address=10.1.0.0", "lnetwork_start_address=10.1.0.0"},
        {"lnetwork_start_address=gate.invalid", "lnetwork_start_address=gate.invalid"},
        {"lnetwork_delimiter=255.255.0.0", "lnetwork_delimiter=255.255.0.0"},
        {"lnetwork_delimiter=rubbish", ""},
        {"lnetwork_type=subnet", "lnetwork_type=Subnet"},
        {"lnetwork_type=DNSname", "lnetwork_type=DNSname"},
        {"lnetwork_type=Net", ""},
        {"rnetwork_start_address=10.2.0.0", "rnetwork_start_address=10.2.0.0"},
        {"rnetwork_delimiter=10.2.0.9", "rnetwork_delimiter=10.2.0.9"},
        {"rnetwork_type=RANGE", "rnetwork_type=Range"},
        {"rnetwork_type=Host", "rnetwork_type=Host"},
        {"gateway=192.0.2.1", "gateway=192.0.2.1\nfixed_remote=On"},
        {"gateway=peer.invalid", "gateway=peer.invalid\nfixed_remote=On"},
        {"gateway=*", ""},
        {"gateway=*.invalid", ""},
        {"fixed_remote=Off", ""},
        {"secret=a = b", "secret=a = b"},
        {"modecfg=any", "modecfg=Any"},
        {"modecfg=NONE", ""},
        {"modecfg=pool", "modecfg=pool"},
        {"key=7", "key=00007"},
        {"key=123456", "key=123456"},
        {"key=-7", "key=-00007"},
        {"key=x", ""},
        {"rulenumber=9", ""},
        {"rulelabel=l", ""},
        {"scn=v", "scn=v"},
        {"so=v", "so=v"},
        {"sou=v", "sou=v"},
        {"sc=v", "sc=v"},
        {"sst=v", "sst=v"},
        {"sl=v", "sl=v"},
        {"ssa=v", "ssa=v"},
        {"san_content=v", "san_content=v"},
        {"san_type=ip address", "san_type=IP Address"},
        {"san_type=Fax", ""},
        {"icn=v", "icn=v"},
        {"io=v", "io=v"},
        {"iou=v", "iou=v"},
        {"ic=v", "ic=v"},
        {"ist=v", "ist=v"},
        {"il=v", "il=v"},
        {"isa=v", "isa=v"},
        {"maxdepth=-2", "maxdepth=-2"},
        {"auth=Certificate based", "auth=rsa"},
        {"auth=pre-shared secret", "auth=pre"},
        {"auth=keyid", "auth=keyid"},
        {"auth=magic", ""},
        {"ikepolicy=p", "ikepolicy=p"},
        {"ipsecpolicy=p", "ipsecpolicy=p"},
        {"logging=0", "logging=None"},
        {"logging=1", "logging=Critical"},
        {"logging=2", ""}, // 3 prints like 0
        {"logging=3", "logging=Medium"},
        {"logging=4", "logging=High"},
        {"logging=5", ""},
        {"legacy=On", ""},
        {"xgwenforced=Optional", ""},
        {"xgwenforced=Enforce", ""}, // shows only together with use_xgw
        {"use_xgw=Off", ""},
        {"use_xgw=on", "use_xgw=On\nxgwenforced=Allow"},
        {"df_bit=Copy", "df_bit=Copy"},
        {"df_bit=clear", "df_bit=Clear"},
        {"df_bit=SET", "df_bit=Set"},
        {"nesting-level=3", ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.in);
        start_anew();
        EXPECT_EQ("", messages_of([&] { feed(std::string("vlink_1_lname=x\nvlink_1_") + c.in); }));
        std::string wanted;
        for (const std::string &line : lines_of(c.out))
            wanted += "vlink_1_" + line + "\n";
        EXPECT_EQ(wanted, new_lines(plain, saved(save_linkinfos, linkinfos)));
    }
}

TEST_F(links_of_vlinks, store_what_is_not_printed)
{
    feed("vlink_5_rulenumber=-3\nvlink_5_rulelabel=l\nvlink_5_legacy=On\nvlink_5_nesting-level=2\n"
         "vlink_5_logging=Normal\nvlink_5_lnetwork_start_address=10.1.0.0\n"
         "vlink_5_gateway=peer.invalid\nvlink_5_df_bit=Set\nvlink_5_auth=keyid");
    ASSERT_EQ(1u, linkinfos.size());
    const linkinfo &link = *linkinfos[0];
    EXPECT_EQ(-3, link.rulenumber);
    EXPECT_EQ("l", link.rulelabel);
    EXPECT_EQ(1, link.legacy);
    EXPECT_EQ(2u, link.nesting_level);
    EXPECT_EQ(3, link.logging);
    EXPECT_EQ("10.1.0.0", dotted(link.lnetwork_start));
    EXPECT_EQ(NOT_AN_ADDRESS, link.gateway_addr);
    EXPECT_EQ(0xC000, link.df_bit);
    EXPECT_EQ(255, link.auth);
}

TEST_F(links_of_vlinks, begin_with_their_defaults)
{
    EXPECT_EQ("vpndata: Unrecognized VPN field (foo=1) on vlink_3\n",
              messages_of([] { feed("vlink_3_foo=1"); }));
    ASSERT_EQ(1u, linkinfos.size());
    const linkinfo &link = *linkinfos[0];
    EXPECT_EQ(3, link.linkno);
    EXPECT_EQ(3, link.rulenumber);
    EXPECT_EQ(1, link.fixed_remote);
    EXPECT_EQ(NOT_AN_ADDRESS, link.lnetwork_delimiter);
    EXPECT_EQ(NOT_AN_ADDRESS, link.rnetwork_delimiter);
    EXPECT_EQ(0, link.logging);
}

TEST_F(links_of_vlinks, take_several_lines_for_one_field)
{
    static const struct {
        const char *label, *first, *second, *shown;
    } cases[] = {
        {"the later wins", "scn=a", "scn=b", "scn=b"},
        {"any, then none", "modecfg=Any", "modecfg=None", "modecfg=None"},
        {"named, then any", "modecfg=pool", "modecfg=Any", "modecfg=Any"},
        {"empty does nothing", "scn=a", "scn=", "scn=a"},
        {"use_xgw is never cleared", "use_xgw=On", "use_xgw=Off", "use_xgw=On"},
        {"enforced is never cleared", "use_xgw=On\nvlink_1_xgwenforced=Allow",
         "xgwenforced=optional", "xgwenforced=Enforce"},
        {"optional does not set it", "use_xgw=On", "xgwenforced=OPTIONAL", "xgwenforced=Allow"},
        {"an unknown word clears", "auth=rsa", "auth=magic", "auth="},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        feed(std::string("vlink_1_") + c.first + "\nvlink_1_" + c.second);
        EXPECT_NE(std::string::npos,
                  saved(save_linkinfos, linkinfos).find(std::string("vlink_1_") + c.shown + "\n"));
    }
}

TEST_F(links_of_vlinks, report_lines_that_cannot_be_used)
{
    static const struct {
        const char *label, *line, *message;
        int result;
        std::size_t made;
    } cases[] = {
        {"no number", "x_lname=a", "vpndata: BAD format vlink_x_lname=a\n", 1, 0},
        {"no underscore", "3lname=a", "vpndata: BAD format vlink_3lname=a\n", 1, 0},
        {"no equals sign", "3_lname", "vpndata: BAD format vlink_3_lname\n", 1, 0},
        {"equals sign before the underscore", "3=x_y", "vpndata: BAD format vlink_3=x_y\n", 1, 0},
        {"nothing", "", "vpndata: BAD format vlink_\n", 1, 0},
        {"empty value", "3_lname=", "", 0, 0},
        {"empty value of an unknown key", "3_foo=", "", 0, 0},
        {"unknown key", "3_Lname=a", "vpndata: Unrecognized VPN field (Lname=a) on vlink_3\n", 0,
         1},
        {"empty key", "3_=a", "vpndata: Unrecognized VPN field (=a) on vlink_3\n", 0, 1},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        int result = -1;
        std::string messages;
        const std::string trace = trace_of(
            [&] { messages = messages_of([&] { result = add_partial_linkinfo(c.line); }); });
        EXPECT_EQ(c.result, result);
        EXPECT_EQ(c.message, messages);
        EXPECT_EQ(std::string("<<vlink_") + c.line + "\n", trace) << "each line is echoed";
        EXPECT_EQ(c.made, linkinfos.size());
    }
}

TEST_F(links_of_vlinks, have_numbers_of_sixteen_bits)
{
    static const struct {
        const char *label, *lines,
            *named; // "rulenumber lname auth" of the records that have a name
    } cases[] = {
        {"highest", "vlink_65535_lname=a\nvlink_65535_auth=pre", "65535 a 1\n"},
        {"above: each line for itself", "vlink_65536_lname=a\nvlink_65536_auth=pre", "65536 a 0\n"},
        {"above: two names are two records", "vlink_65537_lname=a\nvlink_65537_lname=b",
         "65537 a 0\n65537 b 0\n"},
        {"negative", "vlink_-1_lname=a\nvlink_-1_auth=pre", "-1 a 0\n"},
        {"the low bits of a number above are found", "vlink_65539_auth=pre\nvlink_3_lname=a",
         "65539 a 1\n"},
        {"but not before its own number", "vlink_3_lname=a\nvlink_65539_auth=pre\nvlink_3_auth=rsa",
         "3 a 3\n"},
        {"leading zeros", "vlink_0003_lname=a\nvlink_3_auth=pre", "3 a 1\n"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        feed(c.lines);
        std::string named;
        for (const auto &link : linkinfos)
            if (!link->lname.empty())
                named += std::to_string(link->rulenumber) + " " + link->lname + " " +
                         std::to_string(link->auth) + "\n";
        EXPECT_EQ(c.named, named);
    }
}

TEST_F(links_of_vlinks, are_numbered_from_one_when_written)
{
    feed("vlink_9_lname=a\nvlink_4_lname=b\nvlink_9_description=d");
    std::string names;
    for (const std::string &line : lines_of(saved(save_linkinfos, linkinfos)))
        if (line.find("_lname=") != std::string::npos)
            names += line + "\n";
    EXPECT_EQ("vlink_1_lname=a\nvlink_2_lname=b\n", names);
}
