// What the lines of each family of records store, refuse and are written as. flat_file in
// decoder_test.cpp has every key that is written; here is what is read another way.
#include "flatlink/records/ike_policy.h"
#include "flatlink/records/ipsec_policy.h"
#include "flatlink/records/keys.h"
#include "flatlink/records/old_links.h"
#include "flatlink/records/pools.h"
#include "tests/flatlink/conversion_test.h"

#include <fstream>

using namespace flatlink;

namespace
{

// Lines in and out are without these starts.
struct family {
    std::string start, base; // the lines of `base` make a record that stays
    std::string written_start;
    std::string (*written)();
};

std::string written_old_links()
{
    return written_by([](std::FILE *stream) { save_vpnlinks(stream, links, "link"); });
}

const family vlink{"vlink_1_", "lname=x", "vlink_1_",
                   [] { return saved(save_linkinfos, linkinfos); }};
const family old{"link_01_", "lname=x", "link_0001_", written_old_links};
const family key{"key_0001_", "key=k", "key_0001_", [] { return saved(save_swkeys, swkeys); }};
const family ike{"ikePolicy_a_",
                 "prop_1_hash=MD5\nprop_1_encryption=DES\nprop_1_diffie-helman=768-bit",
                 "ikePolicy_1_", [] {
                     finish_ikepols();
                     return saved(save_ikepols, ikepolicy);
                 }};
const family ipsec{"ipsecPolicy_a_",
                   "group=1024-bit\nprop_1_esp_encryption=DES\nprop_1_pfs=On\n"
                   "prop_1_ah_hash=KPDK\nprop_1_esp_hash=DES-MAC\nprop_1_ipcomp_algorithm=LZS\n"
                   "prop_1_lifetime_minutes=60\nprop_1_lifetime_mb=5",
                   "ipsecPolicy_1_", [] {
                       finish_ipsecpols();
                       return saved(save_ipsecpols, ipsecpolicy);
                   }};
const family pool{"mcpool_p_", "mask=255.255.255.0\naddr_1=10.9.0.1", "mcpool_1_", [] {
                      finish_mcpools();
                      return saved(save_mcpools, mcpools);
                  }};

class record_lines : public conversion_test
{
  protected:
    static std::string written_after(const family &of, const std::string &lines)
    {
        start_anew();
        feed(each_behind(of.start, of.base + "\n" + lines));
        return of.written();
    }
};

} // namespace

TEST_F(record_lines, know_the_words_and_numbers_of_a_key)
{
    static const struct {
        const family &of;
        const char *key, *given, *written; // one value after the other
    } cases[] = {
        {vlink, "lnetwork_delimiter", "255.255.0.0|rubbish", "255.255.0.0|255.255.255.255"},
        {vlink, "lnetwork_type", "subnet|DNSname|RANGE|Host|Net", "Subnet|DNSname|Range|Host|"},
        {vlink, "gateway", "192.0.2.1|peer.invalid|*|*.invalid", "192.0.2.1|peer.invalid|*|*"},
        {vlink, "key", "7|123456|-7|x", "00007|123456|-00007|00000"},
        {vlink, "san_type", "ip address|email|Fax", "IP Address|Email|Don't check"},
        {vlink, "auth", "Certificate based|pre-shared secret|keyid|magic", "rsa|pre|keyid|"},
        {vlink, "logging", "0|1|2|3|4|5", "None|Critical|Normal|Medium|High|Normal"},
        {vlink, "df_bit", "Copy|clear|SET|x", "Copy|Clear|Set|"},
        {old, "logid", "10|-1|x", "a|ffffffff|0"},
        {old, "type", "PASS|trusted|bogus", "pass|trusted|private"},
        {old, "ispi", "ff|0xAbC|-1|+0xa|--1|q", "ff|abc|ffffffff|a|0|0"},
        {old, "mode", "tunnel|swipe|isakmp|magic", "tunnel||client|client"},
        {old, "group", "768-BIT|1536-bit|misspelt", "768-bit|1536-bit|1024-bit"},
        {old, "aalgo", "hsha|misspelt", "HMAC SHA-1|HMAC MD5"},
        {old, "pfs", "768-bit|on|1024-bit|1536-BIT|yes", "768-bit|1024-bit|1024-bit|1536-bit|Off"},
        {old, "ipcomp", "OFF|no", "Off|On"},
        {key, "type", "KEYID (HEX)|dns|Fax", "KeyID (hex)|DNS|"},
        {ike, "prop_1_encryption", "TripleDES|cast|RC5|IDEA", "TripleDES|CAST|RC5|IDEA"},
        {ike, "prop_1_lifetime", "480|-1", "480|4294967295"},
        {ike, "prop_1_key_count", "-1|65535|70000", "0|65535|65535"},
        {ipsec, "prop_1_lifetime_minutes", "-7x|x", "-7|0"},
        {pool, "mask", "255.0.0.0|rubbish", "255.0.0.0|255.255.255.255"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.of.start + c.key);
        std::string written;
        for (const std::string &value : lines_of(c.given, '|')) {
            const std::string text = written_after(c.of, c.key + ("=" + value));
            const std::string shown = values_of(text, c.of.written_start + c.key);
            written += (written.empty() ? "" : "|") + shown.substr(0, shown.size() - 1);
        }
        EXPECT_EQ(c.written, written);
    }
}

TEST_F(record_lines, change_in_a_record)
{
    static const struct {
        const family &of;
        const char *lines, *changes;
    } cases[] = {
        {vlink, "gateway=192.0.2.1\nfixed_remote=Off", ""},
        {vlink, "rulenumber=9\nrulelabel=l\nlegacy=On\nnesting-level=3", ""},
        {vlink, "xgwenforced=Enforce", ""}, // shows together with use_xgw
        {vlink, "use_xgw=on\nuse_xgw=Off", "use_xgw=On\nxgwenforced=Allow\n"},
        {vlink, "use_xgw=On\nxgwenforced=Allow\nxgwenforced=optional",
         "use_xgw=On\nxgwenforced=Enforce\n"},
        {vlink, "scn=a\nscn=b\nscn=", "scn=b\n"},
        {old, "type=pass\ntype=bogus\nminto=5\nminto=x\nispi=ff\nispi=x\ngroup=768-bit\ngroup=",
         "type=pass\nispi=ff\nminto=5\ngroup=768-bit\n"},
        {old, "rname=r\nrkey=r\nencaps=1\ntrust=1\ninterface=1\niaspi=1\niv64=1\noaspi=1\nsqnum=1",
         ""},
        {key, "kidnum=12\nkidnum=none\nkey=k = l\nid=me", "id=me\nkidnum=12\nkey=k = l\n"},
        {ike, "prop_01_lifetime=5", "prop_1_lifetime=5\n"},
        // A switch shows by what it clears, once the policy is finished.
        {ipsec, "prop_1_allow-ah=OFF", "prop_1_ah_hash=None\n"},
        {ipsec, "prop_1_allow-esp=Off", "prop_1_esp_hash=None\nprop_1_esp_encryption=None\n"},
        {ipsec, "prop_1_allow-minutes=On\nprop_1_allow-minutes=Off", "prop_1_lifetime_minutes=0\n"},
        {ipsec, "prop_1_allow-mb=Off\nprop_1_lifetime_mb=9", "prop_1_lifetime_mb=0\n"},
        // What belongs to nothing goes.
        {ipsec, "prop_1_esp_encryption=ESPNULL\nprop_1_esp_hash=None",
         "prop_1_esp_hash=None\nprop_1_esp_encryption=None\n"},
        {ipsec, "prop_1_esp_encryption=None", "prop_1_esp_hash=None\nprop_1_esp_encryption=None\n"},
        {ipsec, "prop_1_pfs=Off", "group=None\nprop_1_pfs=Off\n"},
        {ipsec, "group=None", "group=None\nprop_1_pfs=Off\n"},
        {pool, "addr_-1=10.9.0.7\ndns_-1=10.0.0.9\nnet_-1_addr=10.0.0.9", ""},
        {pool, "addr2_2=10.9.0.9\naddr_3=0.0.0.0\naddr_4=rubbish", ""}, // ranges without a start
        {pool, "addr_x=10.9.0.7", "addr_1=10.9.0.7\naddr_2=10.9.0.1\naddr2_2=0.0.0.0\n"},
        {pool, "nbns_1=10.0.0.1\nnbns_2=0.0.0.0\nnbns_3=x\nnbns_4=10.0.0.2",
         "nbns_1=10.0.0.1\nnbns_2=10.0.0.2\n"},
        {pool, "dns_2147483647=10.0.0.1\ndns_2=10.0.0.2\ndns_9=255.255.255.255",
         "dns_1=10.0.0.2\ndns_2=10.0.0.1\n"},
        {pool, "net_1_addr=10.0.0.7\nnet_2_mask=255.0.0.0\nnet_3_addr=0.0.0.0",
         "net_1_addr=10.0.0.7\nnet_1_mask=255.255.255.255\n"},
        {pool, "net_1_addr=10.0.0.7\nnet_2_addr=0.0.0.0\nnet_2_mask=0.0.0.0\nnet_3_addr=10.0.0.8",
         "net_1_addr=0.0.0.0\nnet_1_mask=0.0.0.0\n"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.of.start + c.lines);
        const std::string plain = written_after(c.of, "");
        EXPECT_EQ(each_behind(c.of.written_start, c.changes),
                  new_lines(plain, written_after(c.of, c.lines)));
    }
}

TEST_F(record_lines, that_cannot_be_used_are_reported)
{
    const std::string w(70, 'w');
    static const char policy[] = "vpndata:Unrecognized field: ";
    static const char field[] = "vpndata: Unrecognized VPN field (";
    static const char old_field[] = "vpndata:Unrecognized VPNLINK field (";
    const struct {
        std::string line, message;
        std::size_t made = 1; // records
    } cases[] = {
        {"vlink_x_lname=a", "vpndata: BAD format vlink_x_lname=a", 0},
        {"vlink_3_lname", "vpndata: BAD format vlink_3_lname", 0},
        {"vlink_3_Lname=a", field + std::string("Lname=a) on vlink_3")},
        {"link_-001_lname=x", "vpndata:Link index BAD -1", 0},
        {"link_0012_x=y", old_field + std::string("x=y) on link 12")},
        {"link_1_lname=a", old_field + std::string("me=a) on link 1")}, // four characters
        {"key_-001_key=x", "vpndata:Key index BAD -1", 0},
        {"key_001_key=x", "vpndata:Bad KEY field (ey) on key 1"},
        {"mcpool_p", "vpndata: BAD format mcpool_p", 0},
        {"mcpool_p_masks=1", field + std::string("masks=1) on mcpool_p")},
        {"mcpool_p_net_4_colour=red", field + std::string("_colour=red) on mcpool_p_net_4")},
        {"ikePolicy_a_prop=x", policy + std::string("ikePolicy_a_prop=x"), 0},
        {"ikePolicy_a_prop_1=x", policy + std::string("ikePolicy_a_prop_1=x"), 0},
        {"ikePolicy_a_prop_1x_hash=MD5", policy + std::string("ikePolicy_a_prop_1x_hash=MD5"), 0},
        {"ikePolicy_a_prop_7_Hash=red", policy + std::string("ikePolicy_7_Hash=red")},
        {"ikePolicy_a_prop_x_hash=MD5", policy + std::string("ikePolicy_1_prop_x_hash=MD5")},
        {"ikePolicy_a_" + w + "=x", policy + ("ikePolicy_1_" + w.substr(0, 64)) + "=x"}, // cut
        {"ikePolicy_a_prop_1_" + w + "=x", policy + ("ikePolicy_1_" + w.substr(0, 63)) + "=x"},
        {"ipsecPolicy_a_prop_7_x=y", policy + std::string("ipsecPolicy_1_prop_7_x=y")},
        {"ipsecPolicy_a_prop_1_" + w + w + "=x",
         policy + ("ipsecPolicy_1_prop_1_" + w + w).substr(0, 21 + 127) + "=x"},
        {"ipsecPolicy_a_" + w + w + "=x",
         policy + ("ipsecPolicy_1_" + w + w).substr(0, 14 + 127) + "=x"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.line);
        start_anew();
        EXPECT_EQ(c.message.empty() ? "" : c.message + "\n", messages_of([&] { feed(c.line); }));
        EXPECT_EQ(c.made, linkinfos.size() + links.size() + swkeys.size() + mcpools.size() +
                              ikepolicy.size() + ipsecpolicy.size());
    }
    start_anew();
    feed("ikePolicy_a_name=x\nikePolicy_b_name=x\nikePolicy_c_name=x");
    EXPECT_EQ(policy + std::string("ikePolicy_2_colour=red\n"),
              messages_of([] { feed("ikePolicy_b_colour=red"); }))
        << "the number is the order of appearance";
}

TEST_F(record_lines, find_their_record_by_its_number)
{
    const auto ike_proposal = [](const std::string &number) {
        const std::string start = "ikePolicy_a_prop_" + number + "_";
        return each_behind(start,
                           "hash=MD5\nencryption=DES\ndiffie-helman=768-bit\nlifetime=" + number);
    };
    const struct {
        const char *label;
        const family &of;
        std::string lines;
        const char *ending, *values;
    } cases[] = {
        {"above", vlink, "vlink_65536_lname=a\nvlink_65536_auth=pre", "auth", " "},
        {"low bits", vlink, "vlink_65539_auth=pre\nvlink_3_lname=a", "auth", "pre "},
        {"overlapping families", old,
         "link_5000_lname=a\npair_0904_laddress=b\npair_5000_lname=c\npass_0904_laddress=d",
         "address", "b d "},
        {"by number, not by text", ike, ike_proposal("10") + ike_proposal("9"), "time", "9 10 "},
        {"above 16 bits", ike, ike_proposal("65536") + ike_proposal("3"), "time", "3 "},
        {"eight bits", ipsec,
         each_behind("ipsecPolicy_a_", "prop_255_esp_encryption=DES\nprop_255_lifetime_mb=1\n"
                                       "prop_256_esp_encryption=CAST\nprop_256_lifetime_mb=2\n"),
         "_mb", "0 1 "},
        {"the later of equal numbers is found", ipsec,
         each_behind("ipsecPolicy_a_", "prop_1_esp_encryption=DES\nprop_257_esp_encryption=CAST\n"
                                       "prop_1_lifetime_mb=7"),
         "_mb", "7 0 "},
        {"order of appearance", pool,
         "mcpool_nomask_addr_1=10.9.0.1\nmcpool_b_mask=255.0.0.0\nmcpool_b_addr_1=10.9.0.1\n"
         "mcpool_norange_mask=255.0.0.0\nmcpool_norange_addr_1=0.0.0.0\n"
         "mcpool_zero_mask=0.0.0.0\nmcpool_zero_addr_1=10.9.0.1\n"
         "mcpool_a_mask=255.0.0.0\nmcpool_a_addr_1=10.9.0.1\nmcpool_b_ifname=x",
         "_name", "b a "},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        feed(c.lines);
        EXPECT_EQ(c.values, values_of(c.of.written(), c.ending));
    }
}

TEST_F(record_lines, of_policies_need_a_proposal)
{
    static const struct {
        const char *lines, *proposals; // each proposal's hash
    } cases[] = {
        {"ikePolicy_a_prop_1_hash=MD5\nikePolicy_a_prop_1_encryption=DES", ""}, // no group
        {"ipsecPolicy_a_prop_1_esp_encryption=misspelt\nipsecPolicy_a_prop_1_esp_hash=KPDK", ""},
        {"ipsecPolicy_a_prop_1_esp_encryption=ESPNULL\nipsecPolicy_a_prop_1_esp_hash=KPDK",
         "None KPDK "},
        {"ipsecPolicy_a_prop_1_ah_hash=KPDK\nipsecPolicy_a_prop_1_allow-ah=Off", ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.lines);
        start_anew();
        feed(c.lines);
        const std::string text = ike.written() + ipsec.written();
        EXPECT_EQ(c.proposals, values_of(text, "hash"));
        EXPECT_EQ(*c.proposals == '\0', text.empty());
    }
    // The count has eight bits: 256 proposals are as good as none.
    for (const int count : {255, 256, 257}) {
        start_anew();
        for (int i = 1; i <= count; ++i)
            feed("ipsecPolicy_a_prop_" + std::to_string(i) + "_esp_encryption=DES");
        finish_ipsecpols();
        ASSERT_EQ(count == 256 ? 0u : 1u, ipsecpolicy.size());
        EXPECT_TRUE(count == 256 || ipsecpolicy.front()->propcount == count % 256);
    }
}

TEST_F(record_lines, of_an_old_link_come_out_as_they_went_in)
{
    std::ifstream stream(TEST_DATA_DIR "/old_link.lines");
    const std::string whole(std::istreambuf_iterator<char>(stream), {});
    ASSERT_NE("", whole);
    feed(whole);
    EXPECT_EQ(whole, written_old_links());
}

TEST_F(record_lines, of_old_links_are_merged_and_ordered)
{
    feed("link_0001_lname=a\nlink_0001_rname=b\nlink_0001_type=pass\npair_0001_lname=c\n"
         "pass_0001_lname=d\nlink_0002_rname=e\n"
         "vlink_1_lname=y\nvlink_2_lname=x\nvlink_2_rulenumber=0\n");
    merge_pair_links();
    EXPECT_EQ("a <=> b c d  <=> e ", values_of(written_old_links(), "lname"));
    std::string types;
    for (const auto &link : links)
        types += std::to_string(link->type) + " ";
    EXPECT_EQ("-1 1 -1 0 ", types);
    EXPECT_EQ("x", linkinfos[0]->lname) << "the current links are sorted too";

    start_anew();
    feed("pass_0001_mode=tunnel\nlink_0009_mode=tunnel\nlink_0009_logid=3\nlink_0000_mode=tunnel\n"
         "link_0005_lname=no mode\npair_0001_mode=tunnel\nlink_0002_mode=swipe");
    order_vpnlinks();
    EXPECT_EQ("0 2 3 1001 2001 ", values_of(written_old_links(), "logid"));
}

TEST_F(record_lines, of_swipe_links_become_standard_ones)
{
    feed("link_0001_mode=swipe\nlink_0001_gateway=gate\nlink_0001_scn=old\nlink_0001_pfs=On\n"
         "link_0001_encr=DES\nlink_0002_mode=tunnel");
    const std::string before = written_old_links();
    upgrade_swipe_links();
    EXPECT_EQ(each_behind("link_0001_", "mode=isakmp\nscn=gate\nauth=rsa\nencr=CAST\nhash=MD5\n"
                                        "ltimeImax=480\nealgo=CAST\npfs=Off\nltimeIImax=120\n"),
              new_lines(before, written_old_links()));
}
