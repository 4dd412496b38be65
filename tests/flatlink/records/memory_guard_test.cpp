#include "flatlink/records/memory_guard.h"

#include "flatlink/records/ike_policy.h"
#include "flatlink/records/interfaces.h"
#include "flatlink/records/ipsec_policy.h"
#include "flatlink/records/keys.h"
#include "flatlink/records/old_links.h"
#include "flatlink/records/pools.h"
#include "tests/flatlink/conversion_test.h"

#include <new>

using namespace flatlink;

static long allocations_left = 0; // the last of them fails; 0: none does

// As the library's own, so that what it hands out may be freed by the delete below.
[[gnu::noinline]] void *operator new(std::size_t size, const std::nothrow_t &) noexcept
{
    return allocations_left > 0 && --allocations_left == 0 ? nullptr : std::malloc(size);
}

[[gnu::noinline]] void *operator new(std::size_t size)
{
    void *memory = operator new(size, std::nothrow);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

[[gnu::noinline]] void operator delete(void *memory) noexcept
{
    std::free(memory);
}

[[gnu::noinline]] void operator delete(void *memory, std::size_t) noexcept
{
    std::free(memory);
}

class Memory : public conversion_test
{
  protected:
    static std::string all_records()
    {
        return saved(save_linkinfos, linkinfos) + saved(save_swkeys, swkeys) +
               saved(save_ikepols, ikepolicy) + saved(save_ipsecpols, ipsecpolicy) +
               saved(save_mcpools, mcpools) + saved(save_intfs, intf_list) +
               written_by([](std::FILE *stream) { save_vpnlinks(stream, links, "link"); });
    }

    // What `line` prints when its n-th allocation fails; false when it has fewer.
    static bool fails_at(long n, const std::string &line, std::string &message)
    {
        bool failed = false;
        message = messages_of([&] {
            allocations_left = n;
            if (!decode_vpn_buffer(line))
                decode_nonvpn_buffer(line);
            failed = std::exchange(allocations_left, 0) == 0;
        });
        return failed;
    }
};

TEST_F(Memory, ThatRunsOutCostsALineWhichIsReported)
{
    static const std::string w(99, 'w'); // longer than what a text holds without an allocation
    static const std::string any = "vpndata:Malloc failure\n", spaced = "vpndata: Malloc failure\n";
    static const std::string of_name = "vpndata: error allocating memory for ";
    static const struct {
        std::string line;
        std::string messages; // as ever later allocations fail, each once
    } cases[] = {
        {"ikePolicy_" + w + "_description=" + w, of_name + "polname\n" + any},
        {"ipsecPolicy_" + w + "_prop_1_lifetime_mb=5", of_name + "polname\n" + any},
        {"vlink_1_lname=" + w, spaced},
        {"vlink_1_gateway=" + w, spaced},
        {"vlink_1_icn=" + w, spaced + any},
        {"vlink_1_modecfg=" + w, spaced + any},
        {"vlink_1_rulelabel=" + w, spaced}, // and then nothing
        {"link_0001_rname=" + w, any + "vpndata:Malloc failure!\n"},
        {"vlink_1_" + w + "=x", spaced + "vpndata: Unrecognized"},
        {"link_0001_lname=" + w, any},
        {"key_0001_key=" + w, any},
        {"mcpool_" + w + "_ifname=" + w, of_name + "mcpname\n" + spaced},
        {"mcpool_" + w + "_dns_7=10.0.0.1", of_name + "mcpname\n" + spaced},
        {"netobj_list_1_element_2_interface=" + w, spaced},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.line);
        start_anew();
        feed(c.line);
        const std::string whole = all_records();
        std::string messages, message, last;
        for (long n = 1;; ++n) {
            start_anew();
            if (!fails_at(n, c.line, message))
                break;
            if (message != last)
                messages += message;
            last = message;
            feed(c.line);
            EXPECT_EQ(all_records(), whole) << "the same line once more, after allocation " << n;
        }
        EXPECT_EQ(messages + message.substr(0, message.find(" VPN")), c.messages);
    }
}
