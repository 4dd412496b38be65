#include "flatctl/access/proxy_options.h"

#include "flatctl/common/text_write.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

using namespace flatlink;

// The keyword of the entry that an option stands for.
static std::string keyword_of(const std::string &option, const std::string &expansion)
{
    std::string keyword = expansion.substr(0, expansion.find_first_of(" \t"));
    for (const std::string_view prefix : {"permit-", "deny-"})
        if (keyword.starts_with(prefix)) {
            keyword.erase(0, prefix.size());
            break;
        }
    return keyword.empty() ? option.substr(1) : keyword;
}

// Takes the words that follow `keyword`. False when one of them is none that it knows.
static bool read_shape(std::istringstream &words, own_keyword &keyword)
{
    constexpr std::string_view names[] = {"text", "number", "count", "host", "port"};
    for (std::string word; words >> word;) {
        if (keyword.repeats_last)
            return false;
        if (keyword.arguments.empty() && (word == "prefix" || word == "first")) {
            (word == "prefix" ? keyword.takes_prefix : keyword.first_counts) = true;
            continue;
        }
        keyword.repeats_last = word.ends_with("...");
        if (keyword.repeats_last)
            word.resize(word.size() - 3);
        const auto *found = std::ranges::find(names, std::string_view(word));
        if (found == std::end(names))
            return false;
        keyword.arguments.push_back(static_cast<argument_kind>(found - names));
    }
    return true;
}

std::string flatlink::read_proxy_options(const std::string &path, proxy_options &options)
{
    constexpr std::string_view kinds[] = {"none", "one", "list", "rest"}; // as policy_kind counts
    std::ifstream file(path);
    options.rows.clear();
    options.keywords.clear();
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line.substr(0, line.find('#')));
        std::string name, kind, expansion;
        if (!(words >> name))
            continue;
        words >> kind;
        if (kind == "keyword" && name[0] != '-') {
            if (!read_shape(words, options.keywords[name] = {}))
                return shown(path) + ": not what a keyword takes: " + shown_line(line);
            continue;
        }
        std::getline(words >> std::ws, expansion);
        const auto *found = std::ranges::find(kinds, std::string_view(kind));
        if (found == std::end(kinds) || name[0] != '-')
            return shown(path) + ": not an option and its kind: " + shown_line(line);
        options.keywords.try_emplace(keyword_of(name, expansion));
        options.texts.push_back(name);
        const char *option = options.texts.back().c_str();
        options.texts.push_back(expansion);
        options.rows.push_back({option, static_cast<policy_kind>(found - kinds),
                                expansion.empty() ? nullptr : options.texts.back().c_str()});
    }
    options.rows.push_back({});
    return file.eof() ? "" : shown(path) + ": " + std::strerror(errno);
}

std::map<std::string, proxy_options> flatlink::installed_proxy_options()
{
    namespace fs = std::filesystem;
    std::map<std::string, proxy_options> all;
    std::error_code error;
    const fs::path program = fs::read_symlink("/proc/self/exe", error);
    const fs::path folder = program.parent_path().parent_path() / "share/flatlink/proxies";
    for (fs::directory_iterator file(folder, error), end; !error && file != end;
         file.increment(error)) {
        proxy_options options;
        if (file->path().extension() == ".options" &&
            read_proxy_options(file->path(), options).empty())
            all.emplace(file->path().stem(), std::move(options));
    }
    return all;
}
