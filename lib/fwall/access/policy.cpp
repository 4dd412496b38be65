#include "lib/fwall/access/policy.h"

#include "lib/fwall/match/src_patterns.h"
#include "lib/fwall/table/cfgrec.h"
#include "lib/fwall/table/enargv.h"
#include "lib/fwall/table/policy_table.h"
#include "lib/fwall/table/proxy.h"
#include "lib/fwall/table/table_watch.h"
#include "lib/ulib/notice.h"
#include "lib/ulib/text.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

using namespace flatlink;

namespace
{

// The arguments of a `hosts` line that are left.
struct line_rest {
    char *const *argv;
    int argc;
    int line;

    const char *front() const { return argc > 0 ? argv[0] : nullptr; }
    char *take()
    {
        --argc;
        return *argv++;
    }
};

struct prefix_flag {
    std::string_view prefix;
    cfg_flag flag;
};

constexpr prefix_flag prefixes[] = {
    {"permit-", CFG_PERMIT},
    {"deny-", CFG_DENY},
};

// The parts of an option's record. Texts are borrowed from the expansion's buffer or the line.
struct option_record {
    std::string_view keyword;
    std::int32_t flags = 0;
    std::vector<char *> fixed; // arguments of the expansion
    std::vector<char *> args;  // of the record
};

} // namespace

static constexpr int ARGUMENTS_MAX = 256; // of an expansion, with the terminating null
static constexpr int ARGUMENT_BYTES_MAX = 1024;

[[noreturn]] static void out_of_memory()
{
    notice(EVENT_NO_MEMORY, 0, "syserr: out of memory");
    std::exit(1);
}

// A '-' at its begin makes no argument an option, which may have been meant.
static void tell_if_like_option(const line_rest &rest)
{
    if (table_watch != nullptr && rest.front()[0] == '-')
        table_watch->value(value_fault::LIKE_OPTION, rest.front());
}

static void take_one(const char *option, line_rest &rest, option_record &record)
{
    if (rest.argc == 0) {
        notice(EVENT_BAD_ENTRY, rest.line, "cfgerr: missing argument for '%s', line %d", option,
               rest.line);
        return;
    }
    tell_if_like_option(rest);
    // Only now: a record whose argument is missing has no arguments, not even the expansion's.
    record.args = record.fixed;
    record.args.push_back(rest.take());
}

// Takes an argument that begins with a brace, of which the rest is dropped.
static void take_brace(line_rest &rest)
{
    const char *brace = rest.take();
    if (table_watch != nullptr && brace[1] != '\0')
        table_watch->value(value_fault::AFTER_BRACE, brace);
}

static void take_list(const char *option, line_rest &rest, option_record &record)
{
    if (rest.argc == 0) {
        notice(EVENT_BAD_ENTRY, rest.line, "cfgerr: %s needs at least one argument, line %d",
               option, rest.line);
        return;
    }
    if (rest.front()[0] != '{') {
        take_one(option, rest, record);
        return;
    }
    const char *brace = rest.front();
    take_brace(rest);
    record.args = record.fixed;
    while (rest.argc > 0 && rest.front()[0] != '}') {
        tell_if_like_option(rest);
        record.args.push_back(rest.take());
    }
    if (table_watch != nullptr && record.args.size() == record.fixed.size())
        table_watch->value(value_fault::EMPTY_LIST, brace);
    if (rest.argc > 0)
        take_brace(rest);
    else
        notice(EVENT_BAD_ENTRY, rest.line, "cfgerr: missing end of list '}', line %d", rest.line);
}

static void take_rest(const char *option, line_rest &rest, option_record &record)
{
    if (rest.argc == 0) {
        notice(EVENT_BAD_ENTRY, rest.line, "cfgerr: %s needs atleast one argument, line %d", option,
               rest.line);
        return;
    }
    record.args = record.fixed;
    while (rest.argc > 0)
        record.args.push_back(rest.take());
}

static void take_arguments(const policy_option &option, line_rest &rest, option_record &record)
{
    switch (option.kind) {
    case POLICY_ARG_NONE:
        record.args = record.fixed;
        break;
    case POLICY_ARG_ONE:
        take_one(option.name, rest, record);
        break;
    case POLICY_ARG_LIST:
        take_list(option.name, rest, record);
        break;
    case POLICY_ARG_REST:
        take_rest(option.name, rest, record);
        break;
    default:
        break;
    }
}

// Reads the option's expansion. False when it does not fit, rather than a cut one: half of a list
// of refusals would let the other half through.
static bool read_expansion(const policy_option &option, char (&texts)[ARGUMENT_BYTES_MAX],
                           option_record &record)
{
    std::array<char *, ARGUMENTS_MAX> argv{};
    const int argc =
        enargv(option.expansion, argv.data(), ARGUMENTS_MAX, texts, ARGUMENT_BYTES_MAX);
    if (argc < 0)
        return false;
    if (argc > 0) {
        record.keyword = argv[0];
        record.fixed.assign(argv.begin() + 1, argv.begin() + argc);
    }
    for (const prefix_flag &row : prefixes) {
        if (begins_with_word(record.keyword, row.prefix)) {
            record.keyword.remove_prefix(row.prefix.size());
            record.flags = row.flag;
            break;
        }
    }
    if (record.keyword.empty())
        record.keyword = option.name[0] == '\0' ? "" : option.name + 1;
    return true;
}

// The record, on the heap. Does not return without memory.
static cfgrec *policy_alloc(const option_record &record, std::int32_t line)
{
    cfgrec *made = cfg_make(record.keyword, record.flags, line,
                            static_cast<int>(record.args.size()), record.args.data());
    if (made == nullptr)
        out_of_memory();
    return made;
}

// The record of an option whose name has been taken from the line; null after a report.
static cfgrec *make_record(const policy_option &option, line_rest &rest)
{
    char texts[ARGUMENT_BYTES_MAX];
    option_record record;
    if (!read_expansion(option, texts, record)) {
        notice(EVENT_BAD_ENTRY, rest.line, "cfgerr: expansion of %s too long, line %d", option.name,
               rest.line);
        return nullptr;
    }
    take_arguments(option, rest, record);
    return policy_alloc(record, rest.line);
}

int get_policy_by_name(const char *name)
{
    cfgrec *list = cfg_find(name);
    if (!cfg_has(list))
        return -1;
    // From here on its `hosts` lines, if any, belong to the proxy.
    compile_host_patterns(list);
    if (policy_confp == nullptr)
        policy_confp = list;
    else
        cfg_last(policy_confp)->next = list;
    return 0;
}

// Follows a -policy that has been taken from the line. Returns 0, or 1 after a report.
static int join_policy(line_rest &rest)
{
    if (rest.argc == 0) {
        notice(EVENT_BAD_ENTRY, rest.line, "cfgerr: -policy needs an argument, line %d", rest.line);
        return 1;
    }
    const char *name = rest.take();
    name_policy(name);
    if (get_policy_by_name(name) == 0)
        return 0;
    notice(EVENT_NO_ENTRY, rest.line, "cfgerr: could not find %s, line %d", policy_name, rest.line);
    return 1;
}

static const policy_option *find_option(const policy_option *options, const char *name)
{
    for (; options != nullptr && options->name != nullptr; ++options)
        if (std::strcmp(options->name, name) == 0)
            return options;
    return nullptr;
}

// Takes the options of a line and appends their records to `made`. Returns 0, or 1 after a report.
static int take_options(line_rest &rest, const policy_option *options, cfg_builder &made)
{
    while (rest.argc > 0) {
        const char *word = rest.take();
        if (std::strcmp(word, "-policy") == 0) {
            if (join_policy(rest) != 0)
                return 1;
            continue;
        }
        const policy_option *option = find_option(options, word);
        if (option == nullptr) { // its arguments are unknown options, too, until one is known
            notice(EVENT_BAD_ENTRY, rest.line, "cfgerr: unknown argument name %.10s", word);
            continue;
        }
        cfgrec *record = make_record(*option, rest);
        if (record == nullptr)
            return 1;
        made.add(record);
    }
    return 0;
}

int get_policy(const cfgrec *hosts, const policy_option *options)
try {
    if (hosts == nullptr)
        return 0;
    line_rest rest{hosts->argv, hosts->argc, hosts->lineno};
    while (rest.argc > 0 && rest.front()[0] != '-')
        (void)rest.take(); // the patterns
    cfg_builder made;
    if (take_options(rest, options, made) != 0) {
        cfg_free(made.head);
        return 1;
    }
    if (made.head != nullptr) {
        *made.tail = policy_confp;
        policy_confp = made.head;
    }
    return 0;
} catch (const std::bad_alloc &) {
    out_of_memory();
}
