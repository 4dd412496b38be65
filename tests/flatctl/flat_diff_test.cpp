#include "flatctl/flat_diff.h"

#include <gtest/gtest.h>

using namespace flatlink;

static std::string changes(const char *before, const char *after)
{
    std::string text;
    for (const flat_change &change : compare_flat(before, after))
        text += shown_change(change, false);
    return text;
}

static constexpr const char *LINKS =
    "vlink_1_lname=~a\nvlink_1_gateway=192.0.2.1\nvlink_1_rnetwork_start_address=10.1.0.0\n"
    "vlink_2_lname=~a\nvlink_2_gateway=192.0.2.1\nvlink_2_rnetwork_start_address=10.2.0.0\n";

TEST(FlatDiff, Records)
{
    static const struct {
        const char *label, *before, *after, *want;
    } cases[] = {
        {"same", LINKS, LINKS, ""},
        {"renumbered", "vlink_1_lname=a\nvlink_1_key=1\nvlink_2_lname=b\nmcpool_9_name=p\n",
         "vlink_7_lname=b\nmcpool_1_name=p\nvlink_8_lname=a\nvlink_8_key=1\n", ""},
        {"a field of one",
         "ikePolicy_1_name=x\nikePolicy_1_prop_1_hash=MD5\nikePolicy_1_prop_1_keys=1\n",
         "ikePolicy_2_name=x\nikePolicy_2_prop_1_hash=SHA-1\nikePolicy_2_prop_1_keys=1\n",
         "~ ikePolicy x\n    - prop_1_hash=MD5\n    + prop_1_hash=SHA-1\n"},
        {"gone and come", "netobj_list_1_element_1_addr=10.0.0.1\nip_hostname=a\n",
         "netobj_list_1_element_1_addr=10.0.0.2\nip_hostname=a\nip_domainname=d\n",
         "+ netobj_list 10.0.0.2\n+ setting ip_domainname\n- netobj_list 10.0.0.1\n"},
        {"two of one identity", "vlink_1_lname=a\nvlink_1_key=1\nvlink_2_lname=a\nvlink_2_key=2\n",
         "vlink_1_lname=a\nvlink_1_key=1\n", "- vlink a\n"},
        {"no record's line", "vlink_x_lname=a\nno equals sign\nvlink_1=b\n", "",
         "- setting vlink_x_lname\n- setting vlink_1\n"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        EXPECT_EQ(changes(row.before, row.after), row.want);
    }
}

TEST(FlatDiff, SecretsStayHidden)
{
    const std::string text =
        changes("vpn_anonsecret=first\nkey_0001_id=i\nkey_0001_key=00aa\nvlink_1_secret=one\n"
                "link_0001_okey=11cc\n",
                "vpn_anonsecret=second\nkey_0001_id=i\nkey_0001_key=00bb\nvlink_1_secret=two\n"
                "link_0001_okey=11dd\n");
    for (const char *secret : {"first", "second", "00aa", "00bb", "one", "two", "11cc", "11dd"})
        EXPECT_EQ(text.find(secret), std::string::npos) << text;
    EXPECT_NE(text.find("+ secret=<secret "), std::string::npos) << text;
}
