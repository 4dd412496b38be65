#include "lib/fwall/dsthost.h"

#include "tests/fwall/proxy_setup.h"
#include "tests/kdev/loopback_sockets.h"
#include "tests/kdev/scripted_platform.h"

#include <gtest/gtest.h>

TEST(Maphostname, GivesTheFirstAddress)
{
    const report_log log;
    scripted_names names;
    names.hosts = {{"two", {{"10.0.0.1", "10.0.0.2"}}}, {"none", {}}, {"wide", {{"10.0.0.1"}, 16}}};
    static const struct {
        const char *host, *want;
        std::size_t asked, reports;
    } cases[] = {
        {"two", "10.0.0.1", 1, 0},
        {"nobody", "nobody", 1, 0},
        {"none", "none", 1, 0},
        {"wide", "invalid", 1, 1},
        {"10.1.1.1", "10.1.1.1", 0, 0},
        {"10.1.*", "10.1.*", 0, 0},
        {"", "", 0, 0},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.host);
        names.asked.clear();
        report_log::reports.clear();
        EXPECT_STREQ(maphostname(row.host), row.want);
        EXPECT_EQ(names.asked.size(), row.asked);
        EXPECT_EQ(report_log::reports.size(), row.reports);
    }
}

TEST(Getdsthost, AsksForTheTrueDestination)
{
    static const struct {
        const char *label, *destination;
        int error; // of the device
        bool with_port;
        const char *want;
        int port;
    } cases[] = {
        {"foreign", "20.0.0.1", 0, true, "20.0.0.1", 8080},
        {"foreign, no port wanted", "20.0.0.1", 0, false, "20.0.0.1", -1},
        {"the firewall itself", "127.0.0.1", 0, true, nullptr, -1},
        {"no device", "20.0.0.1", EACCES, true, nullptr, -1},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        const proxy_setup setup("n: k 1\n");
        scripted_platform device;
        const loopback_connection pair;
        device.fw_open_error = row.error;
        device.on_fw_ioctl = [&row](unsigned long, byte_area record) {
            if (record.size() == 36)
                put_end(record, 20, row.destination, 8080);
            else
                store<std::uint32_t>(record, 8, 0);
            return 0;
        };
        int port = -1;
        EXPECT_STREQ(getdsthost(pair.server, row.with_port ? &port : nullptr), row.want);
        EXPECT_EQ(port, row.port);
        EXPECT_EQ(setup.connection.GetDstPort(), row.port == -1 ? 0 : row.port);
        EXPECT_STREQ(setup.connection.GetDstIPAddress(), row.want == nullptr ? "" : row.want);
    }
}
