"""Databases that mean harm, as (label, bytes, is the secret at their start kept)."""
import random

SECRET = b"vpn_settings_anonsecret=kept\n"

# A rule whose source is a peer and whose destination is `other`; the rest builds upon it.
BASE = """def_proxy_x_bind-port=1
net_ipaddr_pc_addr=10.1.0.7
net_ipaddr_gate_addr=192.0.2.1
net_ipaddr_far_addr=10.2.0.7
net_vpnnetwork_quay_ip-address=net_ipaddr_gate
net_vpnnetwork_quay_network=net_ipaddr_far
net_vpnnetwork_quay_include-sgo=off
rule_pffwd_1_src=net_vpnnetwork_quay
"""


def damaged_files(samples, count):
    """Samples cut short, with NUL bytes, and with bytes of any kind in their place."""
    dice = random.Random(7)
    special = b"\0\n\r\t \\_=<>[]/\"'!-%*?\x7f\x80\xff"
    for number, sample in enumerate(samples):
        for _ in range(count):
            at = dice.randrange(len(sample))
            yield f"sample {number} cut at {at}", sample[:at], False
        for _ in range(count // 3):
            at = dice.randrange(len(sample))
            yield f"sample {number} with NUL at {at}", sample[:at] + b"\0" + sample[at:], False
        for _ in range(count // 3):
            broken = bytearray(sample)
            places = [dice.randrange(len(sample)) for _ in range(dice.choice((1, 8, 64)))]
            for at in places:
                broken[at] = dice.choice(special)
            yield f"sample {number} with other bytes at {places}", bytes(broken), False


def nested_and_long_files(size):
    """`size` bytes, levels or keys of each kind."""
    for key in (b"a", b"rule", b"net"):
        yield f"flat levels of {key}", SECRET + b"_".join([key] * size) + b"=x\n", True
        yield (f"section levels of {key}",
               b"[vpn\\settings]\nanonsecret=kept\n[" + b"\\".join([key] * size) + b"]\nb=x\n", True)
        yield f"tag levels of {key}", SECRET + (b"<" + key + b">") * size, True
        yield (f"tag levels of {key}, closed",
               SECRET + (b"<" + key + b">") * size + (b"</" + key + b">") * size, True)
    yield "levels of a rule", SECRET + b"rule_pffwd_1_" + b"a_" * size + b"src=x\n", True
    yield "levels of attributes", SECRET + b"<a b='c'>" * (size // 4), True
    yield "end tags", SECRET + b"</a>" * size, True
    yield "end tags of others", SECRET + b"<a></b>" * (size // 2), True
    yield "self-closed tags", SECRET + b"<a/>" * size, True
    yield "open angle brackets", SECRET + b"<" * size, True
    yield "open brackets", SECRET + b"[" * size, True
    yield "open comment", SECRET + b"<!-- " + b"-" * size, True
    name = b"n" * size
    yield "flat name of great length", SECRET + name + b"=x\n", True
    yield "flat name without an end", SECRET + name, True
    yield "value of great length", SECRET + b"a=" + name + b"\n", True
    yield "section name of great length", SECRET + b"[" + name + b"]\nb=x\n", True
    yield "section value of great length", SECRET + b"[a]\nb=" + name + b"\\\n" + name, True
    yield "tag name of great length", SECRET + b"<" + name + b">x</" + name + b">", True
    yield "attribute of great length", SECRET + b"<a " + name + b"='" + name + b"'/>", True
    yield "text of great length", SECRET + b"<a>" + name, True
    yield "settings of great length", b"vpn_settings_anonsecret=" + name + b"\n", False
    yield "host name of great length", SECRET + b"ip_hostname=" + name + b"\n", True
    yield "many NUL bytes", SECRET + b"\0" * size, True
    yield "many keys", SECRET + b"".join(b"k%d=x\n" % i for i in range(size)), True
    yield "many equal keys", SECRET + b"k=x\n" * size, True
    yield "many equal tags", SECRET + b"<k>x</k>" * size, True
    yield ("many rules",
           SECRET + b"".join(b"rule_pffwd_%d_src=x\n" % i for i in range(size)), True)
    yield ("numbers of two billion", SECRET + b"netobj_list_Outside_element_2000000000_interface=h\n"
           b"netobj_list_Outside_element_-2000000000_interface=h\n"
           b"vpn_mcpool_p_addr_2000000000_network=x\nvpn_mcpool_p_mask=x\n"
           b"vpn_ike_p_select_2000000000_hash=MD5\nvpn_ipsec_p_select_-2000000000_hash=x\n"
           b"rule_pffwd_2000000000_src=x\nrule_proxy_99999999999999999999_src=x\n", True)


def group(name, members):
    """Lines of a group; members are (type, key)."""
    return "".join(f"net_group_{name}_elem_{i}_type={kind}\nnet_group_{name}_elem_{i}_obj={key}\n"
                   for i, (kind, key) in enumerate(members, 1))


def peer(name, network, gateway="net_ipaddr_gate", includes_gateway="off"):
    start = f"net_vpnnetwork_{name}_"
    return (f"{start}ip-address={gateway}\n{start}network={network}\n"
            f"{start}include-sgo={includes_gateway}\n")


def group_of_group(i, inner):
    return group(f"g{i}", [("group", f"net_group_g{inner}")])


def growing_objects(levels, width):
    """Groups and peers that lead back to themselves, double at each of `levels` levels, or have
    `width` members."""
    rings = {
        "group in itself": group("g1", [("group", "net_group_g1")]),
        "groups in each other": group("g1", [("group", "net_group_g2")]) +
                                group("g2", [("group", "net_group_g1"), ("ipaddr", "net_ipaddr_pc")]),
        "long ring of groups": "".join(group_of_group(i, i % (width // 20) + 1)
                                       for i in range(1, width // 20 + 1)),
        "deep groups": "".join(group_of_group(i, i + 1) for i in range(1, width)),
        "doubling groups": "".join(group(f"g{i}", [("group", f"net_group_g{i + 1}")] * 2)
                                   for i in range(1, levels)) +
                           group(f"g{levels}", [("ipaddr", "net_ipaddr_pc")]),
        "doubling groups of nothing": "".join(group(f"g{i}", [("group", f"net_group_g{i + 1}")] * 2)
                                              for i in range(1, levels)),
        "wide group": group("g1", [("ipaddr", "net_ipaddr_pc")] * width),
        "member is the list it is in": group("g1", [("group", "net_group_g1_elem_1")]),
    }
    # Where a group is met.
    places = {
        "in a rule": "rule_pffwd_1_dst=net_group_g1\n",
        "in a peer": peer("p1", "net_group_g1") + "rule_pffwd_2_src=net_ipaddr_pc\n"
                     "rule_pffwd_2_dst=net_vpnnetwork_p1\n",
        "in a pool": "vpn_mcpool_p_mask=x\nvpn_mcpool_p_addr_1_network=net_group_g1\n"
                     "vpn_mcpool_p_dns_1_network=net_group_g1\n",
    }
    for label, lines in rings.items():
        for place, use in places.items():
            yield f"{label} {place}", SECRET + (BASE + lines + use).encode(), True

    peers = {
        "peer in itself": peer("p1", "net_vpnnetwork_p1"),
        "peer that is its own gateway": peer("p1", "net_ipaddr_far", "net_vpnnetwork_p1", "on"),
        "peers in each other": peer("p1", "net_vpnnetwork_p2", includes_gateway="on") +
                               peer("p2", "net_vpnnetwork_p1", includes_gateway="on"),
        "nested peers": "".join(peer(f"p{i}", f"net_vpnnetwork_p{i + 1}", includes_gateway="on")
                                for i in range(1, levels)) + peer(f"p{levels}", "net_ipaddr_far"),
        "doubling peers": "".join(peer(f"p{i}", f"net_vpnnetwork_p{i + 1}",
                                       f"net_vpnnetwork_p{i + 1}", "on")
                                  for i in range(1, levels)) + peer(f"p{levels}", "net_ipaddr_far"),
        "peers over doubling groups": "".join(
            peer(f"p{i}", f"net_group_g{i}") +
            group(f"g{i}", [("vpnnetwork", f"net_vpnnetwork_p{i + 1}")] * 2)
            for i in range(1, levels)) + peer(f"p{levels}", "net_ipaddr_far"),
    }
    places = {
        "alone": "rule_pffwd_2_src=net_ipaddr_pc\nrule_pffwd_2_dst=net_vpnnetwork_p1\n",
        "with itself": "rule_pffwd_2_src=net_vpnnetwork_p1\nrule_pffwd_2_dst=net_vpnnetwork_p1\n",
    }
    for label, lines in peers.items():
        for place, use in places.items():
            yield f"{label} {place}", SECRET + (BASE + lines + use).encode(), True

    lists = " ".join(f"10.3.{i // 250}.{i % 250}" for i in range(width // 100))
    yield ("two long lists", SECRET + (BASE + f"net_pattern_l_pat={lists}\n" + peer("p1", "net_pattern_l") +
           "rule_pffwd_2_src=net_pattern_l\nrule_pffwd_2_dst=net_vpnnetwork_p1\n").encode(), True)
    yield ("destination that is its own address", SECRET + (
        BASE + "net_destobj_d_addr=net_destobj_d\nrule_pffwd_1_dst=net_destobj_d\n").encode(), True)


def bounded_runs():
    """Databases at the bounds of a run, as (label, bytes, links; None: more than a bound allows)."""
    side = range(1, 501)
    network = "net_ipaddr_far"
    hub = "net_ipaddr_hub_addr=10.1.1.1\n" + peer("hub", network, includes_gateway="on")
    rule = "rule_pffwd_{0}_src={1}\nrule_pffwd_{0}_dst={2}\n".format
    both = "".join(f"net_ipaddr_a{i}_addr=10.3.{i // 250}.{i % 250}\n" for i in side) + \
        "".join(group(name, [("ipaddr", f"net_ipaddr_a{i}") for i in side]) for name in "ab")
    yield ("plain rules before the peer's", BASE + hub + both +
           "".join(rule(i, "net_group_a", "net_group_b") for i in range(2, 90)) +
           rule(90, "net_group_a", "net_vpnnetwork_hub"), 2 + 2 * len(side))
    for count in (16_383, 16_384):  # four links each
        yield (f"{count} sites", BASE + "".join(
            f"net_ipaddr_g{i}_addr=20.0.{i >> 8}.{i & 255}\nnet_ipaddr_n{i}_addr=21.0.{i >> 8}.{i & 255}\n" +
            peer(f"s{i}", f"net_ipaddr_n{i}", f"net_ipaddr_g{i}", "on") +
            rule(i + 2, "net_ipaddr_pc", f"net_vpnnetwork_s{i}") for i in range(count)),
            4 * count if count < 16_384 else None)
    for depth in (400, 401):
        yield (f"{depth} nested groups", BASE + hub +
               "".join(group_of_group(i, i + 1) for i in range(1, depth)) +
               group(f"g{depth}", [("ipaddr", "net_ipaddr_pc")]) +
               rule(2, "net_group_g1", "net_vpnnetwork_hub"), 4 if depth == 400 else None)
    key = "net_ipaddr_" + "_".join("a" * 1000)
    yield ("doubling groups of long keys", BASE + key + "_addr=10.1.1.1\n" +
           "".join(group(f"g{i}", [("group", f"net_group_g{i + 1}")] * 2) for i in range(1, 40)) +
           group("g40", [("ipaddr", key)]) + "rule_pffwd_1_dst=net_group_g1\n", None)
