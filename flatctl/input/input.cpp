#include "flatctl/input/input.h"

#include "flatctl/common/request.h"
#include "flatctl/common/text_write.h"
#include "flatlink/driver.h"
#include "lib/ulib/bounds.h"
#include "lib/ulib/location.h"
#include "lib/ulib/report.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

using namespace flatlink;

// Address space for the work on an input, when the command line gives none: a tree takes less than
// four times its file.
static constexpr std::uint64_t MEMORY_BASE = 256 << 20;
static constexpr std::uint64_t MEMORY_PER_BYTE = 4;
static constexpr std::uint64_t UNKNOWN_SIZE = 1 << 30; // of a pipe

static std::uint64_t memory_for(const input &opened, const request &asked)
{
    if (asked.memory_mib != 0)
        return static_cast<std::uint64_t>(asked.memory_mib) << 20;
    const bool is_file = S_ISREG(opened.status.st_mode);
    const auto size = static_cast<std::uint64_t>(opened.status.st_size);
    return MEMORY_BASE + MEMORY_PER_BYTE * (is_file ? size : UNKNOWN_SIZE);
}

std::string flatlink::open_input(const std::string &path, const request &asked, input &opened)
{
    opened.path = path;
    opened.shown = path == "-" ? "standard input" : shown(path);
    opened.fd = descriptor(path == "-" ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3)
                                       : open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!opened.fd || fstat(opened.fd.get(), &opened.status) != 0)
        return opened.shown + ": " + std::strerror(errno);
    if (S_ISDIR(opened.status.st_mode))
        return opened.shown + ": " + std::strerror(EISDIR);
    opened.limits = {.memory_bytes = memory_for(opened, asked),
                     .time_s = asked.time_limit_s,
                     .may_resolve = asked.resolve};
    return {};
}

std::string flatlink::open_database(const std::string &path, const request &asked, input &opened)
{
    if (path == "-")
        return open_input(path, asked, opened);
    std::string installed;
    if (const int error = find_location(path.c_str(), installed))
        return std::string("the installation's profile: ") + std::strerror(error);
    if (installed != path && !asked.quiet)
        tell("reading " + shown(installed) + ", as flatlink would");
    return open_input(installed, asked, opened);
}

std::string flatlink::make_rereadable(input &opened)
{
    if (lseek(opened.fd.get(), 0, SEEK_CUR) >= 0)
        return {};
    descriptor copy(memfd_create("input", MFD_CLOEXEC));
    char block[65536];
    for (;;) {
        const ssize_t got =
            uninterrupted([&] { return read(opened.fd.get(), block, sizeof block); });
        if (got == 0 && lseek(copy.get(), 0, SEEK_SET) == 0)
            break;
        if (got <= 0 || write(copy.get(), block, static_cast<std::size_t>(got)) != got)
            return opened.shown + ": " + std::strerror(errno);
    }
    opened.fd = std::move(copy);
    return {};
}

bool flatlink::load_input(const input &database)
{
    const int error = load_database(database.fd.get());
    if (error != 0)
        std::fprintf(stderr, "%s\n", std::strerror(error));
    return error == 0;
}

__attribute__((format(printf, 3, 0))) static bool
tell_report(const UNIQUE_DATA_T & /*uniq*/, int /*priority*/, const char *format, va_list args)
{
    (void)std::vfprintf(stderr, format, args);
    (void)std::fputc('\n', stderr);
    return true;
}

void flatlink::tap_reports()
{
    report_tap = tell_report;
}

int flatlink::derive_in_child(const input &database, const known_world &world, child_port &port)
{
    enter_world(world, port);
    tap_reports();
    start_bounds();
    if (!load_input(database))
        return STATUS_UNREADABLE;
    derive_from_tree(false);
    if (!report_bounds())
        return STATUS_FOUND; // flatlink writes nothing then
    std::FILE *out = port.stream(frame_kind::DATA);
    write_records(out);
    std::fclose(out);
    return STATUS_FINE;
}

void side_frames::tell_message(std::string_view line) const
{
    if (!is_quiet_)
        tell(of_.shown + ": " + shown_line(line));
}

void side_frames::take(frame_kind kind, std::string_view bytes)
{
    constexpr std::size_t LISTED_MAX = 10;
    if (kind == frame_kind::NAME) {
        const bool is_answered = bytes.find('=') != std::string_view::npos;
        std::string &list = looked_up_[is_answered];
        if (++look_up_counts_[is_answered] <= LISTED_MAX)
            list.append(list.empty() ? " " : ", ").append(shown_line(bytes));
    }
    if (kind != frame_kind::MESSAGE)
        return;
    for (const char c : bytes) {
        if (c != '\n') {
            message_ += c;
            continue;
        }
        tell_message(message_);
        message_.clear();
    }
}

int side_frames::end(const child_result &result)
{
    if (!message_.empty())
        tell_message(message_);
    if (!looked_up_[1].empty() && !is_quiet_)
        tell(of_.shown + ": " + std::to_string(look_up_counts_[1]) + " looked up:" + looked_up_[1]);
    if (!looked_up_[0].empty() && !is_quiet_)
        tell(of_.shown + ": " + std::to_string(look_up_counts_[0]) +
             " not known here:" + looked_up_[0] + " (see --names, --routes, --resolve)");
    if (result.end == child_end::DONE)
        return result.detail;
    tell(of_.shown + ": " + words_for(result));
    return STATUS_FOUND;
}
