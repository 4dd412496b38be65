#include "flatlink/records/field.h"

#include "flatlink/records/ike_policy.h"
#include "flatlink/records/interfaces.h"
#include "flatlink/records/ipsec_policy.h"
#include "flatlink/records/keys.h"
#include "flatlink/records/old_links.h"
#include "flatlink/records/pools.h"
#include "tests/flatlink/conversion_test.h"

#include <set>

using namespace flatlink;

// For each row some of these are values.
static const char *const words[] = {
    "7",   "10.0.0.9", "255.255.0.0", "x",   "On",     "Off",     "Any",     "DNS",
    "rsa", "High",     "Range",       "Set", "tunnel", "trusted", "Outside", "768-bit",
    "MD5", "DES",      "KPDK",        "LZS", "SHA-1",  "CAST",    "None",    "1536-bit"};

class Fields : public conversion_test
{
  protected:
    std::string secrets, constant; // keys; of the rows that no value changes

    template <typename record>
    static std::string written(field_table<record> table, const record &source)
    {
        return written_by([&](std::FILE *stream) {
            print_fields<record>(record_writer(stream, ""), table, source);
        });
    }

    // Each value that a row writes reads back as itself, and changes no other line.
    template <typename record> void go_in_and_out(field_table<record> table)
    {
        for (const field<record> &row : table) {
            SCOPED_TRACE(row.key);
            if (row.flags & SECRET)
                secrets += std::string(row.key) + " ";
            if (row.held.print == nullptr || (row.flags & NOT_WRITTEN))
                continue;
            std::set<std::string> seen;
            for (const char *word : words) {
                record given;
                record again;
                row.held.store(given, word);
                const printed value = row.held.print(given);
                row.held.store(again, *value);
                seen.insert(value ? std::string(*value) : "absent");
                if (value && row.key != "logid") { // read as decimal, written as hexadecimal
                    EXPECT_EQ(row.held.print(again), value) << word;
                }
                if (row.key == "gateway" || row.key == "use_xgw")
                    continue; // each is told by two lines
                for (const std::string &line :
                     lines_of(new_lines(written(table, record()), written(table, given))))
                    EXPECT_EQ(line.find(std::string(row.key) + "="), 0u) << line;
            }
            if (seen.size() == 1)
                constant += std::string(row.key) + " ";
        }
    }
};

TEST_F(Fields, ReadWhatTheyWrite)
{
    go_in_and_out(link_fields);
    go_in_and_out(old_link_fields);
    go_in_and_out(key_fields);
    go_in_and_out(ikepol_fields);
    go_in_and_out(ikeprop_fields);
    go_in_and_out(ipsecpol_fields);
    go_in_and_out(ipsecprop_fields);
    go_in_and_out(pool_fields);
    go_in_and_out(interface_fields);
    EXPECT_EQ(constant, "fixed_remote xgwenforced name name name ")
        << "the first two show beside others, names are told in the key";
    EXPECT_EQ(secrets, "secret ikey okey preshrd key ");
}

// Which fields two links may differ in without being two links.
TEST_F(Fields, TellLinksApart)
{
    std::string may_differ;
    for (const field<linkinfo> &row : link_fields) {
        bool are_twins = true;
        for (const char *word : words) {
            record_list<linkinfo> list;
            list.push_back(std::make_unique<linkinfo>());
            list.push_back(std::make_unique<linkinfo>());
            row.held.store(*list[1], word);
            are_twins = are_twins && find_twin_linkinfo(list[1].get(), list) == list[0].get();
        }
        may_differ += are_twins ? std::string(row.key) + " " : "";
    }
    EXPECT_EQ(may_differ,
              "lname description ikepolicy ipsecpolicy rulenumber rulelabel nesting-level ");
}
