// The files tests/data/NAME.cases: rows of a test that a reader can extend without C++.
#pragma once

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The pieces of a text that `mark` separates; nothing comes after a last mark.
inline std::vector<std::string> pieces_of(const std::string &text, char mark)
{
    std::vector<std::string> pieces;
    for (std::size_t pos = 0; pos < text.size();) {
        const std::size_t end = std::min(text.find(mark, pos), text.size());
        pieces.push_back(text.substr(pos, end - pos));
        pos = end + 1;
    }
    return pieces;
}

// The lines of a file: a word each and, from the sixth byte on, a text, which a line without a word
// goes on with after `joint`. A line that begins with '#' is a comment.
inline std::vector<std::pair<std::string, std::string>> case_lines(const std::string &file,
                                                                   char joint = ' ')
{
    std::vector<std::pair<std::string, std::string>> lines;
    std::ifstream stream(TEST_DATA_DIR "/" + file + ".cases");
    for (std::string line; std::getline(stream, line);) {
        if (line.empty() || line[0] == '#')
            continue;
        const std::string text = line.substr(std::min<std::size_t>(line.size(), 5));
        if (line[0] == ' ')
            lines.back().second += joint + text;
        else
            lines.emplace_back(line.substr(0, line.find(' ')), text);
    }
    EXPECT_FALSE(lines.empty()) << file;
    return lines;
}

// The rows of a file, texts by word; a word that is missing is empty. `case`, whose text is the
// row's label, begins each; what stands before the first is part of all. A text may have several
// lines. `words` names the words of a row, so that a misspelt one fails.
using case_row = std::map<std::string, std::string>;

inline std::vector<case_row> case_rows(const std::string &file, std::string_view words)
{
    case_row common;
    std::vector<case_row> rows;
    for (const auto &[word, text] : case_lines(file, '\n')) {
        EXPECT_NE(word == "case" ? 0 : words.find(word), std::string_view::npos) << file << word;
        if (word == "case")
            rows.push_back(common);
        (rows.empty() ? common : rows.back())[word] = text;
    }
    EXPECT_FALSE(rows.empty()) << file;
    return rows;
}

// The bytes of an input that the text of a case stands for: `\xNN` is a byte, and a '\' that ends
// the text leaves the last newline out.
inline std::string bytes_of(const std::string &text)
{
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool is_byte = text.compare(i, 2, "\\x") == 0;
        if (!is_byte && (text[i] != '\\' || i + 1 < text.size()))
            bytes += text[i];
        if (is_byte)
            bytes += static_cast<char>(std::stoi(text.substr(i + 2, 2), nullptr, 16));
        i += is_byte ? 3 : 0;
    }
    return text.ends_with('\\') ? bytes : bytes + "\n";
}

// The lines of a text of a case, each with its end.
inline std::string whole_lines(const std::string &text)
{
    return text.empty() ? "" : text + "\n";
}
