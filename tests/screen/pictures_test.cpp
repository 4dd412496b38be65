// What keys make of a field or of a menu that is alone: the rows of tests/data/screen.cases. That
// fields, cursors and windows agree for any keys is the affair of form_keys.
#include "lib/screen/menu.h"
#include "lib/screen/strobj.h"
#include "tests/case_lines.h"
#include "tests/screen/terminal.h"

#include <sstream>

// The keys of a row as bytes.
static std::string played_keys(const std::string &text)
{
    std::string keys;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char next = text[at] == '^' ? text[++at] : '\0';
        keys += next == '?'       ? '\x7f'
                : next == '~'     ? '\xe9'
                : next != '\0'    ? static_cast<char>(next & 0x1f)
                : text[at] == '_' ? ' '
                                  : text[at];
    }
    return keys;
}

static void play_field(std::istream &made, case_row &row)
{
    int size = 0, width = 0;
    std::string initial;
    made >> size >> width >> initial;
    const test_screen screen(2, 20);
    std::string buffer(static_cast<std::size_t>(size), '#');
    scobj *field = sc_newstrobj(0, 0, initial.empty() ? nullptr : initial.c_str(), buffer.data(),
                                size, width, nullptr, nullptr);
    EXPECT_EQ(run(field, played_keys(row["keys"])), SC_INPUT_ENDED);
    EXPECT_EQ(buffer.c_str(), row["text"]);
    EXPECT_EQ(screen.picture(), row["show"]);
    EXPECT_EQ(screen.cursor(), "0," + row["at"]);
    EXPECT_EQ(screen.bells.count(), std::atoi(row["bell"].c_str()));
    sc_destroy(field);
}

static void play_menu(std::istream &made, case_row &row)
{
    static const char *const three[] = {"one", "two", "three", nullptr};
    static const char *const ten[] = {"i0", "i1", "i2", "i3", "i4",   "i5",
                                      "i6", "i7", "i8", "i9", nullptr};
    static const char *const sized[] = {"abcdef", "abcdefgh", "abc", "\x1b[7m\n", nullptr};
    int start = 0, height = 0, width = 0, centre = 0;
    std::string items;
    made >> items >> start >> height >> width >> centre;
    const test_screen screen(8, 20);
    const char *result = "";
    scobj *menu = sc_newmenu(0, 0,
                             items == "three" ? three
                             : items == "ten" ? ten
                                              : sized,
                             start, &result, height, width, 0, centre, nullptr, nullptr);
    EXPECT_EQ(run(menu, played_keys(row["keys"])), SC_INPUT_ENDED);
    EXPECT_EQ(screen.picture(), row["show"]);
    EXPECT_EQ(result, row["text"]);
    EXPECT_EQ(screen.bells.count(), std::atoi(row["bell"].c_str()));
    sc_destroy(menu);
}

TEST(Pictures, OfKeys)
{
    for (case_row &row : case_rows("screen", "make keys text show at bell")) {
        SCOPED_TRACE(row["case"]);
        std::istringstream made(row["make"]);
        std::string kind;
        made >> kind;
        (kind == "field" ? play_field : play_menu)(made, row);
    }
}
