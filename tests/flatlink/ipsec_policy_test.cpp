#include "flatlink/ipsec_policy.h"

#include "tests/flatlink/conversion_test.h"

class ipsec_policies : public conversion_test
{
};

// Feeds lines behind "ipsecPolicy_a_", finishes, and gives what is written.
static std::string finished(const std::string &lines)
{
    for (const std::string &line : lines_of(lines))
        feed("ipsecPolicy_a_" + line);
    finish_ipsecpols();
    return saved(save_ipsecpols, ipsecpolicy);
}

static const char plain_lines[] = "group=1024-bit\nprop_1_esp_encryption=DES\nprop_1_pfs=On\n"
                                  "prop_1_ah_hash=KPDK\nprop_1_esp_hash=DES-MAC\n"
                                  "prop_1_ipcomp_algorithm=LZS\nprop_1_lifetime_minutes=60\n"
                                  "prop_1_lifetime_mb=5\n";

TEST_F(ipsec_policies, store_each_field)
{
    const std::string plain = finished(plain_lines);
    EXPECT_EQ("ipsecPolicy_1_name=a\nipsecPolicy_1_description=\nipsecPolicy_1_group=1024-bit\n"
              "ipsecPolicy_1_prop_1_pfs=On\nipsecPolicy_1_prop_1_ah_hash=KPDK\n"
              "ipsecPolicy_1_prop_1_esp_hash=DES-MAC\nipsecPolicy_1_prop_1_esp_encryption=DES\n"
              "ipsecPolicy_1_prop_1_ipcomp_algorithm=LZS\n"
              "ipsecPolicy_1_prop_1_lifetime_minutes=60\nipsecPolicy_1_prop_1_lifetime_mb=5\n",
              plain);
    static const struct {
        const char *in, *out;
    } cases[] = {
        {"name=b", ""},
        {"description=d", "description=d"},
        {"group=768-BIT", "group=768-bit"},
        {"group=1536-bit", "group=1536-bit"},
        {"prop_1_ah_hash=HMAC SHA-1", "prop_1_ah_hash=HMAC-SHA-1"},
        {"prop_1_esp_hash=hmac-md5", "prop_1_esp_hash=HMAC-MD5"},
        {"prop_1_esp_encryption=TripleDES", "prop_1_esp_encryption=TripleDES"},
        {"prop_1_esp_encryption=ESPNULL", "prop_1_esp_encryption=ESPNULL"},
        {"prop_1_esp_encryption=Blowfish", "prop_1_esp_encryption=Blowfish"},
        {"prop_1_ipcomp_algorithm=oui", "prop_1_ipcomp_algorithm=OUI"},
        {"prop_1_ipcomp_algorithm=x", "prop_1_ipcomp_algorithm=None"},
        {"prop_1_lifetime_minutes=-7x", "prop_1_lifetime_minutes=-7"},
        {"prop_1_lifetime_mb=x", "prop_1_lifetime_mb=0"},
        // Switches, which show by what they clear.
        {"prop_1_allow-ah=OFF", "prop_1_ah_hash=None"},
        {"prop_1_allow-ah=On", ""},
        {"prop_1_allow-ah=no", ""},
        {"prop_1_allow-esp=Off", "prop_1_esp_hash=None\nprop_1_esp_encryption=None"},
        {"prop_1_allow-ippcp=off", "prop_1_ipcomp_algorithm=None"},
        {"prop_1_allow-minutes=Off", "prop_1_lifetime_minutes=0"},
        {"prop_1_allow-mb=Off", "prop_1_lifetime_mb=0"},
        {"prop_1_allow-minutes=Off\nprop_1_allow-minutes=On", ""},
        {"prop_1_allow-minutes=On\nprop_1_allow-minutes=Off", "prop_1_lifetime_minutes=0"},
        {"prop_1_allow-mb=Off\nprop_1_lifetime_mb=9", "prop_1_lifetime_mb=0"},
        // What belongs to nothing goes.
        {"prop_1_esp_encryption=None", "prop_1_esp_hash=None\nprop_1_esp_encryption=None"},
        {"prop_1_esp_encryption=misspelt", "prop_1_esp_hash=None\nprop_1_esp_encryption=None"},
        {"prop_1_esp_encryption=ESPNULL\nprop_1_esp_hash=None",
         "prop_1_esp_hash=None\nprop_1_esp_encryption=None"},
        {"prop_1_esp_hash=None", "prop_1_esp_hash=None"},
        {"group=None", "group=None\nprop_1_pfs=Off"},
        {"group=misspelt", "group=None\nprop_1_pfs=Off"},
        {"prop_1_pfs=Off", "group=None\nprop_1_pfs=Off"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.in);
        start_anew();
        std::string got;
        EXPECT_EQ("", messages_of([&] { got = finished(plain_lines + std::string(c.in)); }));
        std::string wanted;
        for (const std::string &line : lines_of(c.out))
            wanted += "ipsecPolicy_1_" + line + "\n";
        EXPECT_EQ(wanted, new_lines(plain, got));
    }
}

TEST_F(ipsec_policies, drop_proposals_that_offer_nothing)
{
    static const struct {
        const char *label, *lines;
        std::size_t kept; // proposals
    } cases[] = {
        {"no protocol", "prop_1_lifetime_mb=5", 0},
        {"misspelt cipher alone", "prop_1_esp_encryption=misspelt\nprop_1_esp_hash=KPDK", 0},
        {"no cipher, no hash", "prop_1_esp_encryption=ESPNULL\nprop_1_esp_hash=None", 0},
        {"no cipher but a hash", "prop_1_esp_encryption=ESPNULL\nprop_1_esp_hash=HMAC-MD5", 1},
        {"AH alone", "prop_1_ah_hash=HMAC-MD5", 1},
        {"AH switched off", "prop_1_ah_hash=HMAC-MD5\nprop_1_allow-ah=Off", 0},
        {"ESP alone", "prop_1_esp_encryption=DES", 1},
        {"both switched off",
         "prop_1_esp_encryption=DES\nprop_1_ah_hash=KPDK\nprop_1_allow-ah=Off\n"
         "prop_1_allow-esp=off",
         0},
        {"policy without proposals", "description=d\ngroup=768-bit", 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        const std::string text = finished(c.lines);
        EXPECT_EQ(c.kept, ipsecpolicy.size()) << "a policy stays with its proposals";
        EXPECT_EQ(c.kept == 0, text.empty());
    }
}

TEST_F(ipsec_policies, need_one_proposal_that_uses_the_group)
{
    const std::string text = finished("group=1536-bit\nprop_1_esp_encryption=DES\n"
                                      "prop_2_esp_encryption=CAST\nprop_2_pfs=On\n");
    EXPECT_NE(std::string::npos, text.find("_group=1536-bit\n"));
    EXPECT_NE(std::string::npos, text.find("_prop_1_pfs=Off\n"));
    EXPECT_NE(std::string::npos, text.find("_prop_2_pfs=On\n"));
}

TEST_F(ipsec_policies, order_proposals_by_eight_bits_of_their_number)
{
    static const struct {
        const char *label, *lines, *kept; // "cipher/minutes" of each proposal
    } cases[] = {
        {"by number", "prop_10_esp_encryption=DES\nprop_9_esp_encryption=CAST", "6/0 2/0 "},
        {"highest", "prop_255_esp_encryption=DES\nprop_255_lifetime_minutes=1", "2/1 "},
        {"above: each line for itself", "prop_256_esp_encryption=DES\nprop_256_lifetime_minutes=1",
         "2/0 "},
        {"equal numbers: the later line first",
         "prop_257_esp_encryption=DES\nprop_513_esp_encryption=CAST", "6/0 2/0 "},
        {"the low bits of a number above are found, the later first",
         "prop_1_esp_encryption=DES\nprop_257_esp_encryption=CAST\nprop_1_lifetime_minutes=7",
         "6/7 2/0 "},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        finished(c.lines);
        std::string kept;
        for (const auto &pol : ipsecpolicy)
            for (const auto &prop : pol->props)
                kept += std::to_string(prop->esp_encryption) + "/" +
                        std::to_string(prop->lifetime_minutes) + " ";
        EXPECT_EQ(c.kept, kept);
    }
}

TEST_F(ipsec_policies, count_their_proposals_in_eight_bits)
{
    static const struct {
        int proposals;
        std::size_t policies;
        int count;
    } cases[] = {{255, 1, 255}, {256, 0, 0}, {257, 1, 1}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.proposals);
        start_anew();
        std::string lines;
        for (int i = 1; i <= c.proposals; ++i)
            lines += "prop_" + std::to_string(i) + "_esp_encryption=DES\n";
        finished(lines);
        ASSERT_EQ(c.policies, ipsecpolicy.size());
        if (c.policies == 0)
            continue;
        EXPECT_EQ(c.count, ipsecpolicy[0]->propcount);
        EXPECT_EQ(static_cast<std::size_t>(c.proposals), ipsecpolicy[0]->props.size());
    }
}

TEST_F(ipsec_policies, report_lines_that_cannot_be_used)
{
    static const std::string long_word(200, 'w');
    static const struct {
        const char *label;
        std::string line, message;
        std::size_t made;
    } cases[] = {
        {"empty value", "a_group=", "", 0},
        {"name alone", "a=x", "vpndata:Unrecognized field: ipsecPolicy_a=x\n", 0},
        {"ends behind the number", "a_prop_1=x",
         "vpndata:Unrecognized field: ipsecPolicy_a_prop_1=x\n", 0},
        {"unknown field of a proposal", "a_prop_7_colour=red",
         "vpndata:Unrecognized field: ipsecPolicy_1_prop_7_colour=red\n", 1},
        {"unknown field of a policy", "a_colour=red",
         "vpndata:Unrecognized field: ipsecPolicy_1_colour=red\n", 1},
        {"field of a proposal, cut at 127", "a_prop_1_" + long_word + "=x",
         "vpndata:Unrecognized field: ipsecPolicy_1_prop_1_" + std::string(127, 'w') + "=x\n", 1},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        EXPECT_EQ(c.message, messages_of([&] { EXPECT_EQ(1, add_partial_ipsecpol(c.line)); }));
        EXPECT_EQ(c.made, ipsecpolicy.size());
    }
}
