// What a watcher of the checks is told.
#include "lib/fwall/access/access_watch.h"

#include "lib/fwall/access/chkdest.h"
#include "lib/fwall/access/srcchk.h"
#include "tests/fwall/proxy_setup.h"
#include "tests/kdev/scripted_platform.h"

using namespace flatlink;

// Each item with what it was compared with: LINE.ARGUMENT, the reason where there is
// nothing to compare with, and whether it fits. And what decides.
static std::string watched;

struct kept_watch {
    kept_watch()
    {
        static constexpr access_watch_calls CALLS = {
            .asked =
                [](const access_question &q) {
                    static constexpr char reasons[] = {' ', 'n', 'i', '-'};
                    watched += std::to_string(q.entry->lineno) + '.' + std::to_string(q.argument) +
                               reasons[static_cast<int>(q.reason)] +
                               (q.with == nullptr ? "" : q.with) + (q.fits ? " fits\n" : "\n");
                },
            .decided =
                [](const cfgrec *entry, int argument, bool allows) {
                    watched += std::to_string(entry->lineno) + '.' + std::to_string(argument) +
                               (allows ? " allows\n" : " denies\n");
                },
        };
        watched.clear();
        access_watch = &CALLS;
    }
    ~kept_watch() { access_watch = nullptr; }
};

TEST(AccessWatch, SeesWhatIsComparedAndWhatDecides)
{
    proxy_setup setup("hosts 11.* ~a\nhosts  \nhosts a.lan\ndeny-hosts *.LAN 10.*\n"
                      "ports !80\nafw-dest 20.* 80 x\nafw-dest 30.* 25 x\n"
                      "destination a.lan 10.*\nproxy *",
                      true);
    const scripted_platform no_device;
    setup.names.names = {{"10.0.0.1", "Mail.LAN"}};
    const kept_watch watch;
    const sockaddr_in client = plain_address("10.0.0.1"), local = plain_address("20.0.0.1");
    EXPECT_EQ(permit_src_addr_chk(&client, &local), SRC_DENIED);
    EXPECT_EQ(watched, "1.0 10.0.0.1\n1.1i\n2.0-\n3.0 mail.lan\n4.0 mail.lan fits\n4.0 denies\n");
    watched.clear();
    EXPECT_EQ(permit_dst_chk("10.0.0.1", 80, proxy_confp), 1);
    EXPECT_EQ(watched, "6.1  fits\n6.0 10.0.0.1\n7.1 \n8.0 mail.lan\n8.1 10.0.0.1 fits\n"
                       "8.1 allows\n5.0  fits\n5.0 denies\n");
    watched.clear();
    EXPECT_EQ(permit_dst_chk("20.0.0.1", 80, proxy_confp) + permit_proxy_chk(proxy_confp), 1);
    EXPECT_EQ(watched, "6.1  fits\n6.0 20.0.0.1 fits\n6.0 denies\n9.0  fits\n9.0 allows\n");
}

TEST(AccessWatch, TellsADestinationThatMustNotBeLookedUp)
{
    const proxy_setup nameless("rev_dns 10.*\ndestination a.lan");
    const kept_watch watch;
    EXPECT_EQ(permit_dst_chk("10.0.0.1", 80, proxy_confp), 1);
    EXPECT_EQ(watched, "2.0n\n");
}
