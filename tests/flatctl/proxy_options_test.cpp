// The files that tell of the options of proxies, and the tables of the proxies themselves.
#include "flatctl/access/proxy_options.h"

#include "examples/line-filter/options.h"
#include "examples/plug-relay/options.h"
#include "lib/ulib/text.h"
#include "tests/fuzz/path_file.h"

#include <gtest/gtest.h>
#include <span>

using namespace flatlink;

static std::string text_of_rows(std::span<const policy_option> rows)
{
    std::string text;
    for (const policy_option &row : rows)
        text += std::string(::text_of(row.name)) + " " + std::to_string(row.kind) + " " +
                std::string(::text_of(row.expansion)) + "\n";
    return text;
}

TEST(ProxyOptions, FilesAreTheTablesOfTheProxies)
{
    const std::string examples = TEST_DATA_DIR "/../../examples/";
    static const struct {
        const char *path;
        std::span<const policy_option> rows;
    } files[] = {{"plug-relay/plug-relay.options", plug_relay_options},
                 {"line-filter/line-filter.options", line_filter_options}};
    for (const auto &file : files) {
        proxy_options options;
        EXPECT_EQ(read_proxy_options(examples + file.path, options), "");
        EXPECT_EQ(text_of_rows(options.rows), text_of_rows(file.rows));
    }
}

TEST(ProxyOptions, LinesThatAreNone)
{
    for (const char *line : {"dest list\n", "-dest\n", "-dest both x\n"}) {
        path_file file;
        proxy_options options;
        file.set_text(line);
        EXPECT_NE(read_proxy_options(file.path(), options), "") << line;
    }
    proxy_options options;
    EXPECT_NE(read_proxy_options("/nowhere", options), "");
    EXPECT_NE(read_proxy_options("/", options), "");
}
