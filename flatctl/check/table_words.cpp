#include "flatctl/check/table_words.h"

#include <algorithm>
#include <functional>

void table_words::begin_line(int number, std::string_view text)
{
    line_ = number;
    text_ = text;
    is_first_word_ = true;
}

void table_words::add_name(std::string_view name)
{
    if (name == "*")
        for_all_[line_] = true;
    if (first_lines_.try_emplace(std::string(name), line_).second)
        names_.emplace_back(name);
}

void table_words::add_word(const char *begin, const char *end)
{
    const word_place place = place_of(begin);
    if (place.end == 0)
        return; // of another text, such as an option's expansion
    std::vector<word> &words = words_[line_];
    if (is_first_word_)
        words.clear(); // of an earlier pass
    is_first_word_ = false;
    words.push_back({{place.column, place.column + static_cast<std::int32_t>(end - begin) -
                                        (end > begin ? 1 : 0)},
                     std::string(begin, end)});
}

word_place table_words::place_of(const char *at) const
{
    const std::less_equal<> is_up_to;
    if (text_.data() == nullptr || !is_up_to(text_.data(), at) ||
        !is_up_to(at, text_.data() + text_.size()))
        return {};
    const auto column = static_cast<std::int32_t>(at - text_.data()) + 1;
    return {column, column};
}

word_place table_words::arguments(int line, int first, int last) const
{
    const auto found = words_.find(line);
    const auto at = [&](int index) { return static_cast<std::size_t>(index) + 1; };
    if (found == words_.end() || first < 0 || at(last) >= found->second.size())
        return {};
    return {found->second[at(first)].place.column, found->second[at(last)].place.end};
}

word_place table_words::argument(int line, int index) const
{
    return arguments(line, index, index);
}

word_place table_words::argument(int line, std::string_view text) const
{
    const auto found = words_.find(line);
    if (found == words_.end())
        return {};
    const auto same =
        std::ranges::find_if(found->second, [&](const word &one) { return one.text == text; });
    if (same != found->second.end())
        return same->place;
    const auto longer = std::ranges::find_if(
        found->second, [&](const word &one) { return one.text.starts_with(text); });
    return longer == found->second.end() || text.empty() ? found->second[0].place : longer->place;
}

std::int32_t table_words::first_line(const std::string &name) const
{
    const auto found = first_lines_.find(name);
    return found == first_lines_.end() ? 0 : found->second;
}

bool table_words::is_for_all(int line) const
{
    return for_all_.contains(line);
}
