#include "lib/frag/import/import.h"

#include "lib/frag/import/import_machine.h"
#include "lib/frag/import/observer.h"
#include "lib/frag/tree/cftrie.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_list.h"
#include "lib/frag/tree/name_index.h"
#include "lib/frag/tree/symbol.h"
#include "lib/ulib/descriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

using namespace flatlink;

importer::importer(frag **head, int keep) : machine_(std::make_unique<machine>(head, keep))
{
    index_top_list(head);
}

importer::~importer()
{
    index_top_list(nullptr);
}

void importer::feed(std::string_view bytes)
{
    machine_->feed(bytes);
}

void importer::finish()
{
    machine_->end_input();
    fnewcleanup(machine_->head);
}

const import_observer *flatlink::import_watch = nullptr;

int flatlink::import_open_file(int fd, frag **head, int keep)
{
    importer reader(head, keep);
    std::vector<char> block(IMPORT_BLOCK_SIZE);
    ssize_t got = 0;
    while ((got = uninterrupted([&] { return read(fd, block.data(), block.size()); })) > 0)
        reader.feed({block.data(), static_cast<std::size_t>(got)});
    const int error = got < 0 ? errno : 0;
    reader.finish();
    return error;
}

int importffile(const char *path, frag **head, int keep)
{
    const descriptor file(open(path, O_RDONLY | O_CLOEXEC));
    if (!file)
        return 1;
    (void)import_open_file(file.get(), head, keep); // a failed read is the end of the file
    return 0;
}

// Files hold settings for all proxies below `*`, the tree holds them below `global`.
static void fold_star_proxy(frag **tree)
{
    constexpr const char *STAR_KEY = "def_proxy_*";
    const frag *star = ffind(tree, STAR_KEY);
    if (star == nullptr)
        return;
    for (const frag *child = star->child; child != nullptr; child = child->next)
        set_text_of(tree, (std::string("def_proxy_global_") + child->name).c_str(), child);
    freefrag(fdel(tree, STAR_KEY));
}

int importenv(const char *path)
{
    frag **tree = current_tree();
    const int result = importffile(path, tree, 0);
    if (result == 0)
        fold_star_proxy(tree);
    return result;
}

int flatlink::import_open_env(int fd)
{
    frag **tree = current_tree();
    const int error = import_open_file(fd, tree, 0);
    fold_star_proxy(tree);
    return error;
}

int importinitialenv(const char *path)
{
    return importffile(path, current_tree(), 1);
}
