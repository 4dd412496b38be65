// Texts of a report and of its contexts, a line each, on their way into a record of the log daemon.
// Whatever they hold, the record is printable where it says so, its lengths are right, and escapes
// are whole: they lead back to the text or, where the room ended, to its beginning.
#include "lib/fwall/log/escape.h"
#include "lib/fwall/log/log.h"
#include "lib/ulib/fixed_text.h"
#include "tests/fuzz/input_bytes.h"
#include "tests/fuzz/must.h"

#include <cctype>
#include <charconv>
#include <sys/socket.h>
#include <vector>

using namespace flatlink;

static std::string unescaped(std::string_view text)
{
    std::string plain;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '%') {
            must(std::isprint(static_cast<unsigned char>(text[at])) != 0, "a byte not escaped");
            plain += text[at];
            continue;
        }
        unsigned byte = 256;
        must(at + 2 < text.size(), "half an escape");
        const char *digits = text.data() + at + 1;
        must(std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2, "no escape");
        plain += static_cast<char>(byte);
        at += 2;
    }
    return plain;
}

static void check_escapes(const std::string &source, int limit, const char *extra)
{
    std::vector<char> cut(static_cast<std::size_t>(limit)), whole(3 * source.size() + 1);
    const int length =
        hexescNonAsciiPlus(whole.data(), source.c_str(), static_cast<int>(whole.size()), extra);
    const std::string_view all(whole.data());
    must(all.size() == static_cast<std::size_t>(length), "a wrong length");
    must(unescaped(all) == source.c_str(), "another text");
    must(all.find_first_of(extra) == std::string_view::npos, "a character not escaped");
    must(hexescNonAsciiPlus(cut.data(), source.c_str(), limit, extra) == length,
         "the length depends on the room");
    if (limit > 0)
        must(all.starts_with(cut.data()) && source.starts_with(unescaped(cut.data())),
             "the cut text is no beginning");
}

static void check_record(const DaemonMsg &record, std::string_view text)
{
    const std::string_view carried = field_text(record.text);
    must(record.text_length == static_cast<int>(carried.size()), "a wrong length of the text");
    must(text.starts_with(unescaped(carried)), "another text in the record");
    (void)unescaped(field_text(record.user));
    (void)unescaped(field_text(record.aux_note));
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static int ends[2] = {-1, -1};
    static const int made = socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, ends);
    static Log log("fuzz", nullptr, 0, 0);
    must(made == 0, "no sockets");
    input_bytes input(data, size);
    const int limit = input.byte();
    const std::string source = input.until('\n');
    check_escapes(source, limit, ",");
    check_escapes(source, limit, "");

    log_close(&log.stdlog);
    log.mode = LOG_MODE_STDLOG;
    log.stdlog.fd = ends[0];
    log.stdlog.connected = true;
    CServiceContext service;
    CConnectionContext connection;
    UNIQUE_DATA_T uniq = UNIQUE_DATA;
    service.SetProxyName(input.until('\n').c_str());
    connection.SetUser(input.until('\n').c_str());
    connection.SetSrcIPAddress(input.until('\n').c_str());
    connection.SetConnectionID(input.until('\n').c_str());
    const std::string number = input.until('\n');
    connection.SetRule(number.c_str(), input.until('\n').c_str(), input.byte());
    set_bytes(uniq.aux_note, input.until('\n'));
    const std::string text(input.left.substr(0, input.left.find('\0')));
    uniq.preformatted = text.c_str();
    log.SendLog(&service, &connection, &uniq, REPORT_NOTICE, "%s", "");

    DaemonMsg record;
    const ssize_t got = recv(ends[1], &record, sizeof record, MSG_DONTWAIT | MSG_TRUNC);
    must(got < 0 || got == ssize_t{sizeof record}, "a record of another size");
    if (got > 0)
        check_record(record, text);
    log.stdlog.fd = -1;
    return 0;
}
