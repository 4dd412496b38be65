// Where the words of a table stand: collected while its reader reads it.
#pragma once

#include "lib/fwall/table/table_watch.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

// Columns from 1, both included; an unknown end is 0.
struct word_place {
    std::int32_t column = 1;
    std::int32_t end = 0;
};

class table_words
{
  public:
    // For the calls of the watch.
    void begin_line(int number, std::string_view text);
    void add_name(std::string_view name);
    void add_word(const char *begin, const char *end);

    // The line that is read, or was read last, and a place in it.
    int line() const { return line_; }
    word_place place_of(const char *at) const;

    // An argument of a line: by its index, by its text or how that begins, or all from one on to
    // another; the begin of the line when there is none.
    word_place argument(int line, int index) const;
    word_place argument(int line, std::string_view text) const;
    word_place arguments(int line, int first, int last) const;

    const std::vector<std::string> &names() const { return names_; } // in the order of their lines

    // The first line for a name; 0 for none.
    std::int32_t first_line(const std::string &name) const;

    // Whether the line is for every name.
    bool is_for_all(int line) const;

  private:
    struct word {
        word_place place;
        std::string text; // as the table has it
    };
    int line_ = 0;
    std::string_view text_;
    bool is_first_word_ = true;
    std::map<int, std::vector<word>> words_; // of a line that has entries: keyword, arguments
    std::map<std::string, std::int32_t> first_lines_;
    std::map<int, bool> for_all_;
    std::vector<std::string> names_;
};
