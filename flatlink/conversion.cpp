#include "flatlink/conversion.h"

#include "flatlink/driver.h"
#include "flatlink/fault.h"
#include "flatlink/plain_file.h"
#include "flatlink/records/line.h"
#include "flatlink/records/link_sort.h"
#include "flatlink/replace_file.h"
#include "flatlink/run_guard.h"
#include "flatlink/scratch_file.h"
#include "lib/ulib/bounds.h"
#include "lib/ulib/location.h"

#include <cstdio>
#include <memory>
#include <new>
#include <string>
#include <string_view>

using namespace flatlink;

namespace
{

// The files of a run. The database is read at its installed place, which is usually also where it
// is replaced.
struct run_files {
    const char *path;
    std::string installed_path;
    plain_file database;
    plain_file installed; // empty when both paths are the same

    bool is_installed_elsewhere() const { return installed_path != path; }
    const plain_file &source() const { return is_installed_elsewhere() ? installed : database; }
};

// The lines of all records, kept in memory because they are written to two files.
struct record_text {
    std::string lines;
    bool is_whole = true;
};

} // namespace

static descriptor held_scratch_file;

static fault flush_copy()
{
    return flush_scratch_file(held_scratch_file);
}

// ---- load

static fault check_not_scratch(const plain_file &file)
{
    bool is_scratch = false;
    if (const fault found = is_file_at(SCRATCH_FILE, file, is_scratch))
        return found;
    return is_scratch ? fault{0, "it is the scratch file of every run"} : fault{};
}

static fault open_database(run_files &files)
{
    if (const fault found = open_plain_file(files.path, files.database))
        return found;
    if (const fault found = check_not_scratch(files.database))
        return found;
    return lock_plain_file(files.database);
}

// Refuses a database that would be replaced without having been read.
static fault open_installed(run_files &files)
{
    if (!files.is_installed_elsewhere())
        return {};
    const fault found = open_plain_file(files.installed_path.c_str(), files.installed);
    if (found && found.error != ENOENT)
        return found;
    if (!files.installed.fd)
        return {files.database.fd ? ENOENT : 0};
    return check_not_scratch(files.installed);
}

static int refuse(const run_files &files, const char *read_path, const fault &found)
{
    if (found.error == ENOENT && !files.database.fd)
        std::fprintf(stderr, "%s: %s\n", files.path, found.words());
    else if (std::string_view(read_path) == files.path)
        std::fprintf(stderr, "flatlink: cannot read %s: %s; it was not changed\n", files.path,
                     found.words());
    else
        std::fprintf(stderr, "flatlink: cannot read %s: %s; %s was not changed\n", read_path,
                     found.words(), files.path);
    return 1;
}

static int open_files(run_files &files)
{
    if (const int error = find_location(files.path, files.installed_path))
        return refuse(files, files.installed_path.c_str(), {error});
    if (const fault found = open_database(files))
        return refuse(files, files.path, found);
    if (const fault found = open_installed(files))
        return refuse(files, files.installed_path.c_str(), found);
    return 0;
}

static int open_scratch()
{
    fout = open_scratch_file();
    if (fout != nullptr)
        held_scratch_file = hold_scratch_file();
    if (held_scratch_file)
        return 0;
    report_scratch_file(errno);
    return 1;
}

static int load(const run_files &files)
{
    const plain_file &source = files.source();
    const int error = source.fd ? load_database(source.fd.get()) : 0;
    return error != 0 ? refuse(files, files.installed_path.c_str(), {error}) : 0;
}

// ---- check

// Whether the records hold all that the database implies; reports if not. An incomplete result must
// not replace the database.
static bool is_run_complete(const char *path)
{
    if (ran_out_of_memory()) {
        report_out_of_memory();
        return false;
    }
    if (const int error = lookup_error()) {
        std::fprintf(stderr, "flatlink: cannot look up names and routes: %s; %s was not changed\n",
                     std::strerror(error), path);
        return false;
    }
    if (report_bounds())
        return true;
    std::fprintf(stderr, "flatlink: %s implies more than can be written; it was not changed\n",
                 path);
    return false;
}

// ---- write

// Not open_memstream: the C library's stream does not survive exhausted memory.
static ssize_t append_lines(void *text, const char *bytes, std::size_t size)
{
    auto &to = *static_cast<record_text *>(text);
    try {
        to.lines.append(bytes, size);
    } catch (const std::bad_alloc &) {
        to.is_whole = false;
    }
    return to.is_whole ? static_cast<ssize_t>(size) : 0;
}

static bool take_text(record_text &text)
{
    const cookie_io_functions_t calls = {
        .read = nullptr, .write = append_lines, .seek = nullptr, .close = nullptr};
    std::unique_ptr<std::FILE, int (*)(std::FILE *)> stream(fopencookie(&text, "w", calls),
                                                            std::fclose);
    if (stream == nullptr)
        return false;
    write_records(stream.get());
    stream.reset();
    return text.is_whole;
}

static int write_scratch(std::string_view text)
{
    std::fwrite(text.data(), 1, text.size(), fout);
    std::FILE *stream = std::exchange(fout, nullptr);
    (void)std::fclose(stream); // scratch_file_error tells of a failure
    const int error = scratch_file_error();
    if (error != 0)
        report_scratch_file(error);
    return error != 0 ? 1 : 0;
}

static int write_database(const run_files &files, std::string_view text)
{
    replacement done = replacement::NONE;
    const fault found = replace_file(files.database, text, flush_copy, done);
    if (!found)
        return 0;
    switch (done) {
    case replacement::NONE:
        std::fprintf(stderr, "%s: %s\n", files.path, found.words());
        break;
    case replacement::COMPLETE:
        std::fprintf(stderr,
                     "flatlink: %s was replaced, but could not be flushed to the disk: %s\n",
                     files.path, found.words());
        break;
    case replacement::DAMAGED:
        std::fprintf(stderr,
                     "flatlink: %s was written in part: %s; its whole new content is the last %zu "
                     "bytes of %s\n",
                     files.path, found.words(), text.size(), SCRATCH_FILE);
        break;
    }
    return 1;
}

int flatlink::convert_database(const char *path)
{
    run_files files{path, {}, {}, {}};
    start_bounds();
    if (open_files(files) != 0 || open_scratch() != 0 || load(files) != 0)
        return 1;
    derive_from_tree(false);
    if (!is_run_complete(path))
        return 1;
    record_text text;
    if (!take_text(text)) {
        report_out_of_memory();
        return 1;
    }
    return write_scratch(text.lines) == 0 ? write_database(files, text.lines) : 1;
}
