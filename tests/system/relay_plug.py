"""The relay example with real clients and servers.
relay_plug.py PLUG-RELAY FOLDER-OF-THE-EXAMPLE CONNECTIONS-IN-SEQUENCE"""

import concurrent.futures
import contextlib
import ctypes
import hashlib
import os
import re
import signal
import socket
import subprocess
import sys
import threading
import time

import proxy_host
from proxy_host import children, connect, descriptors, read_all, wait_until

PORT = 7002
SERVER = 8080
ALLOWED, DENIED, STRANGER = "127.0.0.2", "127.0.0.3", "127.0.0.4"
OUTSIDE = "10.1.0.2"
CLONE_NEWNET = 0x40000000
SEQUENCE = int(sys.argv[3])

TABLE = f"""plug-relay: timeout 20
plug-relay: relay-to 127.0.0.1 {SERVER}
plug-relay: deny-hosts {DENIED} -policy no
plug-relay: permit-hosts {ALLOWED} -policy yes
policy-no: ruleNumber 7
policy-no: ruleName door
policy-yes: ruleNumber 12
policy-yes: ruleName office
policy-yes: permit-destination 127.0.0.1
policy-yes: ports {SERVER}
"""


class Server:
    """Reads all input, answers with its digest after the client's end, then ends."""

    accepted = 0  # by all of them

    def __init__(self, address="127.0.0.1", port=SERVER):
        self.socket = socket.socket()
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.socket.bind((address, port))
        self.socket.listen(512)
        threading.Thread(target=self._accept, daemon=True).start()

    def _accept(self):
        while True:
            try:
                client = self.socket.accept()[0]
            except OSError:
                return
            Server.accepted += 1
            threading.Thread(target=self._serve, args=(client,), daemon=True).start()

    @staticmethod
    def _serve(client):
        with client:
            data = read_all(client)
            try:
                client.sendall(answer_to(data))
            except OSError:
                pass


def answer_to(data):
    return hashlib.sha256(data).hexdigest().encode() + data[::-1]


def start(table=TABLE, **popen):
    proxy_host.write_table(table, 1000)
    daemon = proxy_host.Daemon(sys.argv[1], PORT, name="plug-relay", **popen)
    return daemon.ready()


def exchange(data, source=ALLOWED, port=PORT, address="127.0.0.1"):
    """What comes back, and the client's own port."""
    with connect(port, address, source) as client:
        own = client.getsockname()
        sender = threading.Thread(target=_send_all, args=(client, data))
        sender.start()
        got = read_all(client)
        sender.join()
        return got, own


def _send_all(client, data):
    try:
        client.sendall(data)
        client.shutdown(socket.SHUT_WR)
    except OSError:
        pass


def without_time(texts):
    return [re.sub(r"duration=\d+", "duration=N", text) for text in texts]


def check_hosts(checks):
    daemon = start()
    got, own = exchange(b"hello")
    checks.equal("permitted", got, answer_to(b"hello"))
    checks.equal("report", without_time(checks.log.texts(4001)),
                 [f"exit host=nodnsquery/{ALLOWED} dest=127.0.0.1/{SERVER} in=5 out=69 duration=N"])
    record = next(record for record in checks.log.records() if record.event == 4001)
    checks.equal("its fields", record[5:] + (record.proxy,),
                 (own, ("127.0.0.1", SERVER), "12", "office", "plug-relay"))
    checks.log.clear()

    got, own = exchange(b"", DENIED)
    checks.equal("denied", got,
                 f"nodnsquery/{DENIED} is not authorized to use the plug-relay proxy\r\n".encode())
    checks.equal("its report", checks.log.texts(1503),
                 [f"deny host=nodnsquery/{DENIED} use of proxy"])
    checks.equal("its fields", checks.log.records()[0][5:], (own, ("", 0), "7", "door"))
    checks.log.clear()
    checks.equal("without a rule", exchange(b"", STRANGER)[0], b"")
    checks.equal("its report", checks.log.texts(1503),
                 [f"deny host=unknown/{STRANGER} no rule assigned to use of plug-relay proxy."])
    checks.equal("its rule", checks.log.records()[0][7:], ("N/A", ""))

    with open("/var/run/denial", "w", encoding="ascii") as file:
        file.write("no %s\nentry")
    proxy_host.write_table(TABLE + "plug-relay: denial-msg /var/run/denial\n", 2000)
    checks.equal("denial-msg", exchange(b"", DENIED)[0], b"no %s\r\nentry\r\n")
    proxy_host.write_table(TABLE + "plug-relay: denial-msg /dev/zero\n", 3000)
    checks.equal("no regular file", exchange(b"", DENIED)[0], b"")
    checks.equal("its report", checks.log.texts(6508),
                 ["syserr: cannot display denial-msg /dev/zero: Invalid argument"])
    checks.equal("end", daemon.end(), 1)


def check_terms(checks):
    """Options and policies decide where a client may go; each row is a table with its hosts line."""
    to_server = f"plug-relay: relay-to 127.0.0.1 {SERVER}\n"
    refusal = f"deny host=nodnsquery/{ALLOWED} connect to 127.0.0.1/{SERVER}"
    rows = (("no destination", to_server, "", "ports *", (1504, refusal)),
            ("other destination", to_server, "", "permit-destination 10.*", (1504, refusal)),
            ("option for it", to_server, "-dest 127.0.0.1", "ports *", None),
            ("option before policy", to_server, "-dest { !127.0.0.1 * }", "permit-destination *",
             (1504, refusal)),
            ("other port", to_server, "-dest *", "ports 80", (1504, refusal)),
            ("option for the port", to_server, f"-dest * -ports {{ 80 {SERVER} }}", "ports 80", None),
            ("nowhere", "", "-dest *", "ports *",
             (1504, f"deny host=nodnsquery/{ALLOWED} connect to (nowhere)/0")),
            ("option for the place", "", f"-dest * -relay-to {{ 127.0.0.1 {SERVER} }}", "ports *",
             None),
            ("place without a port", "plug-relay: relay-to 127.0.0.1\n", "-dest *", "ports *",
             (11502, "cfgerr: relay-to needs a host and a port, line 1")),
            ("place above the ports", "plug-relay: relay-to 127.0.0.1 70000\n", "-dest *", "ports *",
             (1504, f"deny host=nodnsquery/{ALLOWED} connect to 127.0.0.1/70000")),
            ("nobody there", "plug-relay: relay-to 127.0.0.1 9\n", "-dest *", "ports *",
             (6502, "cli_conn: Connection refused")))
    daemon = start()
    for time_s, (label, table, option, policy, refused) in enumerate(rows, 3000):
        checks.log.clear()
        proxy_host.write_table(f"{table}plug-relay: permit-hosts {ALLOWED} -policy p {option}\n"
                               f"policy-p: {policy}\n", time_s)
        checks.equal(label, exchange(b"x")[0], b"" if refused else answer_to(b"x"))
        if refused:
            checks.equal(f"{label}: report", checks.log.texts(refused[0]), [refused[1]])
    checks.equal("end", daemon.end(), 1)


def check_bytes(checks):
    """Much data in both directions, and an answer that comes after the client's half-close."""
    daemon = start()
    data = os.urandom(1 << 20) * 8
    checks.equal("8 MB both ways", exchange(data)[0] == answer_to(data), True)
    checks.equal("counts", without_time(checks.log.texts(4001)),
                 [f"exit host=nodnsquery/{ALLOWED} dest=127.0.0.1/{SERVER} in={len(data)} "
                  f"out={len(data) + 64} duration=N"])
    checks.log.clear()
    before = Server.accepted
    with connect(PORT, source=ALLOWED) as client:
        client.sendall(b"x" * 1000)
        wait_until(lambda: Server.accepted > before)
        # Closing with a reset, the rudest end.
        client.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, b"\1\0\0\0\0\0\0\0")
    text = without_time(checks.log.texts(4001))
    checks.equal("reset", [line[-len("error=Connection reset by peer"):] for line in text],
                 ["error=Connection reset by peer"])
    checks.eventually("its child", lambda: children(daemon.pid), [])
    checks.equal("end", daemon.end(), 1)


def check_unread_logs(checks):
    """Logs that are full and not read hold nothing up; what they cost is told later."""
    logs = [proxy_host.UnreadLog(path) for path in ("/dev/stdlog", "/dev/log")]
    daemon = start(TABLE + "*: logging both\n")
    begun = time.monotonic()
    with concurrent.futures.ThreadPoolExecutor(12) as pool:
        answers = list(pool.map(lambda _: exchange(b"x")[0], range(12)))
    checks.equal("served", answers, [answer_to(b"x")] * 12)
    checks.eventually("all ended", lambda: children(daemon.pid), [])
    checks.equal("without long waits", time.monotonic() - begun < 5, True)
    for log in logs:
        log.datagrams()
    exchange(b"y")
    wait_until(lambda: not children(daemon.pid))
    records = [proxy_host.record_of(datagram) for datagram in logs[0].datagrams()]
    # 13 reports, of the start and of each end; the system log also hears of each lost record.
    checks.equal("records", [(record.event, record.text.split("/")[0]) for record in records],
                 [(4001, "exit host=nodnsquery"), (13510, "log records lost: 13")])
    checks.equal("lines", [proxy_host.line_of(line)[2].split("/")[0] for line in logs[1].datagrams()],
                 ["exit host=nodnsquery", "system log lines lost: 26"])
    for log in logs:
        log.fill()
    checks.equal("end", daemon.end(), 1)
    for log in logs:
        log.close()


def check_idle(checks):
    daemon = start(TABLE.replace("timeout 20", "timeout 1"))
    with connect(PORT, source=ALLOWED) as client:
        checks.equal("nothing said", read_all(client), b"")
    checks.equal("report", checks.log.texts(6005), ["idle timed out duration=1 seconds"])
    checks.equal("and the end", len(checks.log.texts(4001)), 1)
    checks.eventually("no child left", lambda: children(daemon.pid), [])
    checks.log.clear()
    with connect(PORT, source=ALLOWED) as client:
        wait_until(lambda: children(daemon.pid))
        os.kill(children(daemon.pid)[0], signal.SIGTERM)
        checks.equal("ended from outside", read_all(client), b"")
    checks.equal("its report", checks.log.texts(10009), ["caught TERM signal"])
    checks.equal("end", daemon.end(), 1)


def check_session_limit(checks):
    """A client that keeps a session alive, byte by byte, and one that stops reading."""
    limited = f"permit-hosts {ALLOWED} -policy yes -session-timeout 1"
    daemon = start(TABLE.replace(f"permit-hosts {ALLOWED} -policy yes", limited))
    for label, part in (("slow", b"x"), ("not reading", b"x" * 100000)):
        checks.log.clear()
        begun = time.monotonic()
        with connect(PORT, source=ALLOWED) as client:
            client.settimeout(0.1)
            with contextlib.suppress(ConnectionError):
                while time.monotonic() < begun + proxy_host.PATIENCE_S:
                    with contextlib.suppress(TimeoutError):
                        client.send(part)
                    time.sleep(0.05)
        checks.equal(f"{label}: in time", time.monotonic() - begun < 3, True)
        checks.equal(f"{label}: reports", [checks.log.texts(6006), len(checks.log.texts(4001))],
                     [["session timed out duration=1 seconds"], 1])
    checks.log.clear()
    proxy_host.write_table(TABLE + "plug-relay: session-timeout 1m\n", 2000)
    checks.equal("no number", exchange(b"x")[0], b"")
    checks.equal("its report", checks.log.texts(11502),
                 ["cfgerr: session-timeout needs a number, line 11"])
    checks.equal("end", daemon.end(), 1)


def check_rights(checks):
    """A child that relays has the identity of the table and no rights, and still reports."""
    for label, entries, identity in (("as root", "", "0"),
                                     ("by account", "plug-relay: userid nobody\n", "65534")):
        checks.log.clear()
        daemon = start(TABLE + entries)
        before = Server.accepted
        with connect(PORT, source=ALLOWED) as client:
            wait_until(lambda: Server.accepted > before)
            folder = f"/proc/{children(daemon.pid)[0]}"
            with open(f"{folder}/status", encoding="ascii") as file:
                status = dict(line.rstrip("\n").split(":\t", 1) for line in file if ":\t" in line)
            for key in ("Uid", "Gid"):
                checks.equal(f"{label}: {key}", status[key].split("\t"), [identity] * 4)
            for key in ("CapInh", "CapPrm", "CapEff", "CapAmb"):
                checks.equal(f"{label}: {key}", int(status[key], 16), 0)
            checks.equal(f"{label}: others",
                         (status["NoNewPrivs"], status["Groups"].strip() if entries else ""),
                         ("1", ""))
            with open(f"{folder}/limits", encoding="ascii") as file:
                cores = next(line for line in file if line.startswith("Max core file size"))
            checks.equal(f"{label}: core files", cores.split()[4:6], ["0", "0"])
        checks.equal(f"{label}: report", len(checks.log.texts(4001)), 1)
        checks.equal(f"{label}: end", daemon.end(), 1)
    daemon = start(TABLE + "plug-relay: userid 4711\n")
    checks.equal("no account", exchange(b"x")[0], b"")
    checks.equal("its report", checks.log.texts(11502),
                 ["cfgerr: userid 4711 has no account, groupid is needed"])
    checks.equal("end", daemon.end(), 1)


def check_start(checks):
    """What the one who starts the relay is told."""
    def told(*arguments):
        done = subprocess.run(["plug-relay", *arguments], executable=sys.argv[1], text=True,
                              stdin=subprocess.DEVNULL, capture_output=True, check=False,
                              timeout=proxy_host.PATIENCE_S)
        return done.returncode, done.stdout[:6], done.stderr.split("\n")[0]

    usage = "usage: plug-relay [-as NAME] -daemon PORT"
    proxy_host.write_table(TABLE)
    checks.equal("help", told("--help"), (0, "usage:", ""))
    checks.equal("nothing", told(), (2, "", usage))
    checks.equal("no option", told(str(PORT)), (2, "", usage))
    for label, port, entry, fault in (
            ("taken", SERVER, "", f"Failed to bind port {SERVER}, Address already in use"),
            ("not of this host", PORT, "plug-relay: bind-address 192.0.2.1\n",
             f"Failed to bind port {PORT}, Cannot assign requested address"),
            ("no port", 70000, "", "cfgerr: cannot decode 70000 as port"),
            ("bad entry", PORT, "plug-relay: child-limit 1 2\n",
             "cfgerr: child-limit needs an argument, line 11")):
        checks.log.clear()
        proxy_host.write_table(TABLE + entry)
        checks.equal(label, told("-daemon", str(port)), (1, "", f"plug-relay: {fault}"))
        wait_until(checks.log.records)
        checks.equal(f"{label}: record", [record.text for record in checks.log.records()], [fault])
        # A sanitizer's helper that was denied its look at a child stays behind as a zombie.
        checks.equal(f"{label}: nothing left",
                     [pid for pid in children(os.getpid()) if proxy_host.state(pid) != "Z"], [])


def outside_server():
    """A host behind an interface of this one; the socket of its server, and its namespace."""
    def run(*command):
        subprocess.run(command, check=True)

    other = subprocess.Popen(["unshare", "-n", "sleep", "600"])
    own_net = os.readlink("/proc/self/ns/net")
    wait_until(lambda: os.readlink(f"/proc/{other.pid}/ns/net") != own_net)
    inside = ["nsenter", "-t", str(other.pid), "-n"]
    run("ip", "link", "add", "near", "type", "veth", "peer", "name", "far", "netns", str(other.pid))
    for address in ("10.1.0.1/24", "10.1.0.9/24"):
        run("ip", "address", "add", address, "dev", "near")
    run("ip", "link", "set", "near", "up")
    run(*inside, "ip", "address", "add", f"{OUTSIDE}/24", "dev", "far")
    run(*inside, "ip", "link", "set", "far", "up")
    own = os.open("/proc/self/ns/net", os.O_RDONLY)
    there = os.open(f"/proc/{other.pid}/ns/net", os.O_RDONLY)
    ctypes.CDLL(None).setns(there, CLONE_NEWNET)
    Server(OUTSIDE)
    ctypes.CDLL(None).setns(own, CLONE_NEWNET)
    return other


def check_redirected(checks):
    """Without a relay-to a redirected connection reaches the place that it asked for."""
    other = outside_server()
    rules = (f"table ip relay {{ chain out {{ type nat hook output priority -100; "
             f"ip saddr 10.1.0.9 tcp dport {SERVER} redirect to :{PORT}; }}; }}")
    if subprocess.run(["nft", rules], check=False).returncode:
        print("check_redirected: skipped, no packet filter")
        other.kill()
        return
    daemon = start(f"plug-relay: permit-hosts 10.1.0.* -policy p\npolicy-p: permit-destination "
                   f"{OUTSIDE}\npolicy-p: ruleNumber 3\n")
    got, own = exchange(b"far", "10.1.0.9", SERVER, OUTSIDE)
    checks.equal("answer", got, answer_to(b"far"))
    checks.equal("report", without_time(checks.log.texts(4001)),
                 [f"exit host=nodnsquery/10.1.0.9 dest={OUTSIDE}/{SERVER} in=3 out=67 duration=N"])
    record = next(record for record in checks.log.records() if record.event == 4001)
    checks.equal("fields", record[5:], (own, (OUTSIDE, SERVER), "3", ""))
    checks.log.clear()
    checks.equal("not redirected", exchange(b"", "10.1.0.9", PORT, "10.1.0.1")[0], b"")
    checks.equal("report", checks.log.texts(1504),
                 ["deny host=nodnsquery/10.1.0.9 connect to (nowhere)/0"])
    checks.equal("end", daemon.end(), 1)
    other.kill()
    other.wait()


def check_many(checks):
    daemon = start(TABLE + "plug-relay: accept-count 4\n")
    wait_until(lambda: len(children(daemon.pid)) == 3)
    acceptors = [daemon.pid, *children(daemon.pid)]
    before = [descriptors(pid) for pid in acceptors]
    for i in range(SEQUENCE):
        if exchange(b"%d" % i)[0] != answer_to(b"%d" % i):
            checks.equal(f"connection {i}", "broken", "answered")
        if i % 10 == 0:
            daemon.send(signal.SIGUSR1)
    clients = [connect(PORT, source=ALLOWED) for _ in range(200)]
    for i, client in enumerate(clients):
        _send_all(client, b"%d" % i)
    checks.equal("200 at once", [read_all(client) for client in clients],
                 [answer_to(b"%d" % i) for i in range(200)])
    checks.eventually("no child left", lambda: [children(pid) for pid in acceptors],
                      [acceptors[1:], [], [], []])
    # A busy host may keep the reader away for longer than a record waits; then the loss is told.
    checks.eventually("reports", lambda: len(checks.log.texts(4001)) + sum(
        int(text.rsplit(" ", 1)[1]) for text in checks.log.texts(13510, 0)), SEQUENCE + 200)
    checks.log.clear()
    for pid in acceptors:
        os.kill(pid, signal.SIGUSR1)
    checks.equal("counts", checks.log.texts(10002, 4), ["0 of 0 copies currently active"] * 4)
    checks.equal("descriptors", [descriptors(pid) for pid in acceptors], before)
    checks.equal("end", daemon.end(), 1)


def main():
    proxy_host.enter_with_network()
    checks = proxy_host.Checks(is_log_taken_at_once=True)
    tries = [check_hosts, check_terms, check_bytes, check_unread_logs, check_idle,
             check_session_limit, check_rights, check_start, check_redirected, check_many]
    server = Server()
    result = checks.run(tries)
    server.socket.shutdown(socket.SHUT_RDWR)
    server.socket.close()
    return result


if __name__ == "__main__":
    sys.exit(main())
