// Any bytes as a database whose keys are then walked as network objects, in both forms. A walk
// ends, leaves no mark in the tree, and finds the same twice.
#include "lib/frag/objects/netobj.h"
#include "lib/frag/objects/netobj_text.h"
#include "lib/frag/objects/object_run.h"
#include "lib/ulib/report.h"
#include "tests/fuzz/tree_checks.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

using namespace flatlink;

// Objects that are named in one another double at every line.
static constexpr std::size_t INPUT_MAX = 700;

static std::string walked(frag **tree, const std::string &key)
{
    std::string found;
    const text_callback add_text = [&](const frag *, const char *text) {
        (found += text) += '\n';
        return 0;
    };
    (void)enum_netobj(tree, key.c_str(), add_text);
    (void)enum_netobj42(tree, key.c_str(), add_text);
    (void)enum_group(tree, ffind(tree, key.c_str()), [&](frag **, frag *object, const char *type) {
        ((found += fragkeyname(object)) += type == nullptr ? "" : type) += '\n';
        return 0;
    });
    const std::string &text = netobj_to_netperm(tree, key.c_str());
    must(text.size() <= NETPERM_TEXT_SIZE, "a text that is too long");
    return found + text;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    servContext = reinterpret_cast<CServiceContext *>(&servContext); // only passed on
    connContext = reinterpret_cast<CConnectionContext *>(&connContext);
    report_hook = [](auto...) {};
    if (size > INPUT_MAX)
        return 0;
    owned_tree tree({reinterpret_cast<const char *>(data), size});
    std::vector<std::string> keys{"$$NETOBJ.group"};
    for (const auto &[list, parent] : lists_of(&tree.head))
        for (frag *node = *list; node != nullptr; node = node->next)
            if (node->child != nullptr && keys.size() < 16)
                keys.emplace_back(fragname(node));
    std::vector<std::string> alone;
    for (const std::string &key : keys)
        alone.push_back(walked(&tree.head, key));
    {
        const object_run run;
        for (std::size_t i = 0; i < keys.size(); ++i)
            must(walked(&tree.head, keys[i]) == alone[i], "a walk of a run differs");
    }

    check_tree(&tree.head); // no mark of a walk is left
    return 0;
}
