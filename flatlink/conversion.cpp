#include "flatlink/conversion.h"

#include "flatlink/driver.h"
#include "flatlink/fault.h"
#include "flatlink/mapped_input.h"
#include "flatlink/plain_file.h"
#include "flatlink/records/line.h"
#include "flatlink/records/link_sort.h"
#include "flatlink/replace_file.h"
#include "flatlink/run_guard.h"
#include "flatlink/scratch_file.h"
#include "lib/ulib/bounds.h"
#include "lib/ulib/location.h"

#include <cstdio>
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

// Writes the lines of all records after the trace, and maps them in `lines`: the database gets a
// copy of them, so they need not be kept in memory too.
static int write_scratch(const char *path, mapped_input &lines)
{
    (void)std::fflush(fout); // scratch_file_error tells of a failure, here and below
    const std::size_t begin = scratch_file_size();
    write_records(fout);
    std::FILE *stream = std::exchange(fout, nullptr);
    (void)std::fclose(stream);
    if (const int error = scratch_file_error()) {
        report_scratch_file(error);
        return 1;
    }
    const fault found = lines.map(held_scratch_file.get(), begin, scratch_file_size());
    if (found)
        std::fprintf(stderr, "flatlink: cannot read %s: %s; %s was not changed\n", SCRATCH_FILE,
                     found.words(), path);
    return found ? 1 : 0;
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
    mapped_input lines;
    return write_scratch(path, lines) == 0 ? write_database(files, lines.text()) : 1;
}
