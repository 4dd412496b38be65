#include "flatlink/keys.h"

#include "tests/flatlink/conversion_test.h"

class keys : public conversion_test
{
};

TEST_F(keys, store_each_field)
{
    feed("key_0007_key=k = l\nkey_07_id=me\nkey_0007_kidnum= 12x\nkey_0007_type=KEYID (HEX)\n"
         "key_0002_key=m\nkey_0002_kidnum=x\nkey_0002_type=Fax\nkey_0002_id=\n");
    EXPECT_EQ("key_0001_type=KeyID (hex)\nkey_0001_id=me\nkey_0001_kidnum=12\nkey_0001_key=k = l\n"
              "key_0002_type=\nkey_0002_id=\nkey_0002_kidnum=0\nkey_0002_key=m\n",
              saved(save_swkeys, swkeys));
    feed("key_07_kidnum=none\nkey_07_type=dns\nkey_07_key=n");
    EXPECT_EQ(12, swkeys[0]->kidnum) << "what is no number changes nothing";
    EXPECT_EQ(2, swkeys[0]->type);
    EXPECT_EQ("n", swkeys[0]->key);
}

TEST_F(keys, report_lines_that_cannot_be_used)
{
    static const struct {
        const char *label, *line, *message;
        std::size_t made;
    } cases[] = {
        {"negative", "-001_key=x", "vpndata:Key index BAD -1\n", 0},
        {"negative, two digits", "-1_key=x", "vpndata:Key index BAD -1\n", 0},
        {"no digits", "abcd_key=x", "vpndata:Key index BAD -1\n", 0},
        {"nothing", "", "vpndata:Key index BAD -1\n", 0},
        {"empty value", "0001_key=", "", 0},
        {"no equals sign", "0001_key", "", 0},
        {"number alone", "0001", "", 0},
        {"lowest", "0000_key=x", "", 1},
        {"highest", "9999_key=x", "", 1},
        {"unknown field", "0001_foo=1", "vpndata:Bad KEY field (foo) on key 1\n", 1},
        {"three digits: the key begins late", "001_key=x", "vpndata:Bad KEY field (ey) on key 1\n",
         1},
        {"five digits: the last is lost", "12345_key=x",
         "vpndata:Bad KEY field (_key) on key 1234\n", 1},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        start_anew();
        EXPECT_EQ(c.message, messages_of([&] { add_partial_swkey(c.line); }));
        EXPECT_EQ(c.made, swkeys.size());
    }
}
