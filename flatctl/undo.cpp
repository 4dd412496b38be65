// undo DB: puts back the newest copy that `convert --in-place` kept.
#include "flatctl/common/text_write.h"
#include "flatctl/forms/kept_copy.h"
#include "flatctl/options.h"
#include "flatctl/verbs.h"
#include "flatlink/plain_file.h"

#include <fcntl.h>
#include <unistd.h>

using namespace flatlink;

// The content of the copy. False when it cannot be read whole.
static bool read_copy(const plain_file &file, const std::string &name, std::string &content)
{
    const descriptor copy(
        openat(file.place.folder.get(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    char block[65536];
    ssize_t got = -1;
    while (copy && (got = uninterrupted([&] { return read(copy.get(), block, sizeof block); })) > 0)
        content.append(block, static_cast<std::size_t>(got));
    return got == 0;
}

// Returns what went wrong.
static std::string put_back(const std::string &path, std::string &copy, std::string &replaced)
{
    plain_file file;
    if (const fault found = open_plain_file(path.c_str(), file))
        return shown(path) + ": " + found.words();
    if (file.fd)
        if (const fault found = lock_plain_file(file))
            return shown(path) + ": " + found.words();
    copy = newest_copy(file);
    if (copy.empty())
        return shown(path) + ": no copy of it is kept";
    std::string content;
    if (!read_copy(file, copy, content))
        return shown(copy) + ": cannot be read";
    // Named apart from the copies, so that the next undo goes one step further back.
    std::string error = file.fd ? keep_copy(file, replaced) : "";
    if (error.empty())
        error = replace_and_compare(file, content);
    if (!error.empty())
        return error;
    (void)unlinkat(file.place.folder.get(), copy.c_str(), 0); // the file has its content now
    const std::string undone = file.place.name + ".undone~";
    if (!replaced.empty() && renameat(file.place.folder.get(), replaced.c_str(),
                                      file.place.folder.get(), undone.c_str()) == 0)
        replaced = undone;
    return {};
}

int flatlink::run_undo(const request &asked)
{
    std::string copy, replaced;
    const std::string error = put_back(asked.operands[0], copy, replaced);
    if (!error.empty()) {
        tell(error);
        return STATUS_UNREADABLE;
    }
    if (!asked.quiet)
        put("put back " + shown(copy) + "; what it replaced is in " + shown(replaced) + "\n");
    return STATUS_FINE;
}
