#include "lib/frag/import/import.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "lib/frag/import/import_machine.h"
#include "lib/frag/import/observer.h"
#include "lib/frag/tree/cftrie.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_list.h"
#include "lib/frag/tree/name_index.h"
#include "lib/frag/tree/symbol.h"

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

const import_observer *import_watch = nullptr;

static int last_read_error = 0;

int import_read_error()
{
    return last_read_error;
}

// Reads once more after a signal; 0 at the end of the file, -1 with errno.
static ssize_t read_block(int fd, std::vector<char> &block)
{
    ssize_t got = 0;
    do
        got = read(fd, block.data(), block.size());
    while (got < 0 && errno == EINTR);
    return got;
}

int importffile(const char *path, frag **head, int keep)
{
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return 1;
    importer reader(head, keep);
    std::vector<char> block(IMPORT_BLOCK_SIZE);
    ssize_t got = 0;
    while ((got = read_block(fd, block)) > 0)
        reader.feed({block.data(), static_cast<std::size_t>(got)});
    last_read_error = got < 0 ? errno : 0;
    close(fd);
    reader.finish();
    return 0;
}

// Settings for every proxy are written below `*` in a file, and live below `global` in the tree.
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

int importinitialenv(const char *path)
{
    return importffile(path, current_tree(), 1);
}
