#include "flatlink/ike_policy.h"

#include "tests/flatlink/conversion_test.h"

class ike_policies : public conversion_test
{
};

// A proposal that is kept, with its lines' start in front of each.
static std::string proposal(const std::string &start)
{
    return start + "_hash=MD5\n" + start + "_encryption=DES\n" + start + "_diffie-helman=768-bit\n";
}

TEST_F(ike_policies, store_each_field_of_a_proposal)
{
    feed(proposal("ikePolicy_a_prop_1"));
    finish_ikepols();
    const std::string plain = saved(save_ikepols, ikepolicy);
    EXPECT_EQ("ikePolicy_1_name=a\nikePolicy_1_description=\nikePolicy_1_prop_1_hash=MD5\n"
              "ikePolicy_1_prop_1_encryption=DES\nikePolicy_1_prop_1_diffie-helman=768-bit\n"
              "ikePolicy_1_prop_1_lifetime=0\nikePolicy_1_prop_1_key_count=0\n",
              plain);
    static const struct {
        const char *in, *out;
    } cases[] = {
        {"prop_1_hash=sha", "prop_1_hash=SHA-1"},
        {"prop_1_hash=TIGER", "prop_1_hash=Tiger"},
        {"prop_1_encryption=TripleDES", "prop_1_encryption=TripleDES"},
        {"prop_1_encryption=cast", "prop_1_encryption=CAST"},
        {"prop_1_encryption=RC5", "prop_1_encryption=RC5"},
        {"prop_1_encryption=IDEA", "prop_1_encryption=IDEA"},
        {"prop_1_diffie-helman=1024-bit", "prop_1_diffie-helman=1024-bit"},
        {"prop_1_diffie-helman=1536-BIT", "prop_1_diffie-helman=1536-bit"},
        {"prop_1_lifetime=480", "prop_1_lifetime=480"},
        {"prop_1_lifetime=-1", "prop_1_lifetime=4294967295"},
        {"prop_1_key_count=-1", ""},
        {"prop_1_key_count=65535", "prop_1_key_count=65535"},
        {"prop_1_key_count=70000", "prop_1_key_count=65535"},
        {"prop_1_allow-rekey=On", ""},
        {"prop_01_lifetime=5", "prop_1_lifetime=5"},
        {"prop_ 1_ lifetime x=5", "prop_1_lifetime=5"},
        {"name=b", ""},
        {"description=d = e", "description=d = e"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.in);
        start_anew();
        feed(proposal("ikePolicy_a_prop_1"));
        EXPECT_EQ("", messages_of([&] { feed(std::string("ikePolicy_a_") + c.in); }));
        finish_ikepols();
        const std::string wanted = *c.out == '\0' ? "" : "ikePolicy_1_" + std::string(c.out) + "\n";
        EXPECT_EQ(wanted, new_lines(plain, saved(save_ikepols, ikepolicy)));
    }
}

TEST_F(ike_policies, report_lines_that_cannot_be_used)
{
    static const std::string long_word(70, 'w');
    static const struct {
        const char *label;
        std::string line, message;
        int result;
        std::size_t made;
    } cases[] = {
        {"no equals sign", "a_name", "", 1, 0},
        {"empty value", "a_prop_1_hash=", "", 1, 0},
        {"name alone", "a=x", "vpndata:Unrecognized field: ikePolicy_a=x\n", 1, 0},
        {"ends in the mark", "a_prop=x", "vpndata:Unrecognized field: ikePolicy_a_prop=x\n", 1, 0},
        {"ends before the number", "a_prop_=x", "vpndata:Unrecognized field: ikePolicy_a_prop_=x\n",
         1, 0},
        {"ends behind the number", "a_prop_1=x",
         "vpndata:Unrecognized field: ikePolicy_a_prop_1=x\n", 1, 0},
        {"ends before the field", "a_prop_1_=x",
         "vpndata:Unrecognized field: ikePolicy_a_prop_1_=x\n", 1, 0},
        {"number with a tail", "a_prop_1x_hash=MD5",
         "vpndata:Unrecognized field: ikePolicy_a_prop_1x_hash=MD5\n", 1, 0},
        {"unknown field of a proposal", "a_prop_7_colour=red",
         "vpndata:Unrecognized field: ikePolicy_7_colour=red\n", 1, 1},
        {"unknown field of a policy", "a_colour=red",
         "vpndata:Unrecognized field: ikePolicy_1_colour=red\n", 1, 1},
        {"no number: a policy's field", "a_prop_x_hash=MD5",
         "vpndata:Unrecognized field: ikePolicy_1_prop_x_hash=MD5\n", 1, 1},
        {"fields have their case of letters", "a_prop_1_Hash=MD5",
         "vpndata:Unrecognized field: ikePolicy_1_Hash=MD5\n", 1, 1},
        {"field of a policy, cut at 64", "a_" + long_word + "=x",
         "vpndata:Unrecognized field: ikePolicy_1_" + std::string(64, 'w') + "=x\n", 1, 1},
        {"field of a proposal, cut at 63", "a_prop_1_" + long_word + "=x",
         "vpndata:Unrecognized field: ikePolicy_1_" + std::string(63, 'w') + "=x\n", 1, 1},
        {"used", "a_name=x", "", 0, 1},
        {"policy without a name", "_name=x", "", 0, 1},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        int result = -1;
        EXPECT_EQ(c.message, messages_of([&] { result = add_partial_ikepol(c.line); }));
        EXPECT_EQ(c.result, result);
        EXPECT_EQ(c.made, ikepolicy.size());
    }
}

TEST_F(ike_policies, tell_their_order_of_appearance_in_messages)
{
    feed("ikePolicy_a_name=x\nikePolicy_b_name=x\nikePolicy_c_name=x");
    EXPECT_EQ("vpndata:Unrecognized field: ikePolicy_2_colour=red\n",
              messages_of([] { feed("ikePolicy_b_colour=red"); }));
}

TEST_F(ike_policies, drop_what_is_incomplete)
{
    static const struct {
        const char *label;
        std::string lines;
        const char *kept; // "policy:proposals" of each
    } cases[] = {
        {"no proposals", "ikePolicy_a_name=x\nikePolicy_a_description=d", ""},
        {"misspelt hash", proposal("ikePolicy_a_prop_1") + "ikePolicy_a_prop_1_hash=MD6", ""},
        {"misspelt cipher", proposal("ikePolicy_a_prop_1") + "ikePolicy_a_prop_1_encryption=x", ""},
        {"no group", "ikePolicy_a_prop_1_hash=MD5\nikePolicy_a_prop_1_encryption=DES", ""},
        {"one of two",
         proposal("ikePolicy_a_prop_1") + proposal("ikePolicy_a_prop_2") +
             "ikePolicy_a_prop_1_hash=MD6",
         "a:1 "},
        {"policies keep their order",
         proposal("ikePolicy_z_prop_1") + "ikePolicy_m_name=x\n" + proposal("ikePolicy_a_prop_1"),
         "z:1 a:1 "},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        feed(c.lines);
        finish_ikepols();
        std::string kept;
        for (const auto &pol : ikepolicy) {
            EXPECT_EQ(0, pol->seq);
            EXPECT_EQ(pol->propcount, pol->props.size());
            kept += pol->name + ":" + std::to_string(pol->propcount) + " ";
        }
        EXPECT_EQ(c.kept, kept);
    }
}

TEST_F(ike_policies, order_proposals_by_number)
{
    // The lifetime tells the proposals apart.
    const auto numbered_proposal = [](const std::string &number) {
        const std::string start = "ikePolicy_a_prop_" + number;
        return proposal(start) + start + "_lifetime=" + number;
    };
    static const struct {
        const char *label, *first, *second, *lifetimes;
    } cases[] = {
        {"by number, not by text", "10", "9", "9 10 "},
        {"0 is a number", "1", "0", "0 1 "},
        {"highest", "65535", "3", "3 65535 "},
        {"above: no line finds it", "65536", "3", "3 "},
        {"negative: no line finds it", "-1", "3", "3 "},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        feed(numbered_proposal(c.first));
        feed(numbered_proposal(c.second));
        finish_ikepols();
        std::string lifetimes;
        for (const auto &pol : ikepolicy)
            for (const auto &prop : pol->props) {
                EXPECT_EQ(0, prop->number);
                lifetimes += std::to_string(prop->lifetime) + " ";
            }
        EXPECT_EQ(c.lifetimes, lifetimes);
    }
}
