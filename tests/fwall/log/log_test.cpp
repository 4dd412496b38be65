#include "lib/fwall/log/log.h"

#include "lib/fwall/log/context.h"
#include "lib/fwall/log/event_table.h"
#include "lib/ulib/fixed_text.h"
#include "tests/fwall/log_receiver.h"
#include "tests/fwall/table_file.h"

#include <cerrno>
#include <ctime>
#include <syslog.h>

using namespace flatlink;

// Contexts, and a log object that sends to a receiver of the test and shows the system log on the
// error stream.
struct log_setup {
    log_receiver receiver;
    CServiceContext service;
    CConnectionContext connection;
    UNIQUE_DATA_T uniq = UNIQUE_DATA;
    Log log{"relay", nullptr, LOG_PERROR, LOG_DAEMON};

    explicit log_setup(std::int32_t mode)
    {
        log.mode = mode;
        set_text(log.stdlog.address.sun_path, receiver.path);
        testing::internal::CaptureStderr();
    }
    ~log_setup() { (void)testing::internal::GetCapturedStderr(); }

    static std::string system_log()
    {
        std::string lines = testing::internal::GetCapturedStderr();
        testing::internal::CaptureStderr();
        return lines;
    }
};

TEST(Log, FillsTheRecord)
{
    log_setup with(LOG_MODE_STDLOG);
    DaemonMsg want;
    want.pid = getpid();
    want.priority = 5;
    with.service.SetServiceType(static_cast<services>(want.service = 0x01020304));
    with.service.SetProtocol(static_cast<prots>(want.protocol = 17));
    with.service.SetProxyName("relay");
    set_text(want.proxy_name, "relay");
    with.connection.SetSrcPort(want.src_port = 1025);
    with.connection.SetDstPort(want.dst_port = 80);
    with.connection.SetMappedDstPort(65536 + (want.mapped_dst_port = 1));
    with.connection.SetConnectionID(std::string(40, 'c').c_str());
    set_bytes(want.connection_id, std::string(32, 'c'));
    with.connection.SetSrcIPAddress("10.0.0.1");
    set_text(want.src_ip, "10.0.0.1");
    with.connection.SetDstIPAddress("192.168.100.200");
    set_text(want.dst_ip, "192.168.100.200");
    with.connection.SetUser("a,b%c\td,e,f,g");
    set_text(want.user, "a%2Cb%25c%09d%2Ce%2C");
    with.connection.SetRule(std::string(40, 'r').c_str(), "lab,el", 5);
    set_text(want.rule_number, std::string(32, 'r'));
    set_text(want.rule_label, "lab,el");
    with.uniq.event = want.event = 11502;
    with.uniq.aux1 = want.aux1 = 11;
    with.uniq.aux2 = want.aux2 = 22;
    with.uniq.aux3 = want.aux3 = 33;
    with.uniq.line = want.line = 44;
    with.uniq.aux_tag_ptr = "tag-of-25-characters-long";
    set_text(want.aux_tag, "tag-of-25-characters");
    set_bytes(with.uniq.aux_name, std::string("n\0\0n", 4) + std::string(80, 'n'));
    set_bytes(want.aux_name, std::string("n\0\0n", 4) + std::string(80, 'n'));
    std::memset(with.uniq.aux_note, ',', sizeof with.uniq.aux_note); // without a terminator
    for (std::size_t i = 0; i < 255; ++i)
        want.aux_note[i] = "%2C"[i % 3];
    set_text(want.text, "te%FFxt%2C 7%25");
    want.text_length = 15;
    const auto before = static_cast<std::uint32_t>(std::time(nullptr));
    with.log.SendLog(&with.service, &with.connection, &with.uniq, 5, "%s, %d%%", "te\xffxt", 7);
    const DaemonMsg got = with.receiver.next_record();
    EXPECT_LE(got.time - before, 10U);
    want.time = got.time;
    EXPECT_EQ(std::memcmp(&got, &want, sizeof got), 0);
    EXPECT_EQ(with.system_log(), "");
}

TEST(Log, CutsTextsAndTakesNoneForAFormat)
{
    log_setup with(LOG_MODE_STDLOG | LOG_MODE_SYSLOG);
    const std::string most(1020, 'm');
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"%n%s%d %m", "%25n%25s%25d %25m"},
        {most + "mmmm", most + "mmm"},
        {most + ",", most + "%2C"},
        {most + "m,m", most + "m"},
        {most + most + "mmmmmmmmmm", most + "mmm"},
    };
    for (const auto &[message, stdlog] : cases) {
        with.log.SendLog(&with.service, nullptr, &with.uniq, 5, "%s", message.c_str());
        EXPECT_EQ(with.system_log(), "relay: " + message.substr(0, 2047) + "\n");
        const DaemonMsg got = with.receiver.next_record();
        EXPECT_EQ(got.text, stdlog);
        EXPECT_EQ(got.text_length, static_cast<int>(stdlog.size()));
    }
}

TEST(Log, SendsWhereItsModeSays)
{
    const auto sent = [](int mode, int event, const char *preformatted = nullptr) {
        log_setup with(mode);
        with.connection.SetRule("1", "one", 2);
        with.uniq.event = event;
        with.uniq.preformatted = preformatted;
        errno = EACCES;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat" // %m is no ISO format
        with.log.SendLog(&with.service, &with.connection, &with.uniq, 4, "cannot: %m");
#pragma GCC diagnostic pop
        const std::string system_log = with.system_log();
        log_transmit("end", 3, &with.log.stdlog);
        const std::string record = with.receiver.next();
        return system_log + (record == "end" ? "" : record.c_str() + offsetof(DaemonMsg, text));
    };
    const std::string denied = "cannot: Permission denied", line = "relay: " + denied + "\n";
    EXPECT_EQ(sent(0, 1500) + sent(1, 1500), denied);
    EXPECT_EQ(sent(2, 1500), line);
    EXPECT_EQ(sent(3, 1500), line + denied);
    EXPECT_EQ(sent(3, 10002), line);   // above the level of the rule
    EXPECT_EQ(sent(1, 99999), denied); // not in the table of events
    EXPECT_EQ(sent(3, 11502, "100%s done"), line + "100%25s done");
}

TEST(Log, RefusesNullParameters)
{
    log_setup with(LOG_MODE_STDLOG);
    with.log.SendLog(nullptr, &with.connection, &with.uniq, 5, "x");
    with.log.SendLog(&with.service, &with.connection, nullptr, 5, "x");
    const std::string line = "relay: Failed to send standard log message: null parameter\n";
    EXPECT_EQ(with.system_log(), line + line);
    log_transmit("end", 3, &with.log.stdlog);
    EXPECT_EQ(with.receiver.next(), "end");
    for (const auto &[asked, kept] : {std::pair(0x3f8, 0x3f8), {0x400, 0}, {7, 0}})
        EXPECT_EQ(Log(nullptr, nullptr, 0, asked).facility, kept);
}

TEST(WithinLogLevel, ComparesWithTheTable)
{
    for (const auto &[number, want] :
         {std::pair(-1, 0), {501, 4}, {1499, 0}, {1500, 1}, {19003, 5}, {32524, 1}, {32525, 0}}) {
        const auto event = static_cast<events>(number);
        EXPECT_EQ(lookup_loglevel_byid(event), want) << number;
        for (int level = -1; level <= 5; ++level)
            EXPECT_EQ(Log::WithinLogLevel(event, level), level < 0 || want <= level) << number;
    }
}

// The usual modes are in tests/system.
TEST(CheckLogConfig, ChoosesTheMode)
{
    // The mode, and what the system log is told.
    const auto mode_of = [](const std::string &lines) {
        const table_file table(lines);
        cfgrec *list = cfg_read("n");
        openlog("mode", LOG_PERROR, LOG_USER);
        testing::internal::CaptureStderr();
        const std::string mode = std::to_string(Log::CheckLogConfig(list));
        closelog();
        cfg_free(list);
        return mode + ' ' + testing::internal::GetCapturedStderr();
    };
    EXPECT_EQ(mode_of("n: logging none\nn: logging both\n"), "0 ");
    EXPECT_EQ(mode_of("n: logging both\nn: log-enabled No\n"), "3 ");
    EXPECT_EQ(mode_of("n: logging both\nn: log-enabled  \n"), "3 ");
    EXPECT_EQ(mode_of("n: logging none\nn: log-enabled no x\n"),
              "1 mode: cfgerr: log-enabled keyword expects only one value, line 2\n");
    for (const auto &[values, mode] : {std::pair(" ", "1"), {"normal both", "2"}})
        EXPECT_EQ(
            mode_of(std::string("\nn: logging ") + values + "\n"),
            mode + std::string(" mode: cfgerr: logging keyword expects only one value, line 2\n"));
    EXPECT_EQ(mode_of("n: logging %s\n"),
              "1 mode: cfgerr: invalid value %s for logging keyword, line 1\n");
    const table_file table("default_logging: logging both\nn: logging none\n");
    EXPECT_EQ(Log::CheckLogConfig(nullptr), 3);
    EXPECT_EQ(Log::CheckLogConfig(cfg_failure()), 1);
}
