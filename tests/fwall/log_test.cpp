#include "lib/fwall/log.h"

#include "lib/fwall/context.h"
#include "lib/fwall/event_table.h"
#include "lib/fwall/fixed_text.h"
#include "tests/fwall/log_receiver.h"
#include "tests/fwall/table_file.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <gtest/gtest.h>
#include <syslog.h>
#include <vector>

// A log object that sends to a receiver of the test, and shows the system log on the error stream.
struct test_log : Log {
    test_log(const std::string &path, std::int32_t test_mode, CServiceContext *service = nullptr)
        : Log("relay", service, LOG_PERROR, LOG_DAEMON)
    {
        mode = test_mode;
        set_text(stdlog.address.sun_path, path);
    }
};

struct contexts {
    CServiceContext service;
    CConnectionContext connection;
    UNIQUE_DATA_T uniq = UNIQUE_DATA;
};

static std::string padded(std::string text, std::size_t size)
{
    text.resize(size, '\0');
    return text;
}

template <typename NUMBER> static std::string bytes_of(NUMBER number)
{
    std::string bytes(sizeof number, '\0');
    std::memcpy(bytes.data(), &number, sizeof number);
    return bytes;
}

TEST(Log, SendsTheRecordAtItsOffsets)
{
    const log_receiver receiver;
    contexts with;
    with.service.SetServiceType(static_cast<services>(0x01020304));
    with.service.SetProtocol(static_cast<prots>(17));
    with.service.SetProxyName(std::string(50, 'p').c_str());
    with.connection.SetSrcPort(1025);
    with.connection.SetDstPort(80);
    with.connection.SetMappedDstPort(65537);
    with.connection.SetConnectionID(std::string(40, 'c').c_str());
    with.connection.SetSrcIPAddress("10.0.0.1");
    with.connection.SetDstIPAddress("192.168.100.200");
    with.connection.SetUser("a,b%c\td");
    with.connection.SetRule(std::string(40, 'r').c_str(), "lab,el", 5);
    with.uniq.event = 11502;
    with.uniq.aux1 = 11;
    with.uniq.aux2 = 22;
    with.uniq.aux3 = 33;
    with.uniq.line = 44;
    with.uniq.aux_tag_ptr = "tag-of-25-characters-long";
    std::memset(with.uniq.aux_name, 'n', sizeof with.uniq.aux_name);
    std::memset(with.uniq.aux_note, ',', sizeof with.uniq.aux_note);
    test_log log(receiver.path, 1);
    const auto before = static_cast<std::uint32_t>(std::time(nullptr));
    log.SendLog(&with.service, &with.connection, &with.uniq, 6, "%s, %d%%", "te\xffxt", 7);
    const std::string got = receiver.next();
    ASSERT_EQ(got.size(), 1680U);
    std::string note;
    for (int i = 0; i < 85; ++i)
        note += "%2C";
    const struct {
        const char *label;
        std::size_t offset;
        std::string want;
    } fields[] = {
        {"msg_size", 0, bytes_of(1680)},
        {"msg_version", 4, bytes_of(1)},
        {"event", 8, bytes_of(11502)},
        {"service", 12, bytes_of(0x01020304)},
        {"priority", 20, bytes_of(6)},
        {"aux1", 24, bytes_of(11)},
        {"aux2", 28, bytes_of(22)},
        {"aux3", 32, bytes_of(33)},
        {"src_port", 36, bytes_of(std::uint16_t{1025})},
        {"dst_port", 38, bytes_of(std::uint16_t{80})},
        {"mapped_dst_port", 40, bytes_of(std::uint16_t{1})},
        {"reserved", 42, padded("", 2)},
        {"pid", 44, bytes_of(getpid())},
        {"connection_id", 48, std::string(32, 'c')},
        {"line", 80, bytes_of(44)},
        {"protocol", 84, bytes_of(17)},
        {"src_ip", 88, padded("10.0.0.1", 16)},
        {"dst_ip", 104, padded("192.168.100.200", 16)},
        {"proxy_name", 120, padded(std::string(40, 'p'), 41)},
        {"user", 161, padded("a%2Cb%25c%09d", 21)},
        {"aux_tag", 182, padded("tag-of-25-characters", 21)},
        {"aux_name", 203, std::string(64, 'n')},
        {"aux_note", 267, padded(note, 256)},
        {"rule_number", 523, padded(std::string(32, 'r'), 64)},
        {"rule_label", 587, padded("lab,el", 64)},
        {"reserved", 651, padded("", 1)},
        {"text_length", 652, bytes_of(15)},
        {"text", 656, padded("te%FFxt%2C 7%25", 1024)},
    };
    for (const auto &field : fields) {
        SCOPED_TRACE(field.label);
        EXPECT_EQ(got.substr(field.offset, field.want.size()), field.want);
    }
    std::uint32_t sent = 0;
    std::memcpy(&sent, got.data() + 16, sizeof sent);
    EXPECT_GE(sent, before);
    EXPECT_LE(sent, std::time(nullptr));
}

TEST(Log, SendsTheTemplateWithoutAConnection)
{
    const log_receiver receiver;
    contexts with;
    test_log log(receiver.path, 1, nullptr);
    log.SendLog(&with.service, nullptr, &with.uniq, 5, "x");
    const auto got = receiver.next_record();
    ASSERT_TRUE(got);
    DaemonMsg want;
    want.time = got->time;
    want.service = 2;
    want.protocol = 4;
    want.priority = 5;
    want.pid = getpid();
    want.text_length = 1;
    want.text[0] = 'x';
    EXPECT_EQ(std::memcmp(&*got, &want, sizeof want), 0);
}

TEST(Log, CutsTexts)
{
    const log_receiver receiver;
    contexts with;
    with.connection.SetUser(std::string(30, 'u').c_str());
    test_log log(receiver.path, 1);
    static const struct {
        const char *label;
        std::string message, want;
    } cases[] = {
        {"one less", std::string(1022, 'm'), std::string(1022, 'm')},
        {"just fits", std::string(1023, 'm'), std::string(1023, 'm')},
        {"one more", std::string(1024, 'm'), std::string(1023, 'm')},
        {"1500", std::string(1500, 'm'), std::string(1023, 'm')},
        {"an escape at the end", std::string(1020, 'm') + ",", std::string(1020, 'm') + "%2C"},
        {"no room for an escape", std::string(1021, 'm') + ",m", std::string(1021, 'm')},
        {"empty", "", ""},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        log.SendLog(&with.service, &with.connection, &with.uniq, 5, "%s", row.message.c_str());
        const auto got = receiver.next_record();
        ASSERT_TRUE(got);
        EXPECT_STREQ(got->text, row.want.c_str());
        EXPECT_EQ(got->text_length, static_cast<int>(row.want.size()));
        EXPECT_STREQ(got->user, std::string(20, 'u').c_str());
    }
}

TEST(Log, TakesTheRoadsOfItsMode)
{
    const log_receiver receiver;
    contexts with;
    with.connection.SetRule("1", "one", 2);
    const struct {
        const char *label;
        int mode, event;
        const char *preformatted;
        const char *stdlog, *syslog;
    } cases[] = {
        {"nothing", 0, 1500, nullptr, nullptr, ""},
        {"log daemon", 1, 1500, nullptr, "cannot: Permission denied", ""},
        {"system log", 2, 1500, nullptr, nullptr, "relay: cannot: Permission denied\n"},
        {"both", 3, 1500, nullptr, "cannot: Permission denied",
         "relay: cannot: Permission denied\n"},
        {"above the level", 3, 10002, nullptr, nullptr, "relay: cannot: Permission denied\n"},
        {"not in the table", 1, 99999, nullptr, "cannot: Permission denied", ""},
        {"preformatted", 3, 11502, "100%s done", "100%25s done",
         "relay: cannot: Permission denied\n"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        test_log log(receiver.path, row.mode);
        with.uniq.event = row.event;
        with.uniq.preformatted = row.preformatted;
        testing::internal::CaptureStderr();
        errno = EACCES;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat" // %m is no ISO format
        log.SendLog(&with.service, &with.connection, &with.uniq, 4, "cannot: %m");
#pragma GCC diagnostic pop
        EXPECT_EQ(testing::internal::GetCapturedStderr(), row.syslog);
        log_transmit("end", 3, &log.stdlog);
        if (row.stdlog != nullptr) {
            const auto got = receiver.next_record();
            ASSERT_TRUE(got);
            EXPECT_STREQ(got->text, row.stdlog);
            EXPECT_EQ(got->event, row.event);
        }
        EXPECT_EQ(receiver.next(), "end");
    }
}

TEST(Log, NeverTakesTextFromOutsideForAFormat)
{
    const log_receiver receiver;
    contexts with;
    test_log log(receiver.path, 3);
    testing::internal::CaptureStderr();
    log.SendLog(&with.service, &with.connection, &with.uniq, 5, "%s", "%n%s%d %m");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "relay: %n%s%d %m\n");
    const auto got = receiver.next_record();
    ASSERT_TRUE(got);
    EXPECT_STREQ(got->text, "%25n%25s%25d %25m");
}

TEST(Log, SystemLogTextEndsAtItsLimit)
{
    const log_receiver receiver;
    contexts with;
    test_log log(receiver.path, 2);
    const std::string message(3000, 'm');
    testing::internal::CaptureStderr();
    log.SendLog(&with.service, &with.connection, &with.uniq, 5, "%s", message.c_str());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "relay: " + message.substr(0, 2047) + "\n");
}

TEST(Log, RefusesNullParameters)
{
    const log_receiver receiver;
    contexts with;
    test_log log(receiver.path, 1);
    testing::internal::CaptureStderr();
    log.SendLog(nullptr, &with.connection, &with.uniq, 5, "x");
    log.SendLog(&with.service, &with.connection, nullptr, 5, "x");
    log.SendLogFormatted(nullptr, nullptr, &with.uniq, 5, "x");
    const std::string line = "relay: Failed to send standard log message: null parameter\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), line + line + line);
    log_transmit("end", 3, &log.stdlog);
    EXPECT_EQ(receiver.next(), "end");
}

TEST(Log, NamesTheUnknownAndChecksTheFacility)
{
    contexts with;
    cfg_setpfile("/nonexistent/netperm-table");
    static const struct {
        int given, kept;
    } cases[] = {{0, 0}, {24, 24}, {0x3f8, 0x3f8}, {7, 0}, {0x400, 0}, {-1, 0}};
    for (const auto &row : cases) {
        testing::internal::CaptureStderr(); // the default settings can't be read
        const Log log("relay", &with.service, 9, row.given);
        (void)testing::internal::GetCapturedStderr();
        EXPECT_EQ(log.facility, row.kept);
        EXPECT_EQ(log.logopt, 9);
        EXPECT_EQ(log.mode, 1);
    }
    EXPECT_STREQ(with.service.GetProxyName(), "unknown");
    EXPECT_EQ(Log(nullptr, nullptr, 0, 8).mode, 2);
    cfg_setpfile(nullptr);
}

TEST(WithinLogLevel, ComparesWithTheTable)
{
    static const struct {
        int event, level;
    } cases[] = {{0, 0},     {500, 0},   {501, 4},   {502, 0},   {499, 0},   {1000, 2},  {1499, 0},
                 {1500, 1},  {1513, 1},  {1514, 0},  {2506, 0},  {6008, 3},  {10002, 4}, {11502, 1},
                 {13505, 0}, {13510, 0}, {18000, 3}, {19003, 5}, {22001, 2}, {32105, 1}, {32106, 0},
                 {32524, 1}, {32525, 0}, {99999, 0}, {-1, 0}};
    for (const auto &row : cases) {
        SCOPED_TRACE(row.event);
        const auto event = static_cast<events>(row.event);
        EXPECT_EQ(lookup_loglevel_byid(event), row.level);
        EXPECT_TRUE(Log::WithinLogLevel(event, -1));
        for (int level = 0; level <= 5; ++level)
            EXPECT_EQ(Log::WithinLogLevel(event, level), row.level <= level);
    }
}

TEST(VSendLog, ReachesTheLogObject)
{
    const table_file table("default_logging: logging normal\n");
    {
        contexts with;
        servContext = &with.service;
        connContext = &with.connection;
        testing::internal::CaptureStderr();
        V_OpenLog("first", &with.service, LOG_PERROR, LOG_DAEMON);
        SendLog(servContext, connContext, with.uniq, 5, "one");
        V_OpenLog("second", &with.service, LOG_PERROR, LOG_DAEMON);
        SendLog(servContext, connContext, with.uniq, 5, "two");
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "first: one\nsecond: two\n");
        const int before = dup(0);
        close(before);
        V_CloseLog();
        V_CloseLog();
        SendLog(servContext, connContext, with.uniq, 5, "three"); // makes a new one
        EXPECT_STREQ(with.service.GetProxyName(), "unknown");
        V_CloseLog();
        const int after = dup(0);
        close(after);
        EXPECT_LE(after, before);
        servContext = nullptr;
        connContext = nullptr;
    }
}
