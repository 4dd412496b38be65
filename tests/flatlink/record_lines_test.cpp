// What the lines of each family of records store, refuse and are written as. flat_file in
// decoder_test.cpp has every key that is written; here is what is read another way.
#include "flatlink/records/ike_policy.h"
#include "flatlink/records/ipsec_policy.h"
#include "flatlink/records/keys.h"
#include "flatlink/records/old_links.h"
#include "flatlink/records/pools.h"
#include "tests/case_lines.h"
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

const std::map<std::string, family> families = {
    {"vlink", {"vlink_1_", "lname=x", "vlink_1_", [] { return saved(save_linkinfos, linkinfos); }}},
    {"old", {"link_01_", "lname=x", "link_0001_", written_old_links}},
    {"key", {"key_0001_", "key=k", "key_0001_", [] { return saved(save_swkeys, swkeys); }}},
    {"ike",
     {"ikePolicy_a_", "prop_1_hash=MD5\nprop_1_encryption=DES\nprop_1_diffie-helman=768-bit",
      "ikePolicy_1_",
      [] {
          finish_ikepols();
          return saved(save_ikepols, ikepolicy);
      }}},
    {"ipsec",
     {"ipsecPolicy_a_",
      "group=1024-bit\nprop_1_esp_encryption=DES\nprop_1_pfs=On\nprop_1_ah_hash=KPDK\n"
      "prop_1_esp_hash=DES-MAC\nprop_1_ipcomp_algorithm=LZS\nprop_1_lifetime_minutes=60\n"
      "prop_1_lifetime_mb=5",
      "ipsecPolicy_1_",
      [] {
          finish_ipsecpols();
          return saved(save_ipsecpols, ipsecpolicy);
      }}},
    {"pool",
     {"mcpool_p_", "mask=255.255.255.0\naddr_1=10.9.0.1", "mcpool_1_",
      [] {
          finish_mcpools();
          return saved(save_mcpools, mcpools);
      }}},
};

class RecordLines : public conversion_test
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

TEST_F(RecordLines, KnowTheWordsAndNumbersOfAKey)
{
    for (case_row &c : case_rows("flatlink/key_values", "from want")) {
        SCOPED_TRACE(c["case"]);
        const std::size_t blank = c["case"].find(' ');
        const family &of = families.at(c["case"].substr(0, blank));
        const std::string key = c["case"].substr(blank + 1);
        std::string written;
        for (const std::string &value : pieces_of(c["from"], '|')) {
            const std::string text = written_after(of, key + "=" + value);
            const std::string shown = values_of(text, of.written_start + key);
            written += (written.empty() ? "" : "|") + shown.substr(0, shown.size() - 1);
        }
        EXPECT_EQ(written, c["want"]);
    }
}

TEST_F(RecordLines, ChangeInARecord)
{
    for (case_row &c : case_rows("flatlink/record_changes", "from want")) {
        SCOPED_TRACE(c["case"] + ' ' + c["from"]);
        const family &of = families.at(c["case"]);
        EXPECT_EQ(new_lines(written_after(of, ""), written_after(of, c["from"])),
                  each_behind(of.written_start, c["want"]));
    }
}

TEST_F(RecordLines, ThatCannotBeUsedAreReported)
{
    for (case_row &c : case_rows("flatlink/refused_lines", "said made")) {
        SCOPED_TRACE(c["case"]);
        start_anew();
        EXPECT_EQ(messages_of([&] { feed(c["case"]); }), c["said"] + "\n");
        EXPECT_EQ(std::to_string(linkinfos.size() + links.size() + swkeys.size() + mcpools.size() +
                                 ikepolicy.size() + ipsecpolicy.size()),
                  c["made"]);
    }
    start_anew();
    feed("ikePolicy_a_name=x\nikePolicy_b_name=x\nikePolicy_c_name=x");
    EXPECT_EQ(messages_of([] { feed("ikePolicy_b_colour=red"); }),
              "vpndata:Unrecognized field: ikePolicy_2_colour=red\n")
        << "the number is the order of appearance";
}

TEST_F(RecordLines, FindTheirRecordByItsNumber)
{
    for (case_row &c : case_rows("flatlink/record_numbers", "of from key want")) {
        SCOPED_TRACE(c["case"]);
        start_anew();
        feed(c["from"]);
        EXPECT_EQ(values_of(families.at(c["of"]).written(), c["key"]), c["want"] + ' ');
    }
}

TEST_F(RecordLines, OfPoliciesNeedAProposal)
{
    for (case_row &c : case_rows("flatlink/proposals", "from want")) {
        SCOPED_TRACE(c["case"]);
        start_anew();
        feed(c["from"]);
        const std::string text = families.at("ike").written() + families.at("ipsec").written();
        EXPECT_EQ(text.empty(), c["want"].empty());
        EXPECT_EQ(values_of(text, "hash"), text.empty() ? "" : c["want"] + ' ');
    }
    // The count has eight bits: 256 proposals are as good as none.
    for (const int count : {255, 256, 257}) {
        start_anew();
        for (int i = 1; i <= count; ++i)
            feed("ipsecPolicy_a_prop_" + std::to_string(i) + "_esp_encryption=DES");
        finish_ipsecpols();
        ASSERT_EQ(ipsecpolicy.size(), count == 256 ? 0u : 1u);
        EXPECT_TRUE(count == 256 || ipsecpolicy.front()->propcount == count % 256);
    }
}

TEST_F(RecordLines, OfAnOldLinkComeOutAsTheyWentIn)
{
    std::ifstream stream(TEST_DATA_DIR "/old_link.lines");
    const std::string whole(std::istreambuf_iterator<char>(stream), {});
    ASSERT_NE(whole, "");
    feed(whole);
    EXPECT_EQ(written_old_links(), whole);
    links[0]->peer.san_type = links[0]->ipsec.ealgo = 9;
    links[0]->ipsec.ipcomp = 2;
    EXPECT_EQ(new_lines(whole, written_old_links()),
              "link_0001_san_type=\nlink_0001_ealgo=\nlink_0001_ipcomp=On\n")
        << "numbers without a word";
}

TEST_F(RecordLines, OfOldLinksAreMergedAndOrdered)
{
    feed("link_0001_lname=a\nlink_0001_rname=b\nlink_0001_type=pass\npair_0001_lname=c\n"
         "pass_0001_lname=d\nlink_0002_rname=e\n"
         "vlink_1_lname=y\nvlink_2_lname=x\nvlink_2_rulenumber=0\n");
    merge_pair_links();
    EXPECT_EQ(values_of(written_old_links(), "lname"), "a <=> b c d  <=> e ");
    std::string types;
    for (const auto &link : links)
        types += std::to_string(link->type) + " ";
    EXPECT_EQ(types, "-1 1 -1 0 ");
    EXPECT_EQ(linkinfos[0]->lname, "x") << "the current links are sorted too";

    start_anew();
    feed("pass_0001_mode=tunnel\nlink_0009_mode=tunnel\nlink_0009_logid=3\nlink_0000_mode=tunnel\n"
         "link_0005_lname=no mode\npair_0001_mode=tunnel\nlink_0002_mode=swipe");
    order_vpnlinks();
    EXPECT_EQ(values_of(written_old_links(), "logid"), "0 2 3 1001 2001 ");
}

TEST_F(RecordLines, OfSwipeLinksBecomeStandardOnes)
{
    feed("link_0001_mode=swipe\nlink_0001_gateway=gate\nlink_0001_scn=old\nlink_0001_pfs=On\n"
         "link_0001_encr=DES\nlink_0002_mode=tunnel");
    const std::string before = written_old_links();
    upgrade_swipe_links();
    EXPECT_EQ(new_lines(before, written_old_links()),
              each_behind("link_0001_", "mode=isakmp\nscn=gate\nauth=rsa\nencr=CAST\nhash=MD5\n"
                                        "ltimeImax=480\nealgo=CAST\npfs=Off\nltimeIImax=120\n"));
}
