// Any bytes as lines of a flat file: decoded, finished, saved, and what was saved once more. The
// first byte says whether a trace is written, whether lines come after the finishing, and
// whether there is a default router.
#include "flatlink/driver.h"
#include "flatlink/flat_file.h"
#include "flatlink/records/decoder.h"
#include "flatlink/records/line.h"
#include "flatlink/records/post_decode.h"
#include "flatlink/records/records.h"
#include "tests/fuzz/memory_file.h"
#include "tests/fuzz/must.h"
#include "tests/fuzz/no_network.h"
#include "tests/ulib/scripted_names.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

using namespace flatlink;

// As a file is read: a line ends at its newline or at the room for it, and counts up to a NUL.
static void decode_lines(std::string_view text)
{
    while (!text.empty()) {
        const std::size_t end = text.substr(0, FLAT_LINE_SIZE - 1).find('\n');
        const std::string_view line = text.substr(0, std::min(end, FLAT_LINE_SIZE - 1));
        text.remove_prefix(end == std::string_view::npos ? line.size() : end + 1);
        const std::string copy(line.substr(0, line.find('\0')));
        if (!decode_vpn_buffer(copy))
            decode_nonvpn_buffer(copy);
    }
}

// Closes the file.
static void save(memory_file &file)
{
    fout = file.stream;
    must(save_vpndata("none") == 0, "a save that failed");
    fout = nullptr;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static std::FILE *const nowhere = stderr = std::fopen("/dev/null", "we");
    if (size == 0 || nowhere == nullptr)
        return 0;
    const std::string_view text(reinterpret_cast<const char *>(data) + 1, size - 1);
    const std::size_t part = *data & 2 ? text.size() / 2 : text.size();
    platform = &NO_NETWORK;
    const scripted_names no_names;
    my_def_interface = *data & 4 ? "10.0.0.254" : "";

    memory_file saved;
    memory_file saved_again;
    fout = *data & 1 ? saved.stream : nullptr;
    decode_lines(text.substr(0, part));
    (void)post_decode();
    decode_lines(text.substr(part));
    (void)post_decode();
    save(saved);

    reset_records();
    decode_lines({saved.bytes, saved.size});
    (void)post_decode();
    save(saved_again);
    reset_records();
    return 0;
}
