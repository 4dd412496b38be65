#include "flatlink/driver.h"

#include "flatlink/derive/loaders.h"
#include "flatlink/derive/pool_loader.h"
#include "flatlink/derive/rule_walk.h"
#include "flatlink/records/decoder.h"
#include "flatlink/records/ike_policy.h"
#include "flatlink/records/interfaces.h"
#include "flatlink/records/ipsec_policy.h"
#include "flatlink/records/keys.h"
#include "flatlink/records/line.h"
#include "flatlink/records/links.h"
#include "flatlink/records/pools.h"
#include "flatlink/records/post_decode.h"
#include "flatlink/records/record_watch.h"
#include "flatlink/records/settings.h"
#include "flatlink/scratch_file.h"
#include "lib/frag/import/import.h"
#include "lib/frag/layout/canon.h"
#include "lib/frag/layout/upgrade.h"
#include "lib/frag/objects/object_run.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_sort.h"
#include "lib/frag/tree/name_index.h"
#include "lib/frag/tree/symbol.h"
#include "lib/ulib/bounds.h"
#include "lib/ulib/location.h"
#include "lib/ulib/text.h"

#include <cstdio>
#include <string>
#include <string_view>

using namespace flatlink;

const char *network_database = nullptr;

// ---- loading

static bool has_proxies(frag *head)
{
    return ffind(&head, "def_proxy") != nullptr;
}

static bool is_numbered(frag *head)
{
    return has_proxies(head) && ffind(&head, "def_num_proxies") != nullptr;
}

static bool has_former_keys(frag *head)
{
    return ffind(&head, "gui_client") != nullptr || ffind(&head, "def_proxy_plug-relay") != nullptr;
}

bool flatlink::is_current_layout(frag *head)
{
    return has_proxies(head) && !is_numbered(head) && !has_former_keys(head);
}

// Files carry no reliable version. The numbered layout shows in its counter of proxies, the layout
// before the current one in keys that the current one no longer has.
frag *upgradeTo42(frag *head)
{
    const bool had_proxies = has_proxies(head);
    if (is_numbered(head))
        norm_fragtree(&head);
    if (!had_proxies || has_former_keys(head))
        up41(&head);
    return head;
}

frag *populateDef42TreeFromEnv(const char *path)
{
    if (importenv(path) != 0)
        return nullptr;
    def_database = upgradeTo42(def_database);
    return def_database;
}

int flatlink::load_database(int fd)
{
    const int error = import_open_env(fd);
    def_database = upgradeTo42(def_database);
    return error;
}

frag *populateDef42Tree(const char *path)
{
    if (path != nullptr)
        return populateDef42TreeFromEnv(path);
    const auto installed = installed_path(DEFAULT_DATABASE);
    return installed ? populateDef42TreeFromEnv(installed->c_str()) : nullptr;
}

frag *flatlink::load_tree_once(const char *path)
{
    if (def_database != nullptr)
        return def_database;
    const auto installed = installed_path(path != nullptr ? path : DEFAULT_DATABASE);
    return installed ? populateDef42Tree(installed->c_str()) : nullptr;
}

const char *read_vpn_nonrule_loglevel(const char *path)
{
    frag *head = load_tree_once(path);
    return fval(&head, "stdlog_define_loglevel_nonrule_vpn_display");
}

// ---- derivation

static void load_rules(const char *key, std::uint32_t flags)
{
    if (frag *rules = ffind(&def_database, key))
        enum_rule_list(&def_database, rules, [flags](frag **db, frag *rule, const char *) {
            return vpn_enum_link_rules(db, rule, flags);
        });
}

template <typename loader> static void load_children(const char *key, loader load)
{
    frag *node = ffind(&def_database, key);
    if (node == nullptr)
        return;
    sort_frags(&node->child);
    for (frag *child = node->child; child != nullptr; child = child->next)
        load(child);
}

static void load_host_name(const char *key)
{
    if (const frag *node = ffind(&def_database, key))
        decode_nonvpn_buffer(make_line("", key, text_of(node->value)));
}

static void load_host()
{
    load_host_name("ip_hostname");
    load_host_name("ip_domainname");
    load_interface_lists(&def_database);
    if (const char *router = fval(&def_database, "ip_defaultrouter")) {
        note_stored(&my_def_interface, "defaultrouter", router);
        my_def_interface = router;
    }
}

void flatlink::derive_from_tree(bool reload)
{
    const object_run walks;
    const steady_lists steady;
    // The order of these steps is that of the trace, and of records that are equal in all else.
    start_rule_walk();
    load_rules("rule_pffwd", 0);
    load_rules("rule_proxy", PROXY_RULE);
    load_children("vpn_ike", load_ike);
    load_children("vpn_ipsec", load_ipsec);
    load_children("vpn_mcpool", [](frag *pool) { return load_mcpool(&def_database, pool); });
    if (frag *settings = ffind(&def_database, "vpn_settings"))
        load_settings(settings);
    if (!reload)
        load_host();
    (void)post_decode();
}

void flatlink::derive_records(const char *path, bool reload)
{
    if (reload)
        free_fraglist(&def_database);
    (void)load_tree_once(path); // without a tree the default settings are derived
    derive_from_tree(reload);
}

int read_vpndata(const char *path, bool reload)
{
    if (path != nullptr)
        network_database = path;
    if (network_database == nullptr)
        network_database = DEFAULT_DATABASE;
    start_bounds();
    fout = open_scratch_file();
    derive_records(network_database, reload);

    network_database = nullptr;
    const int result = save_vpndata(SCRATCH_FILE);
    fout = nullptr;
    return result;
}

// ---- saving

// The scratch file lies in a folder where anyone may create files, so it is not simply opened.
static std::FILE *open_output(const char *path)
{
    return std::string_view(path) == SCRATCH_FILE ? open_scratch_file() : std::fopen(path, "we");
}

static void write_host_names(std::FILE *stream)
{
    const record_writer out(stream, "ip_");
    const auto write = [&out](std::string_view key, const std::string &name) {
        note_written(&name, key, name);
        out.text(key, name);
    };
    write("myhostname", ip_myhostname);
    write("hostname", ip_hostname);
    write("domainname", ip_domainname);
}

void flatlink::write_records(std::FILE *stream)
{
    save_settings(stream);
    save_swkeys(stream, swkeys);
    std::fflush(stream);
    save_linkinfos(stream, linkinfos);
    save_ikepols(stream, ikepolicy);
    save_ipsecpols(stream, ipsecpolicy);
    save_mcpools(stream, mcpools);
    save_intfs(stream, intf_list);
    write_host_names(stream);
}

// Closes the file that was written. Reports any write that failed, not just the last.
static int close_output(const char *path)
{
    const bool failed = std::fflush(fout) != 0 || std::ferror(fout) != 0;
    if (failed)
        std::perror(path);
    const int result = std::fclose(fout);
    return failed ? 1 : result;
}

int save_vpndata(const char *path)
{
    const char *written = SCRATCH_FILE;
    if (fout == nullptr) {
        if (network_database == nullptr)
            network_database = path;
        written = network_database != nullptr ? network_database : DEFAULT_DATABASE;
        fout = open_output(written);
        if (fout == nullptr) {
            std::perror(written);
            return 1;
        }
    }
    write_records(fout);
    return close_output(written);
}
