"""access_live.py PLUG-RELAY FLATCTL OPTIONS COUNT [SEED]: what `explain access` says of random
tables and clients, and what a relay does. Each change that is said to turn a verdict is made, whole
and without each of its parts, and the relay asked again."""
import json
import os
import random
import socket
import subprocess
import sys
import threading

import kit
import proxy_host
from proxy_host import read_all

RELAY, FLATCTL, OPTIONS, COUNT = sys.argv[1:5]
SEED = int(sys.argv[5]) if len(sys.argv) > 5 else 1
PORTS = (25, 80, 8080)
NAMES = {"a.lan": "127.0.0.1", "b.lan": "127.0.0.2", "mail.net": "127.0.1.1", "www.net": "127.0.2.2"}
CLIENTS = ("127.0.0.1", "127.0.0.2", "127.0.0.3", "127.0.1.1", "127.1.0.1")
HOSTS = ("127.0.1.1", "127.0.2.2", "127.0.2.9", "mail.net", "www.net", "nowhere.net")
PATTERNS = ("*", "127.0.*", "127.0.0.1", "127.0.0.2-127.0.1.1", "127.0.0.0:255.255.255.0", "*.lan",
            "B.LAN", "127.1", "~me", "127.0.0.0:255.0.255.0", "*.net", "127.*.1", "unknown")
DESTINATIONS = ("*", "127.0.*", "127.0.1.1", "*.net", "mail.net", "127.0.2.0-127.0.2.5", "127.0.2")
ITEMS = ("25", "80", "8080", "smtp", "*", "any", "http")


def random_table(pick):
    def item(words, marks=("", "", "", "!")):
        return pick(marks) + pick(words)

    def options():
        words = pick(("", " -policy p", " -policy p", " -policy q", " -policy p -policy q"))
        return words + pick(("", "", f" -dest {pick(DESTINATIONS)}", f" -ports {{ {pick(ITEMS)} }}",
                             f" -dest {{ {pick(DESTINATIONS)} {pick(DESTINATIONS)} }}", " -none x"))

    lines = ["policy-p: timeout 5", "policy-q: timeout 6", "*: logging none",
             *(["plug-relay: hosts 127.0.* -policy p", "policy-p: destination *"] * pick(range(2))),
             f"plug-relay: relay-to {pick(HOSTS)} {pick(PORTS)}"]
    for _ in range(pick(range(1, 9))):
        name = pick(("plug-relay", "plug-relay", "*", "policy-p", "policy-p", "policy-q"))
        prefix = pick(("", "", "permit-", "deny-"))
        kind = pick(("hosts", "hosts", "destination", "destination", "ports", "afw-dest", "rev_dns"))
        if kind == "hosts" and not name.startswith("policy"):
            words = f"{prefix}hosts {pick(PATTERNS)} {pick(('', pick(PATTERNS)))}{options()}"
        elif kind == "afw-dest":
            words = f"afw-dest {pick(DESTINATIONS)} {pick(ITEMS)} 1" if pick(range(4)) == 0 else "x y"
        elif kind == "rev_dns":
            words = f"rev_dns {pick(PATTERNS[:4])}" if pick(range(4)) == 0 else "x y"
        else:
            words = {"hosts": DESTINATIONS, "destination": DESTINATIONS, "ports": ITEMS}[kind]
            kind = "destination" if kind == "hosts" else kind
            words = f"{prefix}{kind} {item(words)} {pick(('', item(words)))}"
        lines.append(f"{name}: {words}")
    return "\n".join(pick.shuffled(lines)) + "\n"


class Pick(random.Random):
    def __call__(self, words):
        return self.choice(words)

    def shuffled(self, words):
        self.shuffle(words)
        return words


def serve(port):
    listener = socket.create_server(("0.0.0.0", port), backlog=64)

    def accept():
        while True:
            with listener.accept()[0] as client:
                client.sendall(b"+OK")
    threading.Thread(target=accept, daemon=True).start()


def is_relayed(listener, client_address, table):
    proxy_host.write_table(table)
    client = socket.create_connection(listener.getsockname(), source_address=(client_address, 0))
    connection = listener.accept()[0]
    with client:
        with connection:
            relay = subprocess.Popen([RELAY], stdin=connection, stdout=subprocess.DEVNULL,
                                     stderr=subprocess.DEVNULL)
        client.shutdown(socket.SHUT_WR)
        got = read_all(client)
        relay.wait()
    return b"+OK" in got


def explained(client, dest, path):
    run = subprocess.run([FLATCTL, "explain", "access", "--format", "json", "--names", "/etc/hosts",
                          "--options", OPTIONS, "--proxy", "plug-relay", "--client", client,
                          "--dest", dest, path], capture_output=True, check=False)
    assert run.returncode in (0, 1), (run.returncode, run.stderr)
    told = json.loads(run.stdout)
    assert (told["verdict"] == "permit") == (run.returncode == 0)
    return told


def changed(table, changes):
    """The table with lines changed, and others put in front of those of their number."""
    lines = table.splitlines()
    result = []
    for number, line in enumerate(lines + [None], 1):
        result += [one["to"] for one in changes if one["new"] and one["line"] == number]
        others = [one["to"] for one in changes if not one["new"] and one["line"] == number]
        result += others or ([] if line is None else [line])
    return "\n".join(result) + "\n"


def differences(listener, pick):
    """Asks one question of both. Yields what is wrong, and returns whether changes were told."""
    table, client = random_table(pick), pick(CLIENTS)
    dest = next(line.split()[2:] for line in table.splitlines() if " relay-to " in line)
    path = "/var/run/table"
    with open(path, "w", encoding="ascii") as file:
        file.write(table)
    told = explained(client, ":".join(dest), path)
    is_open = is_relayed(listener, client, table)
    if is_open != (told["verdict"] == "permit"):
        yield f"{table}{client}: the relay says {is_open}, not {told}"
    turns = told["turn"]
    if turns and is_relayed(listener, client, changed(table, turns)) == is_open:
        yield f"{table}{client}: not turned by {turns}"
    for i in range(len(turns) if len(turns) > 1 else 0):
        if is_relayed(listener, client, changed(table, turns[:i] + turns[i + 1:])) != is_open:
            yield f"{table}{client}: {turns[i]} is not needed of {turns}"
    tally["asked"] += 1
    tally["permitted"] += is_open
    tally["turned"] += bool(turns)


tally = {"asked": 0, "permitted": 0, "turned": 0}


def main():
    proxy_host.enter_with_network()
    hosts = "".join(f"{address} {name}\n" for name, address in NAMES.items())
    for path, text in (("/etc/nsswitch.conf", "hosts: files\nservices: files\n"), ("/etc/hosts", hosts)):
        if os.path.exists(path):
            own = "/var/run/" + os.path.basename(path)
            kit.write(own, text.encode())
            kit.call("mount", "--bind", own, path)
    for port in PORTS:
        serve(port)
    listener = socket.create_server(("127.0.0.1", 7002), backlog=64)
    pick = Pick(SEED)
    faults = [fault for _ in range(int(COUNT)) for fault in differences(listener, pick)]
    print(tally, *faults[:10], sep="\n")
    # What is compared must be worth it: both verdicts, and a change for nearly each.
    few = tally["asked"] // 5
    return 1 if faults or min(tally["permitted"], tally["asked"] - tally["permitted"]) < few or \
        tally["turned"] < 4 * few else 0


if __name__ == "__main__":
    sys.exit(main())
